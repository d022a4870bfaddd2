#include "library/screens/ItemActionsController.h"

#include "library/DetailScreen.h"
#include "library/DocumentImport.h"
#include "library/DropboxScreen.h"
#include "library/screens/EditNameViewController.h"
#include "library/FileActions.h"
#include "library/FileListModel.h"
#include "library/screens/FolderViewController.h"
#include "library/ItemZipper.h"
#include "library/screens/MasterViewController.h"
#include "library/MusicImport.h"
#include "library/screens/MusicPickerViewController.h"
#include "library/screens/Question.h"
#include "library/PasteboardScreen.h"
#include "library/Utils.h"
#include "library/ZipAlertDelegate.h"
#include "platform/Background.h"
#include "platform/Dispatch.h"
#include "platform/Log.h"
#include "ui/screens/FlowLayout.h"
#include "ui/screens/ProgressHUD.h"
#include "ui/screens/Theme.h"

#include <QAction>
#include <QDesktopServices>
#include <QFileDialog>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>
#include <memory>

namespace {
const QString kCancel = QStringLiteral("Cancel");

QList<UndoStack::Step> stepsOf(const FileActions::Moves& moves)
{
    QList<UndoStack::Step> steps;
    for (const auto& [from, to] : moves)
        steps << UndoStack::Step{from, to};
    return steps;
}

enum class ExportChoice { OpenWith, SaveCopy };

QString titleOf(const LibraryItem& item) { return item.title.isEmpty() ? lastPathComponent(item.path) : item.title; }

constexpr float kProgressStep = 0.01f;  // the bar needs no more than a hundred steps

// Hands a worker's progress to the overlay on the main thread, in steps the eye can see.
std::function<void(float)> overlayProgress(QPointer<ProgressHUD> hud)
{
    auto shown = std::make_shared<float>(-1.0f);
    return [hud, shown](float fraction) {
        if (fraction < 1.0f && fraction - *shown < kProgressStep)
            return;
        *shown = fraction;
        platform::runOnMain([hud, fraction] {
            if (hud)
                hud->setProgress(fraction);
        });
    };
}

// The overlay appears when the zipper says what it is doing, on the main thread, follows its
// progress, and its cancel button stops it.
ItemZipper::Hooks overlayHooks(QPointer<QWidget> window, std::shared_ptr<QPointer<ProgressHUD>> hud,
                               std::shared_ptr<std::atomic<bool>> cancel)
{
    ItemZipper::Hooks hooks;
    hooks.cancel = cancel.get();
    hooks.started = [window, hud, cancel](const QString& message, float progress) {
        platform::runOnMain([window, hud, cancel, message, progress] {
            if (!window || *cancel)
                return;
            *hud = ProgressHUD::showWithMessage(window, message, [cancel] { *cancel = true; });
            (*hud)->setProgress(progress);
        });
    };
    hooks.progress = [hud](float progress) {
        platform::runOnMain([hud, progress] {
            if (*hud)
                (*hud)->setProgress(progress);
        });
    };
    return hooks;
}
}  // namespace

