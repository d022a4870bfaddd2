#pragma once
#include "wifidrive/GCDWebUploader.h"

// The library's web uploader: folders are never deleted from a browser, and the file-sharing
// link stays where it is (what it leads to is served like the rest of the library).
class MyWebUploader : public GCDWebUploader {
    Q_OBJECT
public:
    using GCDWebUploader::GCDWebUploader;

    bool shouldDeleteItemAtPath(const QString& path) override;
    bool shouldMoveItemFromPath(const QString& fromPath, const QString& toPath) override;

protected:
    QStringList linkedFolders() const override;
};
