#pragma once
#include <QObject>
#include <QPointer>
#include <memory>

class DetailViewController;
class MasterViewController;
class NavigationController;
class QSplitter;
class QWidget;

// Owns the start of the program and its reactions to lifecycle events. In headless mode the
// same start runs without creating any widget.
class AppDelegate : public QObject {
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

    void applicationWillResignActive();
    void applicationDidEnterBackground();

    void infoTapped();
    void closeInfo();

    QWidget* window() const { return mWindow.get(); }
    QSplitter* splitViewController() const { return mSplit; }
    NavigationController* libraryNavigationController() const { return mLibraryNavigation; }
    NavigationController* detailNavigationController() const { return mDetailNavigation; }
    MasterViewController* masterViewController() const { return mMaster; }
    DetailViewController* detailViewController() const { return mDetail; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void linkLocalDocuments();
    void createWindow();
    void createScreens();
    void addInfoButton();
    void recoverUnfinishedRecording();
    void observeLifecycle();

    Mode mMode;
    std::unique_ptr<QWidget> mWindow;
    QSplitter* mSplit = nullptr;
    NavigationController* mLibraryNavigation = nullptr;
    NavigationController* mDetailNavigation = nullptr;
    MasterViewController* mMaster = nullptr;
    DetailViewController* mDetail = nullptr;
    QPointer<QWidget> mInfo;
};