ItemActionsController::ItemActionsController(MasterViewController* browser, ItemSelection* selection)
    : QObject(browser),
      mBrowser(browser),
      mSelection(selection),
      mToolbar(new QWidget(browser)),
      mEditButton(new QPushButton(QStringLiteral("Edit"), mToolbar)),
      mAddButton(new QPushButton(QStringLiteral("+"), mToolbar)),
      mImportButton(new QPushButton(QStringLiteral("Import"), mToolbar)),
      mSelectButton(new QPushButton(QStringLiteral("Select"), mToolbar)),
      mMoveButton(new QPushButton(QStringLiteral("Move"), mToolbar)),
      mDropboxButton(new QPushButton(QStringLiteral("Dropbox"), mToolbar)),
      mDeleteButton(new QPushButton(mToolbar))
{
    // Wraps onto a second row in a narrow column instead of widening the window.
    auto* layout = new FlowLayout(mToolbar, 4);
    layout->setContentsMargins(6, 4, 6, 4);
    for (QPushButton* b : {mAddButton, mImportButton, mSelectButton, mMoveButton, mDropboxButton, mDeleteButton})
        layout->addWidget(b);
    layout->addRightAlignedWidget(mEditButton);
    for (QPushButton* b : {mAddButton, mImportButton, mSelectButton, mMoveButton, mDropboxButton, mDeleteButton, mEditButton})
        Theme::setCompact(b);
    mAddButton->setToolTip(QStringLiteral("Add Folder or New Notes"));
    mImportButton->setToolTip(QStringLiteral("Import files, a folder, music or from Dropbox"));
    mEditButton->setToolTip(QStringLiteral("Choose several items to move, copy or delete"));
    mSelectButton->setToolTip(QStringLiteral("Select all files, all folders or both"));
    mMoveButton->setToolTip(QStringLiteral("Move the selected items to another folder"));

    mImportMenu = new QMenu(mImportButton);
    mImportMenu->addAction(QStringLiteral("Import Files..."), this, &ItemActionsController::importDocuments);
    mImportMenu->addAction(QStringLiteral("Import Folder..."), this, &ItemActionsController::importFolder);
    mImportMenu->addAction(QStringLiteral("Import Music..."), this, &ItemActionsController::importSong);
    mImportMenu->addAction(QStringLiteral("Import from Dropbox..."), this, &ItemActionsController::importFromDropbox);
    mImportButton->setMenu(mImportMenu);

    // Desktop menus instead of sheets: the choice is the entry, closing the menu is the cancel.
    mSelectMenu = new QMenu(mSelectButton);
    mSelectMenu->setTitle(QStringLiteral("Select All"));
    const std::pair<const char*, ItemSelection::Kind> kinds[] = {{"Files", ItemSelection::Kind::Files},
                                                                 {"Folders", ItemSelection::Kind::Folders},
                                                                 {"Both", ItemSelection::Kind::Both},
                                                                 {"None", ItemSelection::Kind::None}};
    for (const auto& [text, kind] : kinds)
        mSelectMenu->addAction(QString::fromLatin1(text), this, [this, kind = kind] { selectKind(kind); });
    mSelectButton->setMenu(mSelectMenu);
    mAddMenu = new QMenu(mAddButton);
    mAddMenu->addAction(QStringLiteral("Add Folder"), this, &ItemActionsController::addFolder);
    mAddMenu->addAction(QStringLiteral("New Notes"), this, &ItemActionsController::addNotes);
    mAddButton->setMenu(mAddMenu);

    connect(mEditButton, &QPushButton::clicked, this, [this] { setEditing(!mEditing); });
    connect(mMoveButton, &QPushButton::clicked, this, [this] { moveAction(actionList()); });
    connect(mDropboxButton, &QPushButton::clicked, this, [this] { exportToDropbox(actionList()); });
    mDropboxButton->setToolTip(QStringLiteral("Copy to Dropbox"));
    connect(mDeleteButton, &QPushButton::clicked, this, &ItemActionsController::deleteManyPress);

    connect(mSelection, &ItemSelection::changed, this, &ItemActionsController::updateToolbar);
    connect(mBrowser, &MasterViewController::zipArrived, this, &ItemActionsController::unzipQuestion);
    updateToolbar();
}

ItemActionsController::~ItemActionsController() = default;

void ItemActionsController::setPasteboardScreen(PasteboardScreen* pasteboard)
{
    if (mPasteboard || !pasteboard)
        return;
    mPasteboard = pasteboard;
    mImportMenu->addSeparator();
    QAction* paste = mImportMenu->addAction(QStringLiteral("Paste"), this,
                                            [this] { mPasteboard->audioPaste(mBrowser, mBrowser->folder(), {}); });
    mImportMenu->addAction(QStringLiteral("AudioCopy Pasteboards..."), this,
                           [this] { mPasteboard->showPasteboards(mBrowser, mBrowser->folder()); });
    connect(mImportMenu, &QMenu::aboutToShow, paste, [this, paste] { paste->setEnabled(mPasteboard->canPaste()); });
}

