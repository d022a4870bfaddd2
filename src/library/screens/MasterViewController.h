#pragma once
#include "library/DirectoryWatcher.h"
#include "library/LibraryItem.h"
#include "library/LibraryPreview.h"
#include "ui/screens/NavigationController.h"

#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>

class DetailScreen;
class DropboxScreen;
class FileListModel;
class FileListView;
class FileRowDelegate;
class ItemSelection;
class ItemActionsController;
class PasteboardScreen;
class QLabel;
class QLineEdit;
class QPushButton;
class SortButton;
class UndoStack;

// The library browser: one folder as a sorted list that follows the folder's changes, with
// search, sorting and navigation into folders. One browser per level of the library's
// navigation stack; all of them share one editor screen.
class MasterViewController : public QWidget, private DirectoryWatcherDelegate {
    Q_OBJECT
public:
    explicit MasterViewController(QWidget* parent = nullptr);
    ~MasterViewController() override;

    // Lists the folder and starts watching it.
    void setFolder(const QString& folder);
    QString folder() const;
    void setDetailViewController(DetailScreen* detail) { mDetail = detail; }
    DetailScreen* detailViewController() const { return mDetail; }
    void setDropboxScreen(DropboxScreen* dropbox) { mDropbox = dropbox; }
    DropboxScreen* dropboxScreen() const { return mDropbox; }
    // The shared player that previews audio rows; every browser of the stack gets the same.
    void setPreviewPlayer(PreviewPlayer* preview);
    PreviewPlayer* previewPlayer() const;
    void setNavigationController(NavigationController* navigation);
    // The pasteboard exchange: paste, copies, drag and drop; every browser of the stack shares it.
    void setPasteboardScreen(PasteboardScreen* pasteboard);
    PasteboardScreen* pasteboardScreen() const { return mPasteboard; }
    // Pastes what the pasteboards hold into this folder; the new path, or empty (after the
    // alert). An empty name means the default one.
    QString audioPaste(const QString& name = {});
    NavigationController* navigationController() const { return mNavigation; }
    void setFolderLevel(int level) { mFolderLevel = level; }
    int folderLevel() const { return mFolderLevel; }

    // The window's undo stack, shared by every browser of the stack.
    void setUndoStack(UndoStack* undo);
    UndoStack* undoStack() const;

    FileListModel* model() const { return mModel; }
    FileListView* tableView() const { return mTable; }
    // The picked rows and the current one; the file actions and the menu bar work on it.
    ItemSelection* selection() const { return mSelection; }
    FileRowDelegate* rowDelegate() const { return mRowDelegate; }
    ItemActionsController* actions() const { return mActions; }
    QString headerText() const;
    // "No results" over the list while a search finds nothing; empty otherwise.
    QString emptyText() const;
    QString sortButtonText() const;
    const LibraryItemList& addingFileList() const;

    void update();
    void sortPress();
    // Sorts by one mode (FileSort's), as the menu bar's sort entries do.
    void setSortMode(int mode);
    // Puts the keyboard into the search field, its text selected.
    void focusSearch();
    void updateSortButton(bool animated = false);
    // When the folder shown is gone, goes back to the nearest folder above it that still is.
    void leaveIfFolderGone();
    void updateDirExternal();
    void handleSearch(const QString& text);
    void cancelSearch();

    // Enter on the current row: a folder opens as the next level, a file in the editor.
    void openItem(const LibraryItem& item);
    void openCurrent();
    // The item at path moved to newPath (a move, a rename, an undo): the editor follows it.
    void followMove(const QString& path, const QString& newPath);

    void showFile(const QString& path);
    void openFile(const QString& path);
    void showFileOrFolder(const QString& path);
    bool selectPath(const QString& path);
    void selectCurrentPath();
    int rowForItemWithPath(const QString& path) const;
    MasterViewController* enterFolder(const QString& path, bool animated);
    void titleLongPress();
    void showFolderMenu();

    // The preview button of a row: plays the file from its start, or stops it when it is the
    // one playing (an alert when it can't be played). The row's button shows the state
    // through the model.
    void previewItem(const LibraryItem& item);
    void stopPreview();
    // The item being previewed; its path is empty when none is.
    const LibraryItem& playingItem() const;

    // Stores the sort mode.
    static void saveDefaults();

    // The recorder lives above the library: the window installs how a browser opens it
    // (toggle: and presses REC). Without an opener the record button is hidden.
    using RecorderOpener = std::function<void(MasterViewController* browser, bool toggle)>;
    static void setRecorderOpener(RecorderOpener opener);
    QPushButton* recordButton() const { return mRecordButton; }
    // The record button: opens the recorder screen for this folder.
    void recordPress();
    // Opens the recorder screen and toggles recording.
    void openAndToggleRecorder();

signals:
    // An item vanished from the folder (after the rows are gone); whatever showed or played
    // it lets go of it.
    void itemRemoved(const LibraryItem& item);
    // A zip archive arrived with a row of its own: the unzip question belongs to it.
    void zipArrived(const QString& path);

private:
    void directoryDidChange(DirectoryWatcher* watcher) override;
    void listingFinished();
    void rowClicked(const QModelIndex& index);
    void currentMovedByKey(const QModelIndex& index);
    void updateHeader();
    void updateEmptyText();

    FileListModel* mModel;
    FileListView* mTable;
    ItemSelection* mSelection;
    QString mFollowedPath;  // a picked item's new name, picked again once it is listed
    FileRowDelegate* mRowDelegate;
    QLabel* mHeader;
    QLabel* mEmptyText;
    QLineEdit* mSearchField;
    SortButton* mSortButton;
    QPushButton* mRecordButton;
    DetailScreen* mDetail = nullptr;
    DropboxScreen* mDropbox = nullptr;
    QPointer<NavigationController> mNavigation;
    PasteboardScreen* mPasteboard = nullptr;
    int mFolderLevel = 0;
    LibraryPreview* mPreview;
    std::unique_ptr<DirectoryWatcher> mDirWatcher;
    ItemActionsController* mActions;
};
