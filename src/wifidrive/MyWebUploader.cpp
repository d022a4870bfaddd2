#include "wifidrive/MyWebUploader.h"

#include "library/Utils.h"

#include <QFileInfo>

// System items are the library's own rule: recognised by what a path names once resolved,
// so "Loops/up/Desktop File Sharing" through "up -> .." is the link itself.

bool MyWebUploader::shouldDeleteItemAtPath(const QString& path)
{
    const QFileInfo resolved(QFileInfo(path).canonicalFilePath());
    return resolved.exists() && !resolved.isDir();
}

bool MyWebUploader::isSystemItem(const QString& path) const
{
    return Utils::pathIsLocalDocumentsLinkOrTrashcan(path);
}

bool MyWebUploader::shouldMoveItemFromPath(const QString& fromPath, const QString& toPath)
{
    // Nothing may take a system item's name either: at the next start the documents link is
    // put back where it belongs, and whatever took its name would be in the way.
    return !isSystemItem(fromPath) && !isSystemItem(toPath);
}

bool MyWebUploader::shouldCreateDirectoryAtPath(const QString& path) { return !isSystemItem(path); }

bool MyWebUploader::shouldUploadFileAtPath(const QString& path, const QString&) { return !isSystemItem(path); }

QStringList MyWebUploader::linkedFolders() const { return {Utils::localDocumentsURL()}; }
