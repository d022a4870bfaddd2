#include "shell/screens/MainMenu.h"

#include "audiofiles/EditorTransport.h"
#include "audiofiles/screens/DetailViewController.h"
#include "audiofiles/screens/WaveView.h"
#include "cloud/DropboxAccount.h"
#include "cloud/screens/DropboxScreens.h"
#include "exchange/screens/LibraryExchange.h"
#include "library/FileActions.h"
#include "library/FileListModel.h"
#include "library/FileSort.h"
#include "library/ItemSelection.h"
#include "library/UndoStack.h"
#include "library/Utils.h"
#include "library/screens/FileListView.h"
#include "library/screens/ItemActionsController.h"
#include "library/screens/MasterViewController.h"
#include "recording/AudioEngine.h"
#include "shell/screens/AppWindow.h"
#include "ui/screens/NavigationController.h"

#include <QActionGroup>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QHeaderView>
#include <QLayout>
#include <QMenuBar>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {
const QString kEllipsis = QStringLiteral("\u2026");

// The entry's name as the program knows it: without "…" and with "&&" read as "&".
QString plainText(QString text)
{
    if (text.endsWith(kEllipsis))
        text.chop(1);
    return text.replace(QStringLiteral("&&"), QStringLiteral("&"));
}

bool anySystemItem(const LibraryItemList& items)
{
    return std::any_of(items.begin(), items.end(), [](const LibraryItem& i) { return i.isSys || Utils::pathIsSystemItem(i.path); });
}
}  // namespace

MainMenu::MainMenu(AppWindow* app) : QObject(app), mApp(app), mBar(new QMenuBar(app->window()))
{
    app->window()->layout()->setMenuBar(mBar);
    buildFile();
    buildEdit();
    buildView();
    buildPlay();
    buildTools();
    buildWindow();
    buildHelp();
    for (QMenu* menu : mMenus) {
        connect(menu, &QMenu::aboutToShow, this, &MainMenu::refresh);
        // Disabled entries plainly dimmed, without the etched shadow that reads as bold on dark.
        QPalette palette = menu->palette();
        palette.setColor(QPalette::Disabled, QPalette::Light, Qt::transparent);
        menu->setPalette(palette);
    }
    connect(app->undoStack(), &UndoStack::changed, this, &MainMenu::refresh);
    connect(app->libraryNavigationController(), &NavigationController::topViewControllerChanged, this,
            &MainMenu::followBrowser);
    connect(app->detailViewController()->transport(), &EditorTransport::playingChanged, this, &MainMenu::refresh);
    // Opening a file, moving the keyboard's place or a click elsewhere can change what applies.
    connect(qApp, &QApplication::focusChanged, this, &MainMenu::refresh);
    followBrowser();
}

MasterViewController* MainMenu::browser() const
{
    NavigationController* navigation = mApp->libraryNavigationController();
    // The library level nearest the top: the recorder's screen can sit above it.
    const QList<QWidget*> stack = navigation ? navigation->viewControllers() : QList<QWidget*>();
    for (auto it = stack.rbegin(); it != stack.rend(); ++it)
        if (auto* browser = qobject_cast<MasterViewController*>(*it))
            return browser;
    return mApp->masterViewController();
}

void MainMenu::followBrowser()
{
    if (mFollowed)
        disconnect(mFollowed->selection(), nullptr, this, nullptr);
    mFollowed = browser();
    if (mFollowed) {
        connect(mFollowed->selection(), &ItemSelection::changed, this, &MainMenu::refresh);
        connect(mFollowed->selection()->selectionModel(), &QItemSelectionModel::currentChanged, this, &MainMenu::refresh);
    }
    refresh();
}

QAction* MainMenu::add(QMenu* menu, const QString& text, const QKeySequence& keys, std::function<void()> run, bool listKeys)
{
    QAction* action = menu->addAction(text);
    action->setObjectName(plainText(text));
    action->setShortcut(keys);
    if (listKeys) {
        // Only while the library column has the keyboard: the action sits on the column too.
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        mApp->libraryNavigationController()->addAction(action);
    }
    connect(action, &QAction::triggered, this, [this, run = std::move(run)] {
        run();
        refresh();
    });
    return action;
}

