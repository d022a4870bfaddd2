#include "library/DocumentImport.h"

#include "library/FileActions.h"
#include "library/Utils.h"
#include "platform/Log.h"

#include <QFile>
#include <QFileInfo>

namespace DocumentImport {

QString targetFor(const QString& source, const QString& folder)
{
    return Utils::uniquePathKeepingDot(folder + QLatin1Char('/') + QFileInfo(source).fileName());
}

QStringList importFiles(const QStringList& files, const QString& folder)
{
    QStringList arrived;
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QString target = targetFor(files[i], folder);
        if (i == files.size() - 1)
            Utils::rememberNewFile(target);
        // QFile::copy writes beside the target and renames: the file arrives whole.
        QFile source(files[i]);
        if (source.copy(target))
            arrived << target;
        else
            platform::log(QStringLiteral("ERROR moving %1 to %2: %3").arg(files[i], target, source.errorString()));
    }
    return arrived;
}

QString importFolder(const QString& source, const QString& folder)
{
    const QString target = targetFor(source, folder);
    QString error;
    if (FileActions::copyItem(source, target, &error))
        return target;
    platform::log(QStringLiteral("ERROR copying %1 to %2: %3").arg(source, target, error));
    return {};
}

}  // namespace DocumentImport
