#pragma once
#include "shell/AppDelegate.h"

#include <QPointer>
#include <memory>

class AudioServerStatus;
class BatchToolsController;
class DetailViewController;
class DropboxScreens;
class LibraryExchange;
class MainMenu;
class MasterViewController;
class NavigationController;
class ProgressHUD;
#include "recording/screens/RecorderViewController.h"
class QAction;
class QLabel;
class QSplitter;
class QTimer;
class SettingsViewController;
class UndoStack;
class QWidget;
class WiFiDriveViewController;

// The program with its window: the start of AppDelegate plus the two columns of screens, the
// Info screen, and the window's own lifecycle events.
class AppWindow : public AppDelegate {
    Q_OBJECT
public:
    explicit AppWindow(QObject* parent = nullptr);
    ~AppWindow() override;

    void applicationWillResignActive() override;

    void infoTapped();
    void closeInfo();

    // "WiFi Drive…": opens the screen that switches the web drive on and off (one at a time).
    // The window's toolbar button uses it; a menu can take it as it is.
    QAction* wifiDriveAction() const { return mWiFiDriveAction; }
    void wifiDriveTapped();
    WiFiDriveViewController* wifiDriveViewController() const;

    // "Settings…": the settings panel in a window of its own, with its own navigation stack.
    QAction* settingsAction() const { return mSettingsAction; }
    void settingsTapped();
    SettingsViewController* settingsViewController() const;

    // The recorder screen on the library's stack for browser's folder (the one open already
    // when there is one); toggle presses REC. The screen is answered.
    RecorderViewController* openRecorder(MasterViewController* browser, bool toggle);
    RecorderViewController* recorderViewController() const { return mRecorder; }
    // Takes the recorder screen off the stack (the recorder goes with it).
    void closeRecorder();

    // URL commands in the window: the root browser shows, the overlay tells.
    void showFileOrFolder(const QString& path) override;
    void popToRootBrowser() override;
    void pasteImportStarted(const QString& message) override;
    void pasteImportFinished(bool succeeded) override;
    ProgressHUD* pasteOverlay() const;

    QWidget* window() const { return mWindow.get(); }
    // The line at the foot of the window that says when the audio server went and came back.
    QLabel* serverMessage() const { return mServerMessage; }
    QSplitter* splitViewController() const { return mSplit; }
    NavigationController* libraryNavigationController() const { return mLibraryNavigation; }
    NavigationController* detailNavigationController() const { return mDetailNavigation; }
    MasterViewController* masterViewController() const { return mMaster; }
    // Link, unlink, import and export screens of the Dropbox account.
    DropboxScreens* dropboxScreens() const { return mDropboxScreens; }
    DetailViewController* detailViewController() const { return mDetail; }
    LibraryExchange* libraryExchange() const { return mExchange; }
    // Normalize and Convert over the files picked in the library list; its two actions are
    // in the list's item menu and on the window.
    BatchToolsController* batchTools() const { return mBatchTools; }
    // What the browser on top of the library's stack acts on: the picked items, else the
    // current one.
    QStringList selectedLibraryPaths() const;
    // Undo and redo of the browsers' trash, move, rename, new folder and put back.
    UndoStack* undoStack() const { return mUndo; }
    MainMenu* mainMenu() const { return mMainMenu; }

protected:
    void createScreens() override;
    void observeWindow() override;
    QObject* alertContext() const override;
    void activate() override;
    void libraryMoved(const QString& root) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void createWindow();
    void addInfoButton();
    void addWiFiDriveAction();
    void addBarActions();
    // The window's size, place and column widths: kept in the settings, put back at start.
    void restoreWindowState();
    void saveWindowState();
    void updateWindowTitle(const QString& fileName);

    std::unique_ptr<QWidget> mWindow;
    QSplitter* mSplit = nullptr;
    NavigationController* mLibraryNavigation = nullptr;
    NavigationController* mDetailNavigation = nullptr;
    MasterViewController* mMaster = nullptr;
    DropboxScreens* mDropboxScreens = nullptr;
    DetailViewController* mDetail = nullptr;
    LibraryExchange* mExchange = nullptr;
    BatchToolsController* mBatchTools = nullptr;
    UndoStack* mUndo = nullptr;
    MainMenu* mMainMenu = nullptr;
    QPointer<QWidget> mInfo;
    QAction* mWiFiDriveAction = nullptr;
    QPointer<WiFiDriveViewController> mWiFiDrive;
    QAction* mSettingsAction = nullptr;
    QPointer<NavigationController> mSettings;
    std::unique_ptr<AudioServerStatus> mServerStatus;
    QLabel* mServerMessage = nullptr;
    QPointer<ProgressHUD> mPasteOverlay;
    QPointer<RecorderViewController> mRecorder;
    QPointer<ProgressHUD> mNormalizing;
    QTimer* mSaveWindowState = nullptr;  // the window's word on the audio server, hidden when none
};
