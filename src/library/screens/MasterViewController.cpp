#include "library/screens/MasterViewController.h"

#include "library/DetailScreen.h"
#include "library/FileListModel.h"
#include "library/screens/FileListView.h"
#include "library/screens/FileRowDelegate.h"
#include "library/FileSort.h"
#include "library/FolderListing.h"
#include "library/ItemSelection.h"
#include "library/screens/ItemActionsController.h"
#include "library/PasteboardScreen.h"
#include "library/PreviewPlayer.h"
#include "library/screens/SortButton.h"
#include "library/Utils.h"
#include "platform/Log.h"
#include "platform/Notifications.h"
#include "ui/screens/FolderMenuView.h"
#include "ui/screens/NavigationController.h"

#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QHBoxLayout>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

namespace {
const QString kParentFolder = QStringLiteral("/..");
const QString kRecordMark = QStringLiteral("\u25CF");
const QString kRecordTitle = QStringLiteral("Record");
MasterViewController::RecorderOpener gRecorderOpener;
const QString kNoResults = QStringLiteral("No results");
const QString kNothingHere = QStringLiteral("Nothing here yet.\nDrag audio files here, or use Import.");
}  // namespace

MasterViewController::MasterViewController(QWidget* parent)
    : QWidget(parent),
      mModel(new FileListModel(this)),
      mTable(new FileListView(this)),
      mSelection(new ItemSelection(mModel, this)),
      mRowDelegate(new FileRowDelegate(this)),
      mHeader(new QLabel(this)),
      mEmptyText(new QLabel(kNoResults)),
      mSearchField(new QLineEdit(this)),
      mSortButton(new SortButton(this)),
      mRecordButton(new QPushButton(kRecordMark, this)),
      mPreview(new LibraryPreview(mModel, this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    mSearchField->setPlaceholderText(QStringLiteral("Search"));
    mSearchField->setClearButtonEnabled(true);
    mSearchField->setToolTip(QStringLiteral("Show only the items whose names contain this text"));
    auto* searchRow = new QVBoxLayout;
    searchRow->setContentsMargins(8, 6, 8, 6);
    searchRow->addWidget(mSearchField);
    layout->addLayout(searchRow);

    mHeader->setContentsMargins(14, 4, 14, 4);
    QFont headerFont = mHeader->font();
    headerFont.setPointSizeF(headerFont.pointSizeF() * 0.85);
    mHeader->setFont(headerFont);
    layout->addWidget(mHeader);

    mTable->setModel(mModel);
    mTable->setSelectionModel(mSelection->selectionModel());
    mTable->setItemDelegate(mRowDelegate);
    mTable->setUniformItemSizes(true);
    // Ctrl- and Shift-clicks pick several rows whatever the mode.
    mTable->setSelectionMode(QAbstractItemView::ExtendedSelection);
    mTable->setContextMenuPolicy(Qt::CustomContextMenu);
    mTable->setEditTriggers(QAbstractItemView::NoEditTriggers);
    mTable->setFrameShape(QFrame::NoFrame);
    mTable->setMouseTracking(true);
    mTable->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    mTable->setTextElideMode(Qt::ElideMiddle);
    layout->addWidget(mTable, 1);
    // Over the list's empty space, centred by a layout of its own.
    auto* emptyLayout = new QVBoxLayout(mTable->viewport());
    emptyLayout->addWidget(mEmptyText, 0, Qt::AlignCenter);
    mEmptyText->setForegroundRole(QPalette::PlaceholderText);
    mEmptyText->setAlignment(Qt::AlignCenter);
    mEmptyText->hide();

    auto* bottom = new QHBoxLayout;
    bottom->setContentsMargins(0, 0, 6, 0);
    bottom->addWidget(mSortButton, 1);
    mRecordButton->setToolTip(kRecordTitle);
    mRecordButton->setAccessibleName(kRecordTitle);
    mRecordButton->setFixedSize(34, 28);
    mRecordButton->setStyleSheet(QStringLiteral("QPushButton { color: #e0402f; font-size: 18px; }"));
    mRecordButton->setVisible(bool(gRecorderOpener));
    connect(mRecordButton, &QPushButton::clicked, this, &MasterViewController::recordPress);
    bottom->addWidget(mRecordButton);
    layout->addLayout(bottom);
    mActions = new ItemActionsController(this, mSelection);
    layout->addWidget(mActions->toolbar());
    updateSortButton();
    updateHeader();

    connect(mModel, &FileListModel::arrivalsSettled, this, [this](const QString& openPath, int lastRow) {
        if (!openPath.isEmpty())
            showFile(openPath);
        else if (lastRow >= 0)
            mTable->scrollTo(mModel->index(lastRow));
    });
    connect(mModel, &FileListModel::listingFinished, this, &MasterViewController::listingFinished);
    connect(mModel, &FileListModel::headerTextChanged, this, &MasterViewController::updateHeader);
    connect(mModel, &FileListModel::modelReset, this, &MasterViewController::updateEmptyText);
    connect(mModel, &FileListModel::rowsInserted, this, &MasterViewController::updateEmptyText);
    // A picked item renamed here leaves the list and comes back under its new name: the pick
    // goes with it, not to the neighbour that took its row for a moment.
    connect(mModel, &FileListModel::rowsInserted, this, [this] {
        if (!mFollowedPath.isEmpty() && selectPath(mFollowedPath))
            mFollowedPath.clear();
    });
    connect(mModel, &FileListModel::rowsRemoved, this, &MasterViewController::updateEmptyText);
    connect(mTable, &QListView::clicked, this, &MasterViewController::rowClicked);
    connect(mTable, &FileListView::currentMovedByKey, this, &MasterViewController::currentMovedByKey);
    connect(mTable, &FileListView::openRequested, this, [this](const QModelIndex& index) {
        if (index.isValid() && index.row() < mModel->filelist().size())
            openItem(mModel->itemAt(index.row()));
    });
    connect(mTable, &QListView::customContextMenuRequested, this, [this](const QPoint& at) {
        const QModelIndex index = mTable->indexAt(at);
        if (mModel->isLoaded() && index.isValid() && index.row() < mModel->filelist().size())
            mActions->showMenuForItem(mModel->itemAt(index.row()));
    });
    connect(mActions, &ItemActionsController::editingChanged, this, [this](bool editing) {
        // While editing, a plain click picks a row instead of opening it.
        mTable->setSelectionMode(editing ? QAbstractItemView::MultiSelection : QAbstractItemView::ExtendedSelection);
    });
    connect(mActions, &ItemActionsController::itemMoved, this, &MasterViewController::followMove);
    connect(mSortButton, &SortButton::clicked, this, &MasterViewController::sortPress);
    connect(mSearchField, &QLineEdit::textChanged, this, &MasterViewController::handleSearch);
    // Escape in the search field ends the search, as in every desktop program's filter box.
    auto* endSearch = new QShortcut(QKeySequence(Qt::Key_Escape), mSearchField, nullptr, nullptr, Qt::WidgetShortcut);
    connect(endSearch, &QShortcut::activated, this, [this] {
        cancelSearch();
        mTable->setFocus(Qt::ShortcutFocusReason);
    });
    connect(mRowDelegate, &FileRowDelegate::previewButtonClicked, this, [this](const QModelIndex& index) {
        if (index.isValid() && index.row() < mModel->filelist().size())
            previewItem(mModel->itemAt(index.row()));
    });
}

MasterViewController::~MasterViewController()
{
    stopPreview();
    mModel->cancelUpdate();
    if (mDirWatcher)
        mDirWatcher->invalidate();
}

void MasterViewController::setRecorderOpener(RecorderOpener opener) { gRecorderOpener = std::move(opener); }

void MasterViewController::recordPress()
{
    if (gRecorderOpener)
        gRecorderOpener(this, false);
}

void MasterViewController::openAndToggleRecorder()
{
    if (gRecorderOpener)
        gRecorderOpener(this, true);
}

void MasterViewController::setFolder(const QString& folder)
{
    mModel->setFolder(folder);
    mDirWatcher = DirectoryWatcher::watchFolderWithPath(folder, this);
    update();
}

QString MasterViewController::folder() const { return mModel->folder(); }

void MasterViewController::setNavigationController(NavigationController* navigation)
{
    if (mNavigation)
        disconnect(mNavigation, nullptr, this, nullptr);
    mNavigation = navigation;
    if (!navigation)
        return;
    connect(navigation, &NavigationController::titleLongPressed, this, [this](QWidget* top) {
        if (top == this)
            titleLongPress();
    });
    connect(navigation, &NavigationController::titleTapped, this, [this](QWidget* top) {
        if (top == this)
            showFolderMenu();
    });
}

void MasterViewController::setPasteboardScreen(PasteboardScreen* pasteboard)
{
    if (mPasteboard || !pasteboard)
        return;
    mPasteboard = pasteboard;
    mActions->setPasteboardScreen(pasteboard);
    pasteboard->attachToList(
        mTable, [this] { return folder(); }, [this] { return mSelection->targetPaths(); },
        [this](const QStringList& items, const QString& into) { mActions->dropInto(items, into); });
}

void MasterViewController::setUndoStack(UndoStack* undo) { mActions->setUndoStack(undo); }

UndoStack* MasterViewController::undoStack() const { return mActions->undoStack(); }

QString MasterViewController::audioPaste(const QString& name)
{
    return mPasteboard ? mPasteboard->audioPaste(this, folder(), name) : QString();
}

QString MasterViewController::headerText() const { return mHeader->isVisible() ? mHeader->text() : QString(); }

const LibraryItemList& MasterViewController::addingFileList() const { return mModel->addingFileList(); }

QString MasterViewController::sortButtonText() const { return mSortButton->plainText(); }

void MasterViewController::update() { mModel->update(); }

void MasterViewController::listingFinished()
{
    mFollowedPath.clear();
    const QString newFile = Utils::lastNewFile();
    if (newFile.isEmpty()) {
        selectCurrentPath();
        return;
    }
    platform::log(QStringLiteral("update: auto-opening item: %1").arg(newFile));
    showFile(newFile);
    Utils::clearLastNewFile();
}

void MasterViewController::updateHeader()
{
    const QString text = mModel->headerText();
    mHeader->setText(text);
    mHeader->setHidden(text.isEmpty());
}

QString MasterViewController::emptyText() const { return mEmptyText->isVisibleTo(mTable) ? mEmptyText->text() : QString(); }

void MasterViewController::updateEmptyText()
{
    // A new library holds only its system items: say how files get in.
    bool onlySystemItems = mModel->isLoaded() && !mModel->isSearching();
    for (int row = 0; onlySystemItems && row < mModel->rowCount(); ++row)
        onlySystemItems = mModel->index(row).data(FileListModel::IsSystemRole).toBool();
    mEmptyText->setText(onlySystemItems ? kNothingHere : kNoResults);
    mEmptyText->setVisible(onlySystemItems || (mModel->isSearching() && mModel->rowCount() == 0));
}

void MasterViewController::sortPress()
{
    FileSort::setSortMode((FileSort::sortMode() + 1) % FileSort::kModeCount);
    mModel->sortFileList();
    selectCurrentPath();
    updateSortButton(true);
}

void MasterViewController::setSortMode(int mode)
{
    if (mode == FileSort::sortMode())
        return;
    FileSort::setSortMode(mode);
    mModel->sortFileList();
    // The picked rows moved with their items; the current one stays in sight.
    mTable->scrollTo(mTable->currentIndex());
    updateSortButton(true);
}

void MasterViewController::focusSearch()
{
    mSearchField->setFocus(Qt::ShortcutFocusReason);
    mSearchField->selectAll();
}

void MasterViewController::updateSortButton(bool animated) { mSortButton->setMode(FileSort::sortMode(), animated); }

void MasterViewController::saveDefaults() { FileSort::saveDefaults(); }

void MasterViewController::directoryDidChange(DirectoryWatcher*)
{
    platform::log(QStringLiteral("DIR CHANGED: %1").arg(folder()));
    platform::log(QStringLiteral("queue: %1").arg(platform::SerialQueue::currentLabel()));
    // The incremental refresh works on the unfiltered list.
    if (mModel->isSearching())
        cancelSearch();
    updateDirExternal();
    leaveIfFolderGone();
}

void MasterViewController::leaveIfFolderGone()
{
    if (mFolderLevel == 0 || QFileInfo(folder()).isDir() || !mNavigation)
        return;
    // The folder shown went away (emptied Trash batch, removed outside): back to the nearest
    // folder above it that still is, once this screen is done with its own signal.
    platform::log(QStringLiteral("Folder gone: %1").arg(folder()));
    QMetaObject::invokeMethod(mNavigation, [navigation = mNavigation] {
        const QList<QWidget*> stack = navigation->viewControllers();
        for (auto it = stack.crbegin(); it != stack.crend(); ++it) {
            auto* browser = qobject_cast<MasterViewController*>(*it);
            if (browser && (browser->folderLevel() == 0 || QFileInfo(browser->folder()).isDir())) {
                if (browser != navigation->topViewController())
                    navigation->popToViewController(browser, true);
                return;
            }
        }
    }, Qt::QueuedConnection);
}

void MasterViewController::updateDirExternal()
{
    const FileListModel::ExternalChange change = mModel->updateDirExternal();
    for (const LibraryItem& item : change.removed) {
        mPreview->itemRemoved(item);
        if (mDetail && mDetail->detailItem() == item.path)
            mDetail->setDetailItem(QString());
        if (mDetail)
            mDetail->waveformDeleted(item.path);
        emit itemRemoved(item);
    }
}

void MasterViewController::handleSearch(const QString& text)
{
    if (text.isEmpty()) {
        cancelSearch();
        return;
    }
    mModel->handleSearch(text);
    selectCurrentPath();
}

void MasterViewController::cancelSearch()
{
    if (!mSearchField->text().isEmpty()) {
        const QSignalBlocker quiet(mSearchField);
        mSearchField->clear();
    }
    mModel->cancelSearch();
    selectCurrentPath();
}

void MasterViewController::showFile(const QString& path)
{
    if (Utils::fileIsZip(path) && rowForItemWithPath(path) >= 0) {
        emit zipArrived(path);
        return;
    }
    openFile(path);
}

void MasterViewController::openFile(const QString& path)
{
    selectPath(path);
    if (mDetail)
        mDetail->setDetailItem(path);
}

void MasterViewController::showFileOrFolder(const QString& path)
{
    const QFileInfo info(path);
    if (info.isDir()) {
        enterFolder(path, true);
        return;
    }
    if (info.path() == folder()) {
        showFile(path);
        return;
    }
    // A file elsewhere: open its folder, then the file once that folder is listed.
    MasterViewController* browser = enterFolder(info.path(), true);
    auto once = std::make_shared<QMetaObject::Connection>();
    *once = connect(browser->model(), &FileListModel::listingFinished, browser, [browser, path, once] {
        QObject::disconnect(*once);
        browser->showFile(path);
    });
}

bool MasterViewController::selectPath(const QString& path)
{
    const int row = rowForItemWithPath(path);
    if (row < 0)
        return false;
    // The row becomes the one picked, except in editing mode, where the picks are the user's.
    if (mActions->isEditing())
        mSelection->setCurrentPath(path);
    else
        mSelection->selectPaths({path});
    mTable->scrollTo(mModel->index(row));
    return true;
}

void MasterViewController::selectCurrentPath()
{
    if (mDetail && !mDetail->detailItem().isEmpty())
        selectPath(mDetail->detailItem());
}

int MasterViewController::rowForItemWithPath(const QString& path) const { return mModel->rowForItemWithPath(path); }

void MasterViewController::rowClicked(const QModelIndex& index)
{
    if (!index.isValid() || index.row() >= mModel->filelist().size() || mActions->isEditing()
        || mTable->lastPressPicksOnly())
        return;
    openItem(mModel->itemAt(index.row()));
}

void MasterViewController::currentMovedByKey(const QModelIndex& index)
{
    // The editor follows the keyboard from file to file; folders open only on Enter.
    if (mActions->isEditing() || !index.isValid() || index.row() >= mModel->filelist().size())
        return;
    const LibraryItem item = mModel->itemAt(index.row());
    if (!item.isDirectory && !mModel->isArriving(item.path) && mDetail && mDetail->detailItem() != item.path)
        mDetail->setDetailItem(item.path);
}

void MasterViewController::openItem(const LibraryItem& item)
{
    if (mModel->isArriving(item.path))
        return;
    if (item.isDirectory) {
        enterFolder(item.path, true);
        // Back on this level, the list shows the editor's file, not the folder left.
        mSelection->clear();
        selectCurrentPath();
    } else {
        openFile(item.path);
    }
}

void MasterViewController::openCurrent()
{
    if (const std::optional<LibraryItem> current = mSelection->currentItem())
        openItem(*current);
}

void MasterViewController::followMove(const QString& path, const QString& newPath)
{
    if (mSelection->isSelected(path) && QFileInfo(newPath).path() == folder() && !selectPath(newPath))
        mFollowedPath = newPath;
    if (!mDetail)
        return;
    mDetail->waveformRenamed(path, newPath);
    const QString shown = mDetail->detailItem();
    if (shown == path)
        mDetail->setDetailItem(newPath);
    else if (shown.startsWith(path + QLatin1Char('/')))
        mDetail->setDetailItem(newPath + shown.mid(path.size()));
}

MasterViewController* MasterViewController::enterFolder(const QString& path, bool animated)
{
    stopPreview();
    auto* browser = new MasterViewController;
    browser->setDetailViewController(mDetail);
    browser->setDropboxScreen(mDropbox);
    browser->setPreviewPlayer(previewPlayer());
    browser->setFolderLevel(mFolderLevel + 1);
    browser->setWindowTitle(lastPathComponent(path));
    browser->setNavigationController(mNavigation);
    browser->setPasteboardScreen(mPasteboard);
    browser->setUndoStack(undoStack());
    if (mNavigation)
        mNavigation->pushViewController(browser, animated);
    else
        browser->setParent(this);  // no stack to own it: keep it alive with this browser
    browser->setFolder(path);
    return browser;
}

void MasterViewController::titleLongPress()
{
    // Deliberately also above the library root; the ".." stays in the path.
    enterFolder(folder() + kParentFolder, true);
}

void MasterViewController::showFolderMenu()
{
    if (mNavigation)
        FolderMenuView::showMenuForNavigationController(mNavigation);
}

// ---- Preview

void MasterViewController::setPreviewPlayer(PreviewPlayer* preview) { mPreview->setPreviewPlayer(preview); }

PreviewPlayer* MasterViewController::previewPlayer() const { return mPreview->previewPlayer(); }

void MasterViewController::previewItem(const LibraryItem& item)
{
    if (!mPreview->previewItem(item))
        Utils::showAlert(QStringLiteral("Sorry"),
                         QStringLiteral("Could not play '%1'.").arg(lastPathComponent(item.path)), this);
}

void MasterViewController::stopPreview() { mPreview->stopPreview(); }

const LibraryItem& MasterViewController::playingItem() const { return mPreview->playingItem(); }