void MainMenu::buildFile()
{
    QMenu* menu = mBar->addMenu(QStringLiteral("&File"));
    mMenus << menu;
    auto actions = [this] { return browser()->actions(); };
    add(menu, QStringLiteral("New Folder") + kEllipsis, QKeySequence(QStringLiteral("Ctrl+Shift+N")), [actions] { actions()->addFolder(); });
    add(menu, QStringLiteral("New Notes"), QKeySequence::New, [actions] { actions()->addNotes(); });
    menu->addSeparator();
    add(menu, QStringLiteral("Import Files") + kEllipsis, QKeySequence(QStringLiteral("Ctrl+I")), [actions] { actions()->importDocuments(); });
    add(menu, QStringLiteral("Import Folder") + kEllipsis, {}, [actions] { actions()->importFolder(); });
    add(menu, QStringLiteral("Import Music") + kEllipsis, {}, [actions] { actions()->importSong(); });
    add(menu, QStringLiteral("Import from Dropbox") + kEllipsis, {}, [actions] { actions()->importFromDropbox(); });
    menu->addSeparator();
    auto single = [this] { return browser()->selection()->targets().value(0); };
    add(menu, QStringLiteral("Make Zip Archive"), {}, [actions, single] { actions()->zipItem(single()); });
    add(menu, QStringLiteral("Unzip Archive"), {}, [actions, single] { actions()->unzipQuestion(single().path); });
    add(menu, QStringLiteral("Export / Share") + kEllipsis, {}, [actions, single] { actions()->exportShare(single()); });
    add(menu, QStringLiteral("Copy to Dropbox") + kEllipsis, {},
        [this, actions] { actions()->exportToDropbox(browser()->selection()->targetPaths()); });
    menu->addSeparator();
    QAction* quit = add(menu, QStringLiteral("Quit"), QKeySequence(QStringLiteral("Ctrl+Q")), [this] { mApp->window()->close(); });
    quit->setMenuRole(QAction::QuitRole);
}

void MainMenu::buildEdit()
{
    QMenu* menu = mBar->addMenu(QStringLiteral("&Edit"));
    mMenus << menu;
    auto actions = [this] { return browser()->actions(); };
    auto targets = [this] { return browser()->selection()->targetPaths(); };
    add(menu, QStringLiteral("Undo"), QKeySequence::Undo, [this] { mApp->undoStack()->undo(); });
    add(menu, QStringLiteral("Redo"), QKeySequence(QStringLiteral("Ctrl+Shift+Z")), [this] { mApp->undoStack()->redo(); });
    menu->addSeparator();
    add(menu, QStringLiteral("Cut"), QKeySequence::Cut, [this, targets] { mApp->libraryExchange()->cutItems(browser(), targets()); }, true);
    add(menu, QStringLiteral("Copy"), QKeySequence::Copy, [this, targets] { mApp->libraryExchange()->copyItems(browser(), targets()); }, true);
    add(menu, QStringLiteral("Paste"), QKeySequence::Paste,
        [this] { mApp->libraryExchange()->audioPaste(browser(), browser()->folder(), {}); }, true);
    add(menu, QStringLiteral("AudioCopy"), {}, [this, targets] { mApp->libraryExchange()->bulkAudioCopy(browser(), targets()); });
    menu->addSeparator();
    add(menu, QStringLiteral("Rename") + kEllipsis, QKeySequence(Qt::Key_F2),
        [this, actions] { actions()->renameAction(browser()->selection()->targets().value(0)); }, true);
    add(menu, QStringLiteral("Move") + kEllipsis, QKeySequence(QStringLiteral("Ctrl+Shift+M")), [actions, targets] { actions()->moveAction(targets()); });
    add(menu, QStringLiteral("Move to Trash"), QKeySequence(Qt::Key_Delete), [actions] { actions()->deleteManyPress(); }, true);
    add(menu, QStringLiteral("Delete") + kEllipsis, QKeySequence(QStringLiteral("Shift+Del")), [actions] { actions()->deleteForGoodPress(); }, true);
    add(menu, QStringLiteral("Put Back"), {}, [actions] { actions()->putBackAction(); });
    menu->addSeparator();
    add(menu, QStringLiteral("Select All"), QKeySequence::SelectAll, [actions] { actions()->selectKind(ItemSelection::Kind::Both); }, true);
    add(menu, QStringLiteral("Select Files"), {}, [actions] { actions()->selectKind(ItemSelection::Kind::Files); });
    add(menu, QStringLiteral("Select Folders"), {}, [actions] { actions()->selectKind(ItemSelection::Kind::Folders); });
    add(menu, QStringLiteral("Select None"), QKeySequence(QStringLiteral("Ctrl+Shift+A")),
        [actions] { actions()->selectKind(ItemSelection::Kind::None); });
    QAction* editing = add(menu, QStringLiteral("Edit Mode"), {}, [actions] { actions()->setEditing(!actions()->isEditing()); });
    editing->setCheckable(true);
    menu->addSeparator();
    auto single = [this] { return browser()->selection()->targets().value(0); };
    add(menu, QStringLiteral("Show Size"), {}, [actions, single] { actions()->showSize(single()); });
    add(menu, QStringLiteral("Note"), {}, [actions, single] { actions()->perform(ItemMenuEntry::Note, single()); });
    menu->addSeparator();
    add(menu, QStringLiteral("Find"), QKeySequence::Find, [this] { browser()->focusSearch(); });
}

