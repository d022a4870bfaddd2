#pragma once
#include "library/FileActions.h"
#include "library/ItemMenu.h"
#include "library/ItemSelection.h"
#include "library/MusicImport.h"
#include "library/LibraryItem.h"
#include "library/UndoStack.h"

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <functional>
#include <memory>

class MasterViewController;
class QAction;
class PasteboardScreen;
class QMenu;
class QPushButton;
class QWidget;

// The browser's file actions: the per-item menu, the editing mode, the add and import buttons,
// and the commands on the picked items. It reads and changes the pick through the browser's
// ItemSelection and answers questions by value; the work is FileActions, ItemZipper and
// DocumentImport. The browser supplies its folder and window, and follows moved items.
class ItemActionsController : public QObject {
    Q_OBJECT
public:
    ItemActionsController(MasterViewController* browser, ItemSelection* selection);
    ~ItemActionsController() override;

    ItemSelection* selection() const { return mSelection; }
    // Where trash, move, rename, new folder and put back are recorded for undo; every browser
    // of the stack shares the window's. Without one nothing is recorded.
    void setUndoStack(UndoStack* undo) { mUndo = undo; }
    UndoStack* undoStack() const { return mUndo; }

    // The row of buttons the browser shows under its list.
    QWidget* toolbar() const { return mToolbar; }
    // Copies, pastes and the mixer hand-over go through the exchange; the import menu then
    // offers the pastes too.
    void setPasteboardScreen(PasteboardScreen* pasteboard);

    // Builds the per-item menu for an item (nullptr while editing); showMenuForItem pops it up.
    QMenu* menuForItem(const LibraryItem& item);
    // Commands over several items that the window adds at the end of the item menu (the batch
    // tools). While a menu is open each one's data holds the paths it is about: the picked
    // items when the menu's item is among them, else that item alone.
    void setSelectionActions(const QList<QAction*>& actions) { mSelectionActions = actions; }
    void showMenuForItem(const LibraryItem& item);
    void perform(ItemMenuEntry entry, const LibraryItem& item);

    void setEditing(bool editing);
    bool isEditing() const { return mEditing; }
    // The picked items' paths in row order.
    QStringList actionList() const;

    void deleteItem(const LibraryItem& item);
    // Trashes (in the Trash: deletes, after asking) the picked items, or the current one.
    void deleteManyPress();
    // Deletes the picked items for good, after asking, wherever they are.
    void deleteForGoodPress();
    // The "Select" button's menu: Files, Folders, Both, None.
    void selectAllAction();
    void selectKind(ItemSelection::Kind kind);
    void moveAction(const QStringList& paths);
    // Items dragged onto a folder row: moved into it as Move does, or trashed on the Trash.
    void dropInto(const QStringList& paths, const QString& folder);
    void renameAction(const LibraryItem& item);
    // Puts the picked items of the Trash (or the current one) back where they came from.
    void putBackAction();
    void putBack(const QStringList& paths);
    void addFolderPress();
    void addFolder();
    void addNotes();
    void zipItem(const LibraryItem& item);
    void unzipQuestion(const QString& archive);
    void unzip(const QString& archive);
    void showSize(const LibraryItem& item);
    void exportShare(const LibraryItem& item);
    void importDocuments();
    void importFolder();
    void importSong();
    void importFromDropbox();
    void exportToDropbox(const QStringList& paths);
    void pickSong(const QList<MusicTrack>& tracks);

    QMenu* selectMenu() const { return mSelectMenu; }
    QMenu* addMenu() const { return mAddMenu; }

signals:
    // Editing mode began or ended: the list picks rows by plain clicks while it lasts.
    void editingChanged(bool editing);
    // An item moved or was renamed; whatever shows it follows.
    void itemMoved(const QString& from, const QString& to);

private:
    void moveInto(const QStringList& paths, const QString& destination);
    void trashMany(const QStringList& paths);
    // Runs a copy into the library on the background pool behind the overlay, with its bar and
    // a cancel button; doneMessage (when given) closes it after a success.
    void copyInBackground(const QString& message, const QStringList& sources,
                          std::function<bool(FileActions::CopyControl&)> copy, const QString& doneMessage);
    void updateToolbar();

    MasterViewController* mBrowser;
    ItemSelection* mSelection;
    QPointer<UndoStack> mUndo;
    QWidget* mToolbar;
    QPushButton* mEditButton;
    QPushButton* mAddButton;
    QPushButton* mImportButton;
    QMenu* mImportMenu;
    QMenu* mSelectMenu;
    QMenu* mAddMenu;
    QList<QAction*> mSelectionActions;
    PasteboardScreen* mPasteboard = nullptr;
    QPushButton* mSelectButton;
    QPushButton* mMoveButton;
    QPushButton* mDropboxButton;
    QPushButton* mDeleteButton;
    bool mEditing = false;
    std::unique_ptr<MusicImport> mMusicImport;  // made on first use, lives with the browser
};
