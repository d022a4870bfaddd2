#pragma once
#include <QObject>
#include <QString>

class GCDWebUploader;

// The settings a desktop user changes in the settings screen, beyond the ones of the audio
// screens: where the library is, the web drive's port and the JACK server. Each is stored at
// once and applied to the running program at once.
class Preferences : public QObject {
    Q_OBJECT
public:
    explicit Preferences(QObject* parent = nullptr);

    // The drive the preferences restart when its port or folder changes; may be null.
    void setWebUploader(GCDWebUploader* uploader) { mUploader = uploader; }

    QString libraryFolder() const;
    // --library or WAVELOCKER_LIBRARY decide it for this process: the choice can't apply.
    bool libraryFolderIsFixed() const;
    // Makes dir (created when missing) the library. False with error when it can't hold one.
    // An empty dir goes back to the default folder.
    bool setLibraryFolder(const QString& dir, QString* error);

    int webServerPort() const;
    void setWebServerPort(int port);

    QString jackServerName() const;
    void setJackServerName(const QString& name);

signals:
    // The library root is another folder now; whoever lists or serves it moves there.
    void libraryFolderChanged(const QString& root);

private:
    void restartUploader();

    GCDWebUploader* mUploader = nullptr;
};
