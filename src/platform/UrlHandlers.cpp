#include "platform/UrlHandlers.h"

#include "platform/Locations.h"

#include <QDirIterator>
#include <QFile>

namespace platform::UrlHandlers {
namespace {
QStringList applicationFolders()
{
    QStringList folders{Locations::dataHome() + QStringLiteral("/applications")};
    QString dataDirs = qEnvironmentVariable("XDG_DATA_DIRS");
    if (dataDirs.isEmpty())
        dataDirs = QStringLiteral("/usr/local/share:/usr/share");
    for (const QString& dir : dataDirs.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        folders << dir + QStringLiteral("/applications");
    return folders;
}

bool declares(const QString& desktopFile, const QByteArray& mimeType)
{
    QFile file(desktopFile);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    bool inEntry = false;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine(64 * 1024).trimmed();
        if (line.startsWith('['))
            inEntry = line == "[Desktop Entry]";
        else if (inEntry && line.startsWith("MimeType="))
            return line.mid(9).split(';').contains(mimeType);
    }
    return false;
}
}  // namespace

bool hasHandler(const QString& scheme)
{
    const QByteArray mimeType = "x-scheme-handler/" + scheme.toLower().toUtf8();
    for (const QString& folder : applicationFolders()) {
        QDirIterator it(folder, {QStringLiteral("*.desktop")}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext())
            if (declares(it.next(), mimeType))
                return true;
    }
    return false;
}

}  // namespace platform::UrlHandlers
