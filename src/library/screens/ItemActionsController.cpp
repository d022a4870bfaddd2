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
#include "library/PasteboardScreen.h"
#include "library/Utils.h"
#include "library/ZipAlertDelegate.h"
#include "platform/Background.h"
#include "platform/Dispatch.h"
#include "platform/Log.h"
#include "ui/screens/FlowLayout.h"
#include "ui/screens/ProgressHUD.h"
#include "ui/screens/Theme.h"

#include <QDesktopServices>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QListView>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>
#include <memory>

namespace {
const QString kCancel = QStringLiteral("Cancel");

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

ItemActionsController::ItemActionsController(MasterViewController* browser)
    : QObject(browser),
      mBrowser(browser),
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

    connect(mEditButton, &QPushButton::clicked, this, [this] { setEditing(!mEditing); });
    connect(mAddButton, &QPushButton::clicked, this, &ItemActionsController::addFolderPress);
    connect(mSelectButton, &QPushButton::clicked, this, &ItemActionsController::selectAllAction);
    connect(mMoveButton, &QPushButton::clicked, this, [this] { moveAction(actionList()); });
    connect(mDropboxButton, &QPushButton::clicked, this, [this] { exportToDropbox(actionList()); });
    mDropboxButton->setToolTip(QStringLiteral("Copy to Dropbox"));
    connect(mDeleteButton, &QPushButton::clicked, this, &ItemActionsController::deleteManyPress);

    QListView* table = mBrowser->tableView();
    table->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(table, &QListView::customContextMenuRequested, this,
            [this, table](const QPoint& at) { showMenuForCell(table->indexAt(at).row()); });
    connect(table, &QListView::pressed, this, [this] {
        if (mEditing)
            updateToolbar();
    });
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

QMenu* ItemActionsController::menuForRow(int row)
{
    FileListModel* model = mBrowser->model();
    if (!model->isLoaded() || row < 0 || row >= model->rowCount() || mEditing)
        return nullptr;
    const LibraryItem item = model->itemAt(row);
    auto* menu = new QMenu(mBrowser);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setTitle(titleOf(item));
    menu->addSection(titleOf(item));
    for (ItemMenuEntry entry : itemMenuEntries(item.path, item.isDirectory, item.isSys))
        menu->addAction(itemMenuTitle(entry), this, [this, entry, item] { perform(entry, item); });
    menu->addSeparator();
    menu->addAction(kCancel);
    return menu;
}

void ItemActionsController::showMenuForCell(int row)
{
    if (QMenu* menu = menuForRow(row)) {
        connect(menu, &QMenu::aboutToHide, this, [this] {
            mBrowser->tableView()->clearSelection();
            mBrowser->selectCurrentPath();
        });
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
    case ItemMenuEntry::Delete:
    case ItemMenuEntry::MoveToTrash: deleteItem(item); break;
    }
}

QMessageBox* ItemActionsController::ask(const QString& title, const QString& text, const QStringList& buttons,
                                        std::function<void(const QString&)> answer)
{
    auto* box = new QMessageBox(QMessageBox::NoIcon, title, text, QMessageBox::NoButton, mBrowser->window());
    box->setAttribute(Qt::WA_DeleteOnClose);
    for (const QString& b : buttons) {
        const bool cancel = b == kCancel || b == QLatin1String("No");
        box->addButton(b, cancel ? QMessageBox::RejectRole : QMessageBox::AcceptRole);
    }
    connect(box, &QMessageBox::buttonClicked, this, [answer](QAbstractButton* b) { answer(b->text()); });
    box->open();
    return box;
}

void ItemActionsController::deleteItem(const LibraryItem& item)
{
    const auto question = FileActions::deleteQuestion(item.path, item.isDirectory);
    if (!question) {
        FileActions::deleteItem(item.path);
        return;
    }
    ask(question->title, question->message, {kCancel, question->word},
        [path = item.path, word = question->word](const QString& answer) {
            if (answer == word)
                FileActions::deleteItem(path);
        });
}

void ItemActionsController::setEditing(bool editing)
{
    mEditing = editing;
    QListView* table = mBrowser->tableView();
    table->clearSelection();
    table->setSelectionMode(editing ? QAbstractItemView::MultiSelection : QAbstractItemView::SingleSelection);
    if (!editing)
        mBrowser->selectCurrentPath();
    updateToolbar();
}

QStringList ItemActionsController::actionList() const
{
    QStringList paths;
    if (!mEditing)
        return paths;
    QModelIndexList rows = mBrowser->tableView()->selectionModel()->selectedIndexes();
    std::sort(rows.begin(), rows.end(), [](const QModelIndex& a, const QModelIndex& b) { return a.row() < b.row(); });
    for (const QModelIndex& index : rows)
        paths << mBrowser->model()->itemAt(index.row()).path;
    return paths;
}

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
    const QStringList paths = actionList();
    if (paths.isEmpty())
        return;
    const QString word = FileActions::deleteWordForFolder(mBrowser->folder());
    ask(FileActions::deleteManyTitle(mBrowser->folder(), paths.size()), QString(), {word, kCancel},
        [this, paths, word](const QString& answer) {
            if (answer != word)
                return;
            // One moment for the whole action: every item lands in one trash batch.
            FileActions::deleteMany(paths, QDateTime::currentDateTime());
            setEditing(false);
        });
}

