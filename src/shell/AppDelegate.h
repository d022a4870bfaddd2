#pragma once
#include "platform/NotificationCenter.h"
#include "shell/HandOver.h"
#include "shell/UrlCommands.h"
#include "wifidrive/GCDWebUploaderDelegate.h"

#include <QObject>
#include <QList>
#include <QString>
#include <functional>
#include <memory>
#include <utility>

class FilePlayerPreview;
namespace cloud {
class DropboxAccount;
class DropboxClient;
}  // namespace cloud
class MyWebUploader;
class Preferences;

// Owns the start of the program and its reactions to lifecycle events. Headless (--serve), the
// start runs as it is here, with no screen code; the window (AppWindow) adds its screens
// through the hooks below.
class AppDelegate : public QObject, public GCDWebUploaderDelegate, public UrlCommandsDelegate {
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
    // The remote record toggle (media keys, hosted units): back to the library browser, then
    // its recorder opened and REC or STOP pressed (RecorderLauncher).
    void remoteToggleRecord();

    void applicationDidBecomeActive();
    virtual void applicationWillResignActive();
    void applicationDidEnterBackground();

    // The web server's state changes, relayed as "com.orvenic.Wavelocker.wifi-changed".
    void webServerDidStart(GCDWebServer* server) override;
    void webServerDidStop(GCDWebServer* server) override;
    void webServerDidCompleteBonjourRegistration(GCDWebServer* server) override;
    MyWebUploader* webUploader() const { return mWebUploader.get(); }

    // A URL another program opens with us (see UrlCommands); answer says whether it was handled.
    void openURL(const QUrl& url, const OpenURLOptions& options, const UrlCommands::Answer& answer);
    // The URLs of a `wavelocker` started later (or of this one's own command line), each
    // opened in turn; answers gets one yes or no per URL once all are handled.
    void openURLs(const HandOver& request, const std::function<void(const QList<bool>&)>& answers);
    QString importingScheme() const { return mUrlCommands ? mUrlCommands->importingScheme() : QString(); }
    UrlCommands* urlCommands() const { return mUrlCommands.get(); }
    // The settings screen's library folder, web drive port and JACK server.
    Preferences* preferences() const { return mPreferences.get(); }

    // What URL commands do without a window: the log says what a window would show.
    void showFileOrFolder(const QString& path) override;
    void popToRootBrowser() override {}
    void pasteImportStarted(const QString& message) override;
    void pasteImportFinished(bool succeeded) override;
    // What an alert is about (a screen, in window mode).
    QObject* alertContext() const override { return nullptr; }
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
    // A hand-over arrived: the window comes to the front.
    virtual void activate() {}
    // The user chose another library folder: what shows the old one moves to root.
    virtual void libraryMoved(const QString& root) { (void)root; }

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
    std::unique_ptr<UrlCommands> mUrlCommands;
    std::unique_ptr<Preferences> mPreferences;
    bool mEngineSetUp = false;
    platform::ScopedObserver mInterruptionBegan;
    platform::ScopedObserver mInterruptionEnded;
    platform::ScopedObserver mRemoteToggleRecord;
    // Kept across an interruption.
    bool mRecStateAtInterruption = false;
    bool mPlayerWasPlaying = false;
    double mPlayerTime = 0;
};