QMenu* ItemActionsController::menuForItem(const LibraryItem& item)
{
    if (mEditing || item.path.isEmpty())
        return nullptr;
    auto* menu = new QMenu(mBrowser);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setTitle(titleOf(item));
    menu->addSection(titleOf(item));
    for (ItemMenuEntry entry : itemMenuEntries(item.path, item.isDirectory, item.isSys))
        menu->addAction(itemMenuTitle(entry), this, [this, entry, item] { perform(entry, item); });
    if (!mSelectionActions.isEmpty()) {
        // Kept for the action: closing the menu moves the list's highlight back.
        const QStringList targets =
            mSelection->isSelected(item.path) ? mSelection->selectedPaths() : QStringList{item.path};
        menu->addSeparator();
        for (QAction* action : std::as_const(mSelectionActions)) {
            action->setData(targets);
            menu->addAction(action);
        }
        connect(menu, &QObject::destroyed, this, [actions = mSelectionActions] {
            for (QAction* action : actions)
                action->setData(QVariant());
        });
    }
    return menu;
}

void ItemActionsController::showMenuForItem(const LibraryItem& item)
{
    if (QMenu* menu = menuForItem(item)) {
        // The list goes back to the file the editor shows once the menu is done with its row;
        // a row that is one of several picked ones leaves the pick as it was, as on a desktop.
        const bool partOfPick = mSelection->count() > 1 && mSelection->isSelected(item.path);
        if (!partOfPick)
            connect(menu, &QMenu::aboutToHide, this, [this] { mBrowser->selectCurrentPath(); });
        menu->popup(QCursor::pos());
    }
}

void ItemActionsController::perform(ItemMenuEntry entry, const LibraryItem& item)
{
    switch (entry) {
    case ItemMenuEntry::AddToKormix:
        if (mPasteboard)
            mPasteboard->sendToKormix(mBrowser, item.path);
        break;
    case ItemMenuEntry::Rename: renameAction(item); break;
    case ItemMenuEntry::Move: moveAction({item.path}); break;
    case ItemMenuEntry::MakeZipArchive: zipItem(item); break;
    case ItemMenuEntry::UnzipArchive: unzipQuestion(item.path); break;
    case ItemMenuEntry::CopyToDropbox: exportToDropbox({item.path}); break;
    case ItemMenuEntry::ExportShare: exportShare(item); break;
    case ItemMenuEntry::Copy:
        if (mPasteboard)
            mPasteboard->copyItems(mBrowser, {item.path});
        break;
    case ItemMenuEntry::AudioCopy:
        if (mPasteboard)
            mPasteboard->bulkAudioCopy(mBrowser, {item.path});
        break;
    case ItemMenuEntry::ShowSize: showSize(item); break;
    case ItemMenuEntry::Note: {
        const bool existed = QFileInfo::exists(item.path + QStringLiteral(".txt"));
        const QString note = FileActions::noteForFile(item.path);
        if (note.isEmpty())
            break;
        if (existed)
            mBrowser->openFile(note);
        else
            Utils::rememberNewFile(note);  // opened once the list shows it
        break;
    }
    case ItemMenuEntry::PutBack: putBack({item.path}); break;
    case ItemMenuEntry::Delete:
    case ItemMenuEntry::MoveToTrash: deleteItem(item); break;
    }
}

void ItemActionsController::deleteItem(const LibraryItem& item)
{
    const auto trash = [undo = mUndo](const QString& path) {
        QString trashed;
        if (FileActions::deleteItem(path, &trashed) && undo && !trashed.isEmpty())
            undo->push(UndoStack::Action::Trash, {{path, trashed}});
    };
    const auto question = FileActions::deleteQuestion(item.path, item.isDirectory);
    if (!question) {
        trash(item.path);
        return;
    }
    askQuestion<bool>(mBrowser->window(), question->title, question->message,
                      {{kCancel, std::nullopt}, {question->word, true}}, [trash, path = item.path](std::optional<bool> yes) {
                          if (yes)
                              trash(path);
                      });
}

void ItemActionsController::setEditing(bool editing)
{
    mEditing = editing;
    mSelection->clear();
    emit editingChanged(editing);
    if (!editing)
        mBrowser->selectCurrentPath();
    updateToolbar();
}

QStringList ItemActionsController::actionList() const { return mSelection->selectedPaths(); }

