#pragma once
#include "wifidrive/GCDWebUploader.h"

// The library's web uploader: folders are never deleted from a browser, and the file-sharing
// link and the trash stay where they are, under whatever path a request names them (what
// the link leads to is served like the rest of the library).
class MyWebUploader : public GCDWebUploader {
    Q_OBJECT
public:
    using GCDWebUploader::GCDWebUploader;

    bool shouldDeleteItemAtPath(const QString& path) override;
    bool shouldMoveItemFromPath(const QString& fromPath, const QString& toPath) override;
    bool shouldCreateDirectoryAtPath(const QString& path) override;
    bool shouldUploadFileAtPath(const QString& path, const QString& temporaryPath) override;
    bool deletesFolders() const override { return false; }

protected:
    QStringList linkedFolders() const override;

private:
    bool isSystemItem(const QString& path) const;
};
