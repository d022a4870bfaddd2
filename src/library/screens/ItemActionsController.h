#pragma once
#include "library/FileActions.h"
#include "library/ItemMenu.h"
#include "library/MusicImport.h"
#include "library/LibraryItem.h"

#include <QObject>
#include <QStringList>
#include <functional>
#include <memory>

class MasterViewController;
class PasteboardScreen;
class QMenu;
class QMessageBox;
class QPushButton;
class QWidget;

// The browser's file actions: the per-item menu, the editing mode with its selection, and
// the add and import buttons. Screens and questions only; the work is FileActions,
// ItemZipper and DocumentImport.
class ItemActionsController : public QObject {
    Q_OBJECT
public:
    explicit ItemActionsController(MasterViewController* browser);
    ~ItemActionsController() override;

    // The row of buttons the browser shows under its list.
    QWidget* toolbar() const { return mToolbar; }
    // Copies, pastes and the mixer hand-over go through the exchange; the import menu then
    // offers the pastes too.
    void setPasteboardScreen(PasteboardScreen* pasteboard);

    // Builds the per-item menu for a row (nullptr when none may open); showMenuForCell pops it up.
    QMenu* menuForRow(int row);
    void showMenuForCell(int row);
    void perform(ItemMenuEntry entry, const LibraryItem& item);

    void setEditing(bool editing);
    bool isEditing() const { return mEditing; }
    QStringList actionList() const;

    void deleteItem(const LibraryItem& item);
    void deleteManyPress();
    void selectAllAction();
    void moveAction(const QStringList& paths);
    void renameAction(const LibraryItem& item);
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
    void pickSong(const QList<MusicTrack>& tracks);

private:
    // A question with buttons; answer gets the clicked button's text (empty when closed).
    QMessageBox* ask(const QString& title, const QString& text, const QStringList& buttons,
                     std::function<void(const QString&)> answer);
    void itemMoved(const QString& from, const QString& to);
    // Runs a copy into the library on the background pool behind the overlay, with its bar and
    // a cancel button; doneMessage (when given) closes it after a success.
    void copyInBackground(const QString& message, const QStringList& sources,
                          std::function<bool(FileActions::CopyControl&)> copy, const QString& doneMessage);
    void updateToolbar();

    MasterViewController* mBrowser;
    QWidget* mToolbar;
    QPushButton* mEditButton;
    QPushButton* mAddButton;
    QPushButton* mImportButton;
    QMenu* mImportMenu;
    PasteboardScreen* mPasteboard = nullptr;
    QPushButton* mSelectButton;
    QPushButton* mMoveButton;
    QPushButton* mDeleteButton;
    bool mEditing = false;
    std::unique_ptr<MusicImport> mMusicImport;  // made on first use, lives with the browser
};