void ItemActionsController::updateToolbar()
{
    mEditButton->setText(mEditing ? QStringLiteral("Done") : QStringLiteral("Edit"));
    mAddButton->setVisible(!mEditing);
    mImportButton->setVisible(!mEditing);
    mSelectButton->setVisible(mEditing);
    mMoveButton->setVisible(mEditing);
    mDropboxButton->setVisible(mEditing);
    mDeleteButton->setVisible(mEditing);
    mDeleteButton->setText(FileActions::deleteWordForFolder(mBrowser->folder()));
    mDeleteButton->setToolTip(QStringLiteral("%1 the selected items").arg(mDeleteButton->text()));
    const bool any = mEditing && !actionList().isEmpty();
    mMoveButton->setEnabled(any);
    mDropboxButton->setEnabled(any);
    mDeleteButton->setEnabled(any);
}

void ItemActionsController::deleteManyPress()
{
    const LibraryItemList items = mSelection->targets();
    if (items.isEmpty())
        return;
    // Outside the Trash one file goes at once: it can come back.
    if (items.size() == 1 && !mEditing) {
        deleteItem(items.first());
        return;
    }
    QStringList paths;
    for (const LibraryItem& item : items)
        paths << item.path;
    const QString word = FileActions::deleteWordForFolder(mBrowser->folder());
    askQuestion<bool>(mBrowser->window(), FileActions::deleteManyTitle(mBrowser->folder(), paths.size()), QString(),
                      {{word, true}, {kCancel, std::nullopt}}, [this, paths](std::optional<bool> yes) {
                          if (yes)
                              trashMany(paths);
                      });
}

void ItemActionsController::deleteForGoodPress()
{
    const QStringList paths = mSelection->targetPaths();
    if (paths.isEmpty())
        return;
    const QString title = paths.size() == 1 ? QStringLiteral("Delete '%1'?").arg(lastPathComponent(paths.first()))
                                            : QStringLiteral("Delete %1 items?").arg(paths.size());
    askQuestion<bool>(mBrowser->window(), title, FileActions::kDeleteForGoodMessage,
                      {{QStringLiteral("Delete"), true}, {kCancel, std::nullopt}}, [this, paths](std::optional<bool> yes) {
                          if (!yes)
                              return;
                          FileActions::deleteForGood(paths);
                          if (mEditing)
                              setEditing(false);
                      });
}

void ItemActionsController::selectAllAction() { mSelectMenu->popup(mSelectButton->mapToGlobal(QPoint(0, mSelectButton->height()))); }

void ItemActionsController::selectKind(ItemSelection::Kind kind)
{
    mSelection->selectKind(kind);
    updateToolbar();
}

void ItemActionsController::moveAction(const QStringList& paths)
{
    if (paths.isEmpty())
        return;
    auto* picker = new FolderViewController(mBrowser->window());
    picker->setAttribute(Qt::WA_DeleteOnClose);
    picker->setWindowTitle(QStringLiteral("Move"));
    picker->completionBlock = [this, paths](const QString& destination) {
        if (destination.isNull())
            return;
        moveInto(paths, destination);
    };
    picker->open();
}

void ItemActionsController::moveInto(const QStringList& paths, const QString& destination)
{
    if (paths.isEmpty())
        return;
    // The folder they leave: a trash batch emptied by the move goes away (a cut or a drag may
    // come from another list than this one).
    const FileActions::Moves moved = FileActions::moveItems(paths, destination, QFileInfo(paths.first()).path());
    for (const auto& [from, to] : moved)
        emit itemMoved(from, to);
    if (mUndo)
        mUndo->push(UndoStack::Action::Move, stepsOf(moved));
    setEditing(false);
}

void ItemActionsController::dropInto(const QStringList& paths, const QString& folder)
{
    if (Utils::pathIsTrashcan(folder))
        trashMany(paths);
    else
        moveInto(paths, folder);
}

void ItemActionsController::trashMany(const QStringList& paths)
{
    // One moment for the whole action: every item lands in one trash batch.
    FileActions::Moves trashed;
    FileActions::deleteMany(paths, QDateTime::currentDateTime(), &trashed);
    if (mUndo)
        mUndo->push(UndoStack::Action::Trash, stepsOf(trashed));
    setEditing(false);
}