void MainMenu::buildView()
{
    QMenu* menu = mBar->addMenu(QStringLiteral("&View"));
    mMenus << menu;
    add(menu, QStringLiteral("Open"), QKeySequence(Qt::Key_Return), [this] { browser()->openCurrent(); }, true);
    add(menu, QStringLiteral("Back"), QKeySequence::Back, [this] { mApp->libraryNavigationController()->popViewController(true); });
    add(menu, QStringLiteral("Enclosing Folder"), QKeySequence(QStringLiteral("Alt+Up")), [this] { browser()->titleLongPress(); });
    add(menu, QStringLiteral("Folder Path") + kEllipsis, {}, [this] { browser()->showFolderMenu(); });
    menu->addSeparator();
    mSortGroup = new QActionGroup(this);
    const std::pair<const char*, int> modes[] = {
        {"Sort by Name", FileSort::kByName}, {"Sort by Date", FileSort::kByDate}, {"Sort by Size", FileSort::kBySize}};
    for (const auto& [text, mode] : modes) {
        QAction* sort = add(menu, QString::fromLatin1(text), {}, [this, mode = mode] { browser()->setSortMode(mode); });
        sort->setCheckable(true);
        sort->setData(mode);
        mSortGroup->addAction(sort);
    }
    menu->addSeparator();
    add(menu, QStringLiteral("Refresh"), QKeySequence::Refresh, [this] { browser()->update(); });
}

void MainMenu::buildPlay()
{
    QMenu* menu = mBar->addMenu(QStringLiteral("&Play"));
    mMenus << menu;
    DetailViewController* detail = mApp->detailViewController();
    add(menu, QStringLiteral("Play"), QKeySequence(Qt::Key_Space), [detail] { detail->playPress(); });
    add(menu, QStringLiteral("Rewind"), QKeySequence(QStringLiteral("Ctrl+Home")), [detail] { detail->rewindPress(); });
    QAction* loop = add(menu, QStringLiteral("Loop"), QKeySequence(QStringLiteral("Ctrl+L")), [detail] { detail->loopToggled(); });
    loop->setCheckable(true);
    menu->addSeparator();
    add(menu, QStringLiteral("Preview"), QKeySequence(QStringLiteral("Ctrl+Shift+Space")), [this] {
        if (const std::optional<LibraryItem> item = browser()->selection()->currentItem())
            browser()->previewItem(*item);
    });
    add(menu, QStringLiteral("Stop Preview"), {}, [this] { browser()->stopPreview(); });
    QAction* next = add(menu, QStringLiteral("Auto-Play Next"), {}, [] { AudioEngine::setAutoPlayNext(!AudioEngine::autoPlayNext()); });
    next->setCheckable(true);
    menu->addSeparator();
    add(menu, QStringLiteral("Recorder"), QKeySequence(QStringLiteral("Ctrl+R")), [this] { mApp->openRecorder(browser(), false); });
    add(menu, QStringLiteral("Record"), QKeySequence(QStringLiteral("Ctrl+Shift+R")), [this] { mApp->openRecorder(browser(), true); });
}

