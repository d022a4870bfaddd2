#include "library/DocumentImport.h"

#include "library/Utils.h"
#include "platform/Log.h"

#include <QFileInfo>

namespace DocumentImport {

QString targetFor(const QString& source, const QString& folder)
{
    return Utils::uniquePathKeepingDot(folder + QLatin1Char('/') + QFileInfo(source).fileName());
}

std::optional<quint64> bytesToImport(const QStringList& items, const std::atomic<bool>* cancel)
{
    quint64 total = 0;
    for (const QString& item : items) {
        const QFileInfo info(item);
        if (!info.isDir()) {
            total += quint64(std::max<qint64>(info.size(), 0));
            continue;
        }
        const std::optional<quint64> inside = FileActions::folderSize(item, cancel);
        if (!inside)
            return std::nullopt;
        total += *inside;
    }
    return total;
}

QStringList importFiles(const QStringList& files, const QString& folder, FileActions::CopyControl* control)
{
    QStringList arrived;
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QString target = targetFor(files[i], folder);
        if (i == files.size() - 1)
            Utils::rememberNewFile(target);
        // The copy is written beside the target and renamed: the file arrives whole.
        QString error;
        if (FileActions::copyItem(files[i], target, &error, control)) {
            arrived << target;
            continue;
        }
        if (control && control->cancel && control->cancel->load()) {
            platform::log(QStringLiteral("Cancelled"));
            for (const QString& done : std::as_const(arrived))
                Utils::removeItem(done);
            if (Utils::lastNewFile() == target)
                Utils::clearLastNewFile();
            return {};
        }
        platform::log(QStringLiteral("ERROR moving %1 to %2: %3").arg(files[i], target, error));
    }
    return arrived;
}

QString importFolder(const QString& source, const QString& folder, FileActions::CopyControl* control)
{
    const QString target = targetFor(source, folder);
    QString error;
    if (FileActions::copyItem(source, target, &error, control))
        return target;
    if (control && control->cancel && control->cancel->load())
        platform::log(QStringLiteral("Cancelled"));
    else
        platform::log(QStringLiteral("ERROR copying %1 to %2: %3").arg(source, target, error));
    return {};
}

}  // namespace DocumentImport