void ItemActionsController::renameAction(const LibraryItem& item)
{
    if (item.isSys) {
        Utils::showAlert(QStringLiteral("Oops"),
                         QStringLiteral("'%1' is a system item and can't be moved!").arg(lastPathComponent(item.path)));
        return;
    }
    auto* editor = new EditNameViewController(mBrowser->window());
    editor->setAttribute(Qt::WA_DeleteOnClose);
    editor->setWindowTitle(QStringLiteral("Rename"));
    editor->setButtonTitle(QStringLiteral("Rename"));
    editor->setShowKeepExtension(true);
    editor->setName(lastPathComponent(item.path));
    editor->completionBlock = [this, path = item.path](const QString& name) {
        if (name.isNull()) {
            mBrowser->selectCurrentPath();
            return;
        }
        const QString renamed = FileActions::renameItem(path, name);
        if (renamed.isEmpty())
            return;
        setEditing(false);
        emit itemMoved(path, renamed);
        if (mUndo)
            mUndo->push(UndoStack::Action::Rename, {{path, renamed}});
    };
    editor->open();
}

void ItemActionsController::putBackAction() { putBack(mSelection->targetPaths()); }

void ItemActionsController::putBack(const QStringList& paths)
{
    FileActions::Moves back;
    for (const QString& path : paths) {
        const QString restored = FileActions::putBack(path);
        if (!restored.isEmpty())
            back.append({path, restored});
    }
    if (mUndo)
        mUndo->push(UndoStack::Action::PutBack, stepsOf(back));
    if (mEditing)
        setEditing(false);
}

void ItemActionsController::addFolderPress() { mAddMenu->popup(mAddButton->mapToGlobal(QPoint(0, mAddButton->height()))); }

void ItemActionsController::addFolder()
{
    auto* editor = new EditNameViewController(mBrowser->window());
    editor->setAttribute(Qt::WA_DeleteOnClose);
    editor->setWindowTitle(QStringLiteral("Create Folder"));
    editor->setButtonTitle(QStringLiteral("Create"));
    editor->setName(QStringLiteral("New Folder"));
    editor->completionBlock = [this](const QString& name) {
        if (name.isNull())
            return;
        const QString created = FileActions::createFolder(mBrowser->folder(), name);
        if (!created.isEmpty() && mUndo)
            mUndo->push(UndoStack::Action::NewFolder, {{QString(), created}});
    };
    editor->open();
}

void ItemActionsController::addNotes() { FileActions::addNotes(mBrowser->folder()); }

void ItemActionsController::zipItem(const LibraryItem& item)
{
    if (!item.isDirectory && Utils::fileIsZip(item.path)) {
        unzipQuestion(item.path);
        return;
    }
    QPointer<QWidget> window = mBrowser->window();
    auto hud = std::make_shared<QPointer<ProgressHUD>>();
    auto cancel = std::make_shared<std::atomic<bool>>(false);
    const ItemZipper::Hooks hooks = overlayHooks(window, hud, cancel);
    const QString path = item.path;
    const QString folder = mBrowser->folder();
    platform::runInBackground(
        this,
        [path, folder, hooks, cancel] {
            ZipAlertDelegate delegate;
            return ItemZipper::zipItem(path, folder, &delegate, hooks);
        },
        [hud](bool zipped) {
            if (!*hud)
                return;
            if (zipped)
                (*hud)->makeAutoDismissMessage(QStringLiteral("Zipped"));
            else
                (*hud)->dismiss();
        });
}

void ItemActionsController::unzipQuestion(const QString& archive)
{
    askQuestion<bool>(mBrowser->window(), QStringLiteral("Unzip"),
                      QStringLiteral("Do you want to extract the contents of this zip file?"),
                      {{QStringLiteral("No"), std::nullopt}, {QStringLiteral("Yes"), true}},
                      [this, archive](std::optional<bool> yes) {
                          if (yes)
                              unzip(archive);
                      });
}