void MainMenu::buildTools()
{
    QMenu* menu = mBar->addMenu(QStringLiteral("&Tools"));
    mMenus << menu;
    DetailViewController* detail = mApp->detailViewController();
    add(menu, QStringLiteral("Trim && Fade"), QKeySequence(QStringLiteral("Ctrl+T")), [detail] {
        detail->waveView()->setTrimMode(true);
        detail->updateEditState();
    });
    add(menu, QStringLiteral("Normalize"), {}, [detail] { detail->normalize(); });
    add(menu, QStringLiteral("Convert") + kEllipsis, {}, [detail] { detail->showConvert(); });
    add(menu, QStringLiteral("Copy to AudioCopy") + kEllipsis, {}, [detail] { detail->audioCopy(); });
    menu->addSeparator();
    add(menu, QStringLiteral("AudioCopy Pasteboards") + kEllipsis, {},
        [this] { mApp->libraryExchange()->showPasteboards(browser(), browser()->folder()); });
    add(menu, QStringLiteral("Add as FilePlayer in Kormix"), {}, [this] {
        browser()->actions()->perform(ItemMenuEntry::AddToKormix, browser()->selection()->targets().value(0));
    });
    menu->addSeparator();
    menu->addAction(mApp->wifiDriveAction());
    mApp->wifiDriveAction()->setObjectName(plainText(mApp->wifiDriveAction()->text()));
    add(menu, QStringLiteral("Link Dropbox") + kEllipsis, {}, [this] { mApp->dropboxScreens()->linkAccount(mApp->window()); });
    add(menu, QStringLiteral("Unlink Dropbox"), {}, [this] { mApp->dropboxScreens()->unlinkAccount(mApp->window()); });
    menu->addSeparator();
    // Not every desktop names a key for preferences; the usual one then.
    if (mApp->settingsAction()->shortcut().isEmpty())
        mApp->settingsAction()->setShortcut(QKeySequence(QStringLiteral("Ctrl+,")));
    menu->addAction(mApp->settingsAction());
    mApp->settingsAction()->setObjectName(plainText(mApp->settingsAction()->text()));
}

void MainMenu::buildWindow()
{
    QMenu* menu = mBar->addMenu(QStringLiteral("&Window"));
    mMenus << menu;
    QWidget* window = mApp->window();
    add(menu, QStringLiteral("Minimize"), QKeySequence(QStringLiteral("Ctrl+M")), [window] { window->showMinimized(); });
    add(menu, QStringLiteral("Full Screen"), QKeySequence::FullScreen, [window] {
        window->setWindowState(window->windowState() ^ Qt::WindowFullScreen);
    });
    menu->addSeparator();
    add(menu, QStringLiteral("Library"), QKeySequence(QStringLiteral("Ctrl+1")), [this] { browser()->tableView()->setFocus(Qt::ShortcutFocusReason); });
    add(menu, QStringLiteral("Editor"), QKeySequence(QStringLiteral("Ctrl+2")),
        [this] { mApp->detailViewController()->setFocus(Qt::ShortcutFocusReason); });
}

void MainMenu::buildHelp()
{
    QMenu* menu = mBar->addMenu(QStringLiteral("&Help"));
    mMenus << menu;
    add(menu, QStringLiteral("Keyboard Shortcuts"), QKeySequence::HelpContents, [this] { showShortcuts(); });
    QAction* about = add(menu, QStringLiteral("About Wavelocker"), {}, [this] { mApp->infoTapped(); });
    about->setMenuRole(QAction::AboutRole);
}

// Every entry with its keys, read from the menus themselves so that the list is always true.
void MainMenu::showShortcuts()
{
    auto* dialog = new QDialog(mApp->window());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(QStringLiteral("Keyboard Shortcuts"));
    auto* table = new QTableWidget(0, 2, dialog);
    table->setHorizontalHeaderLabels({QStringLiteral("Command"), QStringLiteral("Keys")});
    table->verticalHeader()->hide();
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    for (QAction* action : commands()) {
        if (action->shortcut().isEmpty())
            continue;
        const int row = table->rowCount();
        table->insertRow(row);
        table->setItem(row, 0, new QTableWidgetItem(plainText(action->text())));
        table->setItem(row, 1, new QTableWidgetItem(action->shortcut().toString(QKeySequence::NativeText)));
    }
    table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    table->resizeColumnToContents(1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::close);
    auto* layout = new QVBoxLayout(dialog);
    layout->addWidget(table);
    layout->addWidget(buttons);
    dialog->resize(420, 520);
    dialog->show();
}

QList<QAction*> MainMenu::commands() const
{
    QList<QAction*> all;
    for (QMenu* menu : mMenus)
        for (QAction* action : menu->actions())
            if (!action->isSeparator() && !action->menu())
                all << action;
    return all;
}

QAction* MainMenu::action(const QString& text) const
{
    for (QAction* action : commands())
        if (action->objectName() == text)
            return action;
    return nullptr;
}

