#include "wifidrive/MyWebUploader.h"

#include "library/Utils.h"
#include "wifidrive/WebPaths.h"

#include <QDir>
#include <QFileInfo>

namespace {

// Paths compare as items: the folders above resolved, the item itself (perhaps a link) as named,
// so "Loops/up/iTunes File Sharing" through "up -> .." is the link itself.
QString asItem(const QString& path)
{
    const QString clean = QDir::cleanPath(path);
    return WebPaths::resolveItem(clean, QStringLiteral("/")).value_or(clean);
}

}  // namespace

bool MyWebUploader::shouldDeleteItemAtPath(const QString& path)
{
    const QFileInfo resolved(QFileInfo(path).canonicalFilePath());
    return resolved.exists() && !resolved.isDir();
}

bool MyWebUploader::isSystemItem(const QString& path) const
{
    const QString item = asItem(path);
    return item == asItem(Utils::localDocumentsLinkURL()) || item == asItem(Utils::trashcanURL());
}

bool MyWebUploader::shouldMoveItemFromPath(const QString& fromPath, const QString& toPath)
{
    // Nothing may take a system item's name either: at the next start the documents link is
    // put back where it belongs, and whatever took its name would be in the way.
    return !isSystemItem(fromPath) && asItem(toPath) != asItem(Utils::localDocumentsLinkURL());
}

bool MyWebUploader::shouldCreateDirectoryAtPath(const QString& path)
{
    return asItem(path) != asItem(Utils::localDocumentsLinkURL());
}

bool MyWebUploader::shouldUploadFileAtPath(const QString& path, const QString&)
{
    return !isSystemItem(path);
}

QStringList MyWebUploader::linkedFolders() const { return {Utils::localDocumentsURL()}; }