void ItemActionsController::unzip(const QString& archive)
{
    QPointer<QWidget> window = mBrowser->window();
    auto hud = std::make_shared<QPointer<ProgressHUD>>();
    auto cancel = std::make_shared<std::atomic<bool>>(false);
    const ItemZipper::Hooks hooks = overlayHooks(window, hud, cancel);
    const QString folder = mBrowser->folder();
    platform::runInBackground(
        this,
        [archive, folder, hooks, cancel] {
            ZipAlertDelegate delegate;
            return ItemZipper::unzip(archive, folder, &delegate, hooks);
        },
        [hud](bool opened) {
            if (!*hud)
                return;
            if (opened)
                (*hud)->makeAutoDismissMessage(QStringLiteral("Unzipped"));
            else
                (*hud)->dismiss();
        });
}

void ItemActionsController::showSize(const LibraryItem& item)
{
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    QPointer<ProgressHUD> hud =
        ProgressHUD::showWithMessage(mBrowser->window(), titleOf(item), [cancelled] { *cancelled = true; });
    const QString path = item.path;
    platform::runInBackground(this, [path, cancelled] { return FileActions::folderSize(path, cancelled.get()); },
                                         [hud, name = titleOf(item)](std::optional<quint64> size) {
                                             if (!hud)
                                                 return;
                                             if (!size)
                                                 hud->dismiss();
                                             else
                                                 hud->makeDismissMessage(QStringLiteral("%1\n%2").arg(
                                                     name, Utils::fileSizeToString(*size)));
                                         });
}

