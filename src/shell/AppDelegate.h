#pragma once
#include "platform/NotificationCenter.h"
#include "wifidrive/GCDWebUploaderDelegate.h"

#include <QObject>
#include <QList>
#include <QString>
#include <memory>
#include <utility>

class FilePlayerPreview;
namespace cloud {
class DropboxAccount;
class DropboxClient;
}  // namespace cloud
class MyWebUploader;

// Owns the start of the program and its reactions to lifecycle events. Headless (--serve), the
// start runs as it is here, with no screen code; the window (AppWindow) adds its screens
// through the hooks below.
class AppDelegate : public QObject, public GCDWebUploaderDelegate {
    Q_OBJECT
public:
    enum class Mode { Window, Headless };

    explicit AppDelegate(Mode mode = Mode::Headless, QObject* parent = nullptr);
    ~AppDelegate() override;

    // The start sequence, in order; always true.
    bool didFinishLaunching();

    // Moves what an old version kept in the shared container's "Documents" into the library.
    void fixNewDocumentsFolder();
    void checkTrash();

    // Audio-session interruptions: the JACK server went away, and came back.
    void beginInterruption();
    void endInterruption();

    void applicationDidBecomeActive();
    virtual void applicationWillResignActive();
    void applicationDidEnterBackground();

    // The web server's state changes, relayed as "com.orvenic.Wavelocker.wifi-changed".
    void webServerDidStart(GCDWebServer* server) override;
    void webServerDidStop(GCDWebServer* server) override;
    void webServerDidCompleteBonjourRegistration(GCDWebServer* server) override;
    MyWebUploader* webUploader() const { return mWebUploader.get(); }
    FilePlayerPreview* preview() const { return mPreview.get(); }
    // The Dropbox account and its client (window mode; null headless). The account reads its
    // sign-in from the secret store at start.
    cloud::DropboxAccount* dropboxAccount() const { return mDropboxAccount; }
    cloud::DropboxClient* dropboxClient() const { return mDropboxClient; }

protected:
    // In window mode, after audio is set up: the screens are made here.
    virtual void createScreens() {}
    // At the end of the start: the window's own lifecycle events are followed here.
    virtual void observeWindow() {}
    // What an alert shown at start is about (a screen, in window mode).
    virtual QObject* alertContext() const { return nullptr; }

private:
    void linkLocalDocuments();
    void reportMovedAsideItems();
    void setupAudioEngine();
    void createWebUploader();
    void setupDropbox();
    void recoverUnfinishedRecording();
    void observeLifecycle();

    Mode mMode;
    QList<std::pair<QString, QString>> mMovedAside;  // (reserved name, the user's item's new name)
    std::unique_ptr<MyWebUploader> mWebUploader;
    std::unique_ptr<FilePlayerPreview> mPreview;
    cloud::DropboxAccount* mDropboxAccount = nullptr;
    cloud::DropboxClient* mDropboxClient = nullptr;
    bool mEngineSetUp = false;
    platform::ScopedObserver mInterruptionBegan;
    platform::ScopedObserver mInterruptionEnded;
    // Kept across an interruption.
    bool mRecStateAtInterruption = false;
    bool mPlayerWasPlaying = false;
    double mPlayerTime = 0;
};
