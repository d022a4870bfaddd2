#include "library/Utils.h"

#include "platform/Log.h"

#include <QDir>
#include <QFileInfo>

namespace Utils {
namespace {
const QString kBatchPattern = QStringLiteral("yyyy-MM-dd HH:mm:ss");

}  // namespace

bool removeItem(const QString& path)
{
    const QFileInfo info(path);
    if (info.isDir() && !info.isSymLink())
        return QDir(path).removeRecursively();
    return QFile::remove(path);
}

bool trashItemAtPath(const QString& path, const QDateTime& timestamp)
{
    const QString trash = trashcanURL();
    if (pathIsInsideTrashcan(path)) {
        removeItem(path);
        const QString parent = QFileInfo(path).path();
        if (QFileInfo(parent).path() == trash)
            maybeDeleteEmptyFolder(parent);
        return true;
    }
    const QDateTime when = timestamp.isValid() ? timestamp : QDateTime::currentDateTime();
    const QString batch = trash + QLatin1Char('/') + when.toString(kBatchPattern);
    QDir().mkpath(batch);
    const QString target = batch + QLatin1Char('/') + QFileInfo(path).fileName();
    // rename(2) would replace an existing file: a clash must fail instead.
    if (QFileInfo::exists(target) || QFileInfo(target).isSymLink())
        return false;
    return QDir().rename(path, target);
}

void maybeDeleteEmptyFolder(const QString& path)
{
    const QStringList entries =
        QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    platform::log(QStringLiteral("Maybe deleting empty folder: %1").arg(path));
    if (!entries.isEmpty()) {
        platform::log(QStringLiteral("No, not empty"));
        return;
    }
    QDir().rmdir(path);
    platform::log(QStringLiteral("Yes, it was empty"));
}

}  // namespace Utils