void MainMenu::refresh()
{
    MasterViewController* b = browser();
    if (b != mFollowed) {
        followBrowser();
        return;
    }
    const LibraryItemList items = b ? b->selection()->targets() : LibraryItemList();
    const bool any = !items.isEmpty();
    const bool one = items.size() == 1;
    const LibraryItem first = items.value(0);
    const bool system = anySystemItem(items);
    const bool inTrash = any && std::all_of(items.begin(), items.end(), [](const LibraryItem& i) { return Utils::pathIsInsideTrashcan(i.path); });
    const bool editing = b && b->actions()->isEditing();
    auto enable = [this](const QString& text, bool on) {
        if (QAction* a = action(text))
            a->setEnabled(on);
    };

    enable(QStringLiteral("Make Zip Archive"), one && !(Utils::fileIsZip(first.path) && !first.isDirectory));
    enable(QStringLiteral("Unzip Archive"), one && !first.isDirectory && Utils::fileIsZip(first.path));
    enable(QStringLiteral("Export / Share"), one);
    enable(QStringLiteral("Copy to Dropbox"), any);

    UndoStack* undo = mApp->undoStack();
    action(QStringLiteral("Undo"))->setEnabled(undo->canUndo());
    action(QStringLiteral("Undo"))->setText(undo->undoText());
    action(QStringLiteral("Redo"))->setEnabled(undo->canRedo());
    action(QStringLiteral("Redo"))->setText(undo->redoText());
    enable(QStringLiteral("Cut"), any && !system);
    enable(QStringLiteral("Copy"), any && !system);
    enable(QStringLiteral("Paste"), b && mApp->libraryExchange()->canPaste());
    enable(QStringLiteral("AudioCopy"),
           any && std::all_of(items.begin(), items.end(), [](const LibraryItem& i) { return !i.isDirectory && Utils::fileIsAudio(i.path); }));
    enable(QStringLiteral("Rename"), one && !system);
    enable(QStringLiteral("Move"), any && !system);
    enable(QStringLiteral("Move to Trash"), any && !system && !inTrash);
    enable(QStringLiteral("Delete"), any && !system);
    enable(QStringLiteral("Put Back"),
           any && std::all_of(items.begin(), items.end(), [](const LibraryItem& i) { return FileActions::canPutBack(i.path); }));
    const bool rows = b && b->model()->rowCount() > 0;
    for (const char* text : {"Select All", "Select Files", "Select Folders"})
        enable(QString::fromLatin1(text), rows);
    enable(QStringLiteral("Select None"), b && b->selection()->count() > 0);
    action(QStringLiteral("Edit Mode"))->setChecked(editing);
    enable(QStringLiteral("Show Size"), one && first.isDirectory);
    enable(QStringLiteral("Note"), one && !first.isDirectory && !Utils::fileIsText(first.path));

    const std::optional<LibraryItem> current = b ? b->selection()->currentItem() : std::nullopt;
    enable(QStringLiteral("Open"), current.has_value());
    enable(QStringLiteral("Back"), mApp->libraryNavigationController()->viewControllers().size() > 1);
    for (QAction* sort : mSortGroup->actions())
        sort->setChecked(sort->data().toInt() == FileSort::sortMode());

    DetailViewController* detail = mApp->detailViewController();
    const bool wave = detail->shownContent() == detail->waveView();
    const bool trimming = wave && detail->waveView()->trimMode();
    const bool playing = detail->transport()->playingThis();
    action(QStringLiteral("Play"))->setEnabled(wave);
    action(QStringLiteral("Play"))->setText(playing ? QStringLiteral("Pause") : QStringLiteral("Play"));
    enable(QStringLiteral("Rewind"), wave);
    action(QStringLiteral("Loop"))->setEnabled(wave);
    action(QStringLiteral("Loop"))->setChecked(detail->transport()->loop());
    enable(QStringLiteral("Preview"), current && !current->isDirectory && Utils::fileIsAudio(current->path));
    enable(QStringLiteral("Stop Preview"), b && !b->playingItem().path.isEmpty());
    action(QStringLiteral("Auto-Play Next"))->setChecked(AudioEngine::autoPlayNext());
    enable(QStringLiteral("Trim & Fade"), wave && !trimming);
    enable(QStringLiteral("Normalize"), wave && !trimming);
    enable(QStringLiteral("Convert"), wave && !trimming);
    enable(QStringLiteral("Copy to AudioCopy"), wave && !trimming);
    enable(QStringLiteral("Add as FilePlayer in Kormix"),
           one && itemMenuEntries(first.path, first.isDirectory, first.isSys).contains(ItemMenuEntry::AddToKormix));
    const bool linked = mApp->dropboxScreens()->account()->isLinked();
    enable(QStringLiteral("Link Dropbox"), !linked);
    enable(QStringLiteral("Unlink Dropbox"), linked);
}
