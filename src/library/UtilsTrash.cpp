#include "library/Utils.h"

#include "library/TrashOrigins.h"
#include "platform/Log.h"

#include <QDir>
#include <QFileInfo>

namespace Utils {
namespace {
const QString kBatchPattern = QStringLiteral("yyyy-MM-dd HH:mm:ss");
constexpr int kMaxBatchAttempts = 1000;

}  // namespace

bool removeItem(const QString& path)
{
    const QFileInfo info(path);
    if (info.isDir() && !info.isSymLink())
        return QDir(path).removeRecursively();
    return QFile::remove(path);
}

bool trashItemAtPath(const QString& path, const QDateTime& timestamp, QString* error, QString* trashedPath)
{
    QString ignored;
    QString& why = error ? *error : ignored;
    const QString trash = trashcanURL();
    if (pathIsInsideTrashcan(path)) {
        const bool removed = removeItem(path);
        if (!removed)
            why = QStringLiteral("'%1' could not be deleted").arg(QFileInfo(path).fileName());
        const QString parent = QFileInfo(path).path();
        if (pathIsTrashcan(QFileInfo(parent).path()))
            maybeDeleteEmptyFolder(parent);
        return removed;
    }
    // A Trash that is a file or a link would send the item out of the library.
    QDir().mkdir(trash);
    const QFileInfo trashInfo(trash);
    if (!trashInfo.isDir() || trashInfo.isSymLink()) {
        why = QStringLiteral("The Trash is not a folder");
        return false;
    }
    const bool ownBatch = !timestamp.isValid();
    const QDateTime when = ownBatch ? QDateTime::currentDateTime() : timestamp;
    const QString stamp = trash + QLatin1Char('/') + when.toString(kBatchPattern);
    const QString name = QFileInfo(path).fileName();
    for (int counter = 0; counter < kMaxBatchAttempts; ++counter) {
        const QString batch = counter == 0 ? stamp : QStringLiteral("%1(%2)").arg(stamp).arg(counter);
        const bool created = QDir().mkdir(batch);
        if (!created && (ownBatch || !QFileInfo(batch).isDir() || QFileInfo(batch).isSymLink()))
            continue;  // a single trash never joins someone else's batch
        bool taken = false;
        const QString target = batch + QLatin1Char('/') + name;
        if (moveItemNoReplace(path, target, &why, &taken)) {
            // Without a record (a link, a file system without attributes) it can only be moved out.
            if (!TrashOrigins::remember(target, path))
                platform::log(QStringLiteral("No origin kept for %1").arg(target));
            if (trashedPath)
                *trashedPath = target;
            return true;
        }
        if (created)
            QDir().rmdir(batch);
        if (!taken)
            return false;
    }
    why = QStringLiteral("No free name in the Trash");
    return false;
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
