#pragma once
#include "wifidrive/GCDWebServerDelegate.h"

#include <QString>

class GCDWebUploader;

// Told on the main thread after each change a browser made; paths are absolute.
class GCDWebUploaderDelegate : public GCDWebServerDelegate {
public:
    virtual void webUploaderDidDownloadFileAtPath(GCDWebUploader* uploader, const QString& path) = 0;
    virtual void webUploaderDidUploadFileAtPath(GCDWebUploader* uploader, const QString& path) = 0;
    virtual void webUploaderDidMoveItemFromPath(GCDWebUploader* uploader, const QString& fromPath,
                                                const QString& toPath) = 0;
    virtual void webUploaderDidDeleteItemAtPath(GCDWebUploader* uploader, const QString& path) = 0;
    virtual void webUploaderDidCreateDirectoryAtPath(GCDWebUploader* uploader, const QString& path) = 0;
};