void ItemActionsController::selectAllAction()
{
    ask(QStringLiteral("Select All"), QString(),
        {QStringLiteral("Files"), QStringLiteral("Folders"), QStringLiteral("Both"), QStringLiteral("None"), kCancel},
        [this](const QString& answer) {
            if (answer == kCancel || answer.isEmpty())
                return;
            QListView* table = mBrowser->tableView();
            table->clearSelection();
            const LibraryItemList& items = mBrowser->model()->filelist();
            for (int row = 0; row < items.size(); ++row) {
                const bool folder = items[row].isDirectory;
                if (answer == QLatin1String("Both") || (answer == QLatin1String("Files") && !folder)
                    || (answer == QLatin1String("Folders") && folder))
                    table->selectionModel()->select(mBrowser->model()->index(row), QItemSelectionModel::Select);
            }
            updateToolbar();
        });
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
        for (const auto& [from, to] : FileActions::moveItems(paths, destination, mBrowser->folder()))
            itemMoved(from, to);
        setEditing(false);
    };
    picker->open();
}

void ItemActionsController::itemMoved(const QString& from, const QString& to)
{
    DetailScreen* detail = mBrowser->detailViewController();
    if (!detail)
        return;
    detail->waveformRenamed(from, to);
    const QString shown = detail->detailItem();
    if (shown == from)
        detail->setDetailItem(to);
    else if (shown.startsWith(from + QLatin1Char('/')))
        detail->setDetailItem(to + shown.mid(from.size()));
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
            mBrowser->tableView()->clearSelection();
            mBrowser->selectCurrentPath();
            return;
        }
        const QString renamed = FileActions::renameItem(path, name);
        if (renamed.isEmpty())
            return;
        setEditing(false);
        itemMoved(path, renamed);
    };
    editor->open();
}

void ItemActionsController::addFolderPress()
{
    ask(QString(), QString(), {QStringLiteral("Add Folder"), QStringLiteral("New Notes"), kCancel},
        [this](const QString& answer) {
            if (answer == QLatin1String("Add Folder"))
                addFolder();
            else if (answer == QLatin1String("New Notes"))
                addNotes();
        });
}

void ItemActionsController::addFolder()
{
    auto* editor = new EditNameViewController(mBrowser->window());
    editor->setAttribute(Qt::WA_DeleteOnClose);
    editor->setWindowTitle(QStringLiteral("Create Folder"));
    editor->setButtonTitle(QStringLiteral("Create"));
    editor->setName(QStringLiteral("New Folder"));
    editor->completionBlock = [this](const QString& name) {
        if (!name.isNull())
            FileActions::createFolder(mBrowser->folder(), name);
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
    ask(QStringLiteral("Unzip"), QStringLiteral("Do you want to extract the contents of this zip file?"),
        {QStringLiteral("No"), QStringLiteral("Yes")}, [this, archive](const QString& answer) {
            if (answer == QLatin1String("Yes"))
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
    ask(QStringLiteral("Export / Share"), titleOf(item), {open, save, kCancel},
        [this, open, save, path = item.path](const QString& answer) {
            if (answer == open) {
                if (!QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
                    Utils::showAlert(QStringLiteral("Export / Share"),
                                     QStringLiteral("No application could open '%1'.").arg(lastPathComponent(path)));
            } else if (answer == save) {
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
    platform::runInBackground(
        this,
        [cancel] {
            const QString folder = MusicLibrary::musicFolder();
            return folder.isEmpty() ? std::optional<QList<MusicTrack>>(QList<MusicTrack>())
                                    : MusicLibrary::tracks(folder, cancel.get());
        },
        [this, hud](const std::optional<QList<MusicTrack>>& tracks) {
            if (hud)
                hud->dismiss();
            if (!tracks)
                return;  // cancelled
            if (tracks->isEmpty()) {
                Utils::showAlert(QStringLiteral("Sorry"), QStringLiteral("Could not access music library"));
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