void ItemActionsController::exportShare(const LibraryItem& item)
{
    const QString open = QStringLiteral("Open With Another Application");
    const QString save = QStringLiteral("Save a Copy...");
    askQuestion<ExportChoice>(
        mBrowser->window(), QStringLiteral("Export / Share"), titleOf(item),
        {{open, ExportChoice::OpenWith}, {save, ExportChoice::SaveCopy}, {kCancel, std::nullopt}},
        [this, save, path = item.path](std::optional<ExportChoice> choice) {
            if (choice == ExportChoice::OpenWith) {
                if (!QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
                    Utils::showAlert(QStringLiteral("Export / Share"),
                                     QStringLiteral("No application could open '%1'.").arg(lastPathComponent(path)));
            } else if (choice == ExportChoice::SaveCopy) {
                const QString folder = QFileDialog::getExistingDirectory(mBrowser->window(), save);
                if (!folder.isEmpty() && !FileActions::exportCopy(path, folder).isEmpty())
                    ProgressHUD::showWithMessage(mBrowser->window(), QString())->makeAutoDismissMessage(QStringLiteral("Saved"));
            }
        });
}

void ItemActionsController::importDocuments()
{
    const QStringList files = QFileDialog::getOpenFileNames(mBrowser->window(), QStringLiteral("Import Files"));
    if (files.isEmpty()) {
        platform::log(QStringLiteral("doc picker view cancelled"));
        return;
    }
    const QString folder = mBrowser->folder();
    const QString message = files.size() == 1 ? QStringLiteral("Copying '%1'...").arg(QFileInfo(files.first()).fileName())
                                              : QStringLiteral("Copying %1 files...").arg(files.size());
    copyInBackground(message, files, [files, folder](FileActions::CopyControl& control) {
        return !DocumentImport::importFiles(files, folder, &control).isEmpty();
    }, QString());
}

void ItemActionsController::importFolder()
{
    const QString source = QFileDialog::getExistingDirectory(mBrowser->window(), QStringLiteral("Import Folder"));
    if (source.isEmpty()) {
        platform::log(QStringLiteral("doc picker view cancelled"));
        return;
    }
    const QString folder = mBrowser->folder();
    copyInBackground(QStringLiteral("Copying folder '%1'...").arg(QFileInfo(source).fileName()), {source},
                     [source, folder](FileActions::CopyControl& control) {
                         return !DocumentImport::importFolder(source, folder, &control).isEmpty();
                     },
                     QStringLiteral("Copy done!"));
}

void ItemActionsController::copyInBackground(const QString& message, const QStringList& sources,
                                             std::function<bool(FileActions::CopyControl&)> copy, const QString& doneMessage)
{
    auto cancel = std::make_shared<std::atomic<bool>>(false);
    const QPointer<ProgressHUD> hud =
        ProgressHUD::showWithMessage(mBrowser->window(), message, [cancel] { *cancel = true; });
    hud->setProgress(0.0f);
    platform::runInBackground(
        this,
        [sources, copy = std::move(copy), cancel, progress = overlayProgress(hud)] {
            const std::optional<quint64> total = DocumentImport::bytesToImport(sources, cancel.get());
            if (!total)
                return false;
            FileActions::CopyControl control;
            control.cancel = cancel.get();
            control.progress = [&progress, total](quint64 copied) {
                progress(*total > 0 ? float(double(copied) / double(*total)) : 1.0f);
            };
            return copy(control);
        },
        [hud, doneMessage](bool copied) {
            if (!hud)
                return;
            if (copied && !doneMessage.isEmpty())
                hud->makeAutoDismissMessage(doneMessage);
            else
                hud->dismiss();
        });
}

void ItemActionsController::importSong()
{
    // Every file under the music folder is opened to read its tags: not on this thread.
    auto cancel = std::make_shared<std::atomic<bool>>(false);
    const QPointer<ProgressHUD> hud = ProgressHUD::showWithMessage(
        mBrowser->window(), QStringLiteral("Reading music library..."), [cancel] { *cancel = true; });
    const QString folder = MusicLibrary::musicFolder();
    platform::runInBackground(
        this,
        [cancel, folder] {
            return folder.isEmpty() ? std::optional<QList<MusicTrack>>(QList<MusicTrack>())
                                    : MusicLibrary::tracks(folder, cancel.get());
        },
        [this, hud, folder](const std::optional<QList<MusicTrack>>& tracks) {
            if (hud)
                hud->dismiss();
            if (!tracks)
                return;  // cancelled
            if (tracks->isEmpty()) {
                // Say where we looked: the desktop's music folder is the music library here.
                Utils::showAlert(QStringLiteral("Sorry"),
                                 QStringLiteral("Could not access music library\nNo songs were found in %1.")
                                     .arg(QDir::toNativeSeparators(folder.isEmpty() ? QStringLiteral("your music folder") : folder)));
                return;
            }
            pickSong(*tracks);
        });
}

void ItemActionsController::pickSong(const QList<MusicTrack>& tracks)
{
    auto* picker = new MusicPickerViewController(tracks, mBrowser->window());
    picker->setAttribute(Qt::WA_DeleteOnClose);
    picker->completionBlock = [this](const QList<MusicTrack>& picked) {
        if (picked.isEmpty())
            return;
        if (!mMusicImport)
            mMusicImport = std::make_unique<MusicImport>();
        MusicImport* import = mMusicImport.get();
        QPointer<ProgressHUD> hud = ProgressHUD::showWithMessage(mBrowser->window(), QStringLiteral("Importing music..."),
                                                                 [import] { import->cancelMusicImport(); });
        hud->setProgress(0.0f);
        MusicImport::Callbacks callbacks;
        callbacks.progress = [hud](float f) {
            if (hud)
                hud->setProgress(f);
        };
        callbacks.finished = [hud](const QString&) {
            if (hud)
                hud->makeAutoDismissMessage(QStringLiteral("Imported music"));
        };
        callbacks.failed = [hud](const QString& message) {
            if (hud)
                hud->dismiss();
            Utils::showAlert(QStringLiteral("Music import"), message);
        };
        callbacks.cancelled = [hud] {
            if (hud)
                hud->dismiss();
        };
        import->start(picked.first(), mBrowser->folder(), callbacks);
    };
    picker->open();
}

void ItemActionsController::importFromDropbox()
{
    if (DropboxScreen* dropbox = mBrowser->dropboxScreen())
        dropbox->importFromDropbox(mBrowser);
}

void ItemActionsController::exportToDropbox(const QStringList& paths)
{
    DropboxScreen* dropbox = mBrowser->dropboxScreen();
    if (paths.isEmpty() || !dropbox)
        return;
    dropbox->exportToDropbox(mBrowser, paths);
    if (mEditing)
        setEditing(false);
}
