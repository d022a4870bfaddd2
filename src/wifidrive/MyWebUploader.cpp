#include "wifidrive/MyWebUploader.h"

#include "library/Utils.h"

#include <QDir>
#include <QFileInfo>

bool MyWebUploader::shouldDeleteItemAtPath(const QString& path)
{
    const QFileInfo resolved(QFileInfo(path).canonicalFilePath());
    return resolved.exists() && !resolved.isDir();
}

bool MyWebUploader::shouldMoveItemFromPath(const QString& fromPath, const QString&)
{
    return fromPath != QDir::cleanPath(Utils::localDocumentsLinkURL());
}

QStringList MyWebUploader::linkedFolders() const { return {Utils::localDocumentsURL()}; }
