#pragma once
#include "platform/NotificationCenter.h"
#include "wifidrive/GCDWebUploaderDelegate.h"

#include <QObject>
#include <QList>
#include <QPointer>
#include <QString>
#include <memory>
#include <utility>

class DetailViewController;
class FilePlayerPreview;
class MasterViewController;
class MyWebUploader;
class NavigationController;
class AudioServerStatus;
class QAction;
class QLabel;
class QSplitter;
class QWidget;
class WiFiDriveViewController;

// Owns the start of the program and its reactions to lifecycle events. In headless mode the
// same start runs without creating any widget.
class AppDelegate : public QObject, public GCDWebUploaderDelegate {
    Q_OBJECT
public:
    enum class Mode { Window, Headless };

    explicit AppDelegate(Mode mode, QObject* parent = nullptr);
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
    void applicationWillResignActive();
    void applicationDidEnterBackground();

    void infoTapped();
    void closeInfo();

    // "WiFi Drive…": opens the screen that switches the web drive on and off (one at a time).
    // The window's toolbar button uses it; a menu can take it as it is.
    QAction* wifiDriveAction() const { return mWiFiDriveAction; }
    void wifiDriveTapped();
    WiFiDriveViewController* wifiDriveViewController() const;

    // The web server's state changes, relayed as "com.orvenic.Wavelocker.wifi-changed".
    void webServerDidStart(GCDWebServer* server) override;
    void webServerDidStop(GCDWebServer* server) override;
    void webServerDidCompleteBonjourRegistration(GCDWebServer* server) override;
    MyWebUploader* webUploader() const { return mWebUploader.get(); }

    QWidget* window() const { return mWindow.get(); }
    // The line at the foot of the window that says when the audio server went and came back.
    QLabel* serverMessage() const { return mServerMessage; }
    QSplitter* splitViewController() const { return mSplit; }
    NavigationController* libraryNavigationController() const { return mLibraryNavigation; }
    NavigationController* detailNavigationController() const { return mDetailNavigation; }
    MasterViewController* masterViewController() const { return mMaster; }
    DetailViewController* detailViewController() const { return mDetail; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void linkLocalDocuments();
    void reportMovedAsideItems();
    void createWindow();
    void setupAudioEngine();
    void createScreens();
    void addInfoButton();
    void addWiFiDriveAction();
    void createWebUploader();
    void recoverUnfinishedRecording();
    void observeLifecycle();

    Mode mMode;
    QList<std::pair<QString, QString>> mMovedAside;  // (reserved name, the user's item's new name)
    std::unique_ptr<QWidget> mWindow;
    QSplitter* mSplit = nullptr;
    NavigationController* mLibraryNavigation = nullptr;
    NavigationController* mDetailNavigation = nullptr;
    MasterViewController* mMaster = nullptr;
    DetailViewController* mDetail = nullptr;
    QPointer<QWidget> mInfo;
    QAction* mWiFiDriveAction = nullptr;
    QPointer<WiFiDriveViewController> mWiFiDrive;
    std::unique_ptr<MyWebUploader> mWebUploader;
    std::unique_ptr<FilePlayerPreview> mPreview;
    std::unique_ptr<AudioServerStatus> mServerStatus;
    QLabel* mServerMessage = nullptr;  // the window's word on the audio server, hidden when none
    bool mEngineSetUp = false;
    platform::ScopedObserver mInterruptionBegan;
    platform::ScopedObserver mInterruptionEnded;
    // Kept across an interruption.
    bool mRecStateAtInterruption = false;
    bool mPlayerWasPlaying = false;
    double mPlayerTime = 0;
};
