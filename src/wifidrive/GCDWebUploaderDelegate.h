#pragma once
#include "wifidrive/GCDWebServerDelegate.h"

#include <QString>

class GCDWebUploader;

// Told on the main thread after each change a browser made; paths are absolute. A delegate
// that only follows the server's state leaves these as they are.
class GCDWebUploaderDelegate : public GCDWebServerDelegate {
public:
    virtual void webUploaderDidDownloadFileAtPath(GCDWebUploader*, const QString&) {}
    virtual void webUploaderDidUploadFileAtPath(GCDWebUploader*, const QString&) {}
    virtual void webUploaderDidMoveItemFromPath(GCDWebUploader*, const QString&, const QString&) {}
    virtual void webUploaderDidDeleteItemAtPath(GCDWebUploader*, const QString&) {}
    virtual void webUploaderDidCreateDirectoryAtPath(GCDWebUploader*, const QString&) {}
};
