#include "library/FileListModel.h"

#include "library/FileListDiff.h"
#include "library/FileSort.h"
#include "library/FolderListing.h"
#include "library/LibraryQueue.h"
#include "library/RowTexts.h"
#include "library/SearchFilter.h"
#include "library/Utils.h"
#include "platform/Log.h"

#include <QPointer>

namespace {
constexpr int kSettleIntervalMs = 500;

std::optional<LibraryItemList> sortedListing(const QString& folder, const std::atomic_bool* cancel)
{
    std::optional<LibraryItemList> list = listFolder(folder, cancel);
    if (list)
        FileSort::sortFileList(*list, FileSort::sortMode());
    return list;
}
}  // namespace

FileListModel::FileListModel(QObject* parent) : QAbstractListModel(parent)
{
    mCheckNewFiles.setSingleShot(true);
    mCheckNewFiles.setInterval(kSettleIntervalMs);
    connect(&mCheckNewFiles, &QTimer::timeout, this, &FileListModel::checkNewFilesFinished);
}

FileListModel::~FileListModel() { cancelUpdate(); }

void FileListModel::setFolder(const QString& folder) { mFolder = folder; }

void FileListModel::update()
{
    mCancel->store(false);
    const QPointer<FileListModel> self(this);
    const quint64 generation = ++mListingsAsked;
    fileListUpdateQueue().async([self, folder = mFolder, cancel = mCancel, generation] {
        std::optional<LibraryItemList> list = sortedListing(folder, cancel.get());
        if (!list)
            return;
        platform::runOnMain([self, list = std::move(*list), generation]() mutable {
            if (self)
                self->applyListing(std::move(list), generation);
        });
    });
}

void FileListModel::cancelUpdate() { mCancel->store(true); }

void FileListModel::applyListing(LibraryItemList list, quint64 generation)
{
    // A listing that lands after a later one (an outside change listed while it waited for
    // the main thread) would bring back a folder that no longer is.
    if (generation < mListingShown)
        return;
    mListingShown = generation;
    beginResetModel();
    if (!mSearching)
        mShown = list;
    mOriginal = std::move(list);
    mLoaded = true;
    endResetModel();
    emit headerTextChanged();
    emit listingFinished();
}

FileListModel::ExternalChange FileListModel::updateDirExternal()
{
    const LibraryItemList oldList = mOriginal;
    std::optional<LibraryItemList> newList;
    const quint64 generation = ++mListingsAsked;
    fileListUpdateQueue().sync([&] { newList = sortedListing(mFolder, mCancel.get()); });
    if (!newList)
        return {};
    const bool wasLoaded = mLoaded;
    const FileListDiff diff = diffFileLists(oldList, *newList);
    ExternalChange change;
    for (const int row : diff.deletedRows)
        change.removed.append(oldList[row]);
    for (const int row : diff.insertedRows)
        change.inserted.append((*newList)[row]);
    for (const LibraryItem& item : std::as_const(change.removed)) {
        mArriving.remove(item.path);
        mAddingFileList.removeIf([&](const LibraryItem& adding) { return adding.path == item.path; });
    }

    if (mSearching || !mLoaded)
        applyListing(*newList, generation);
    else
        applyExternalChange(diff, *newList, generation);
    // Before the first listing nothing was shown, so nothing arrives: the folder is as found.
    if (wasLoaded)
        startArriving(change.inserted);
    return change;
}

void FileListModel::applyExternalChange(const FileListDiff& diff, const LibraryItemList& newList, quint64 generation)
{
    mListingShown = generation;
    // Removals from the bottom up keep the lower rows' numbers valid.
    for (auto it = diff.deletedRows.crbegin(); it != diff.deletedRows.crend(); ++it) {
        beginRemoveRows({}, *it, *it);
        mShown.removeAt(*it);
        endRemoveRows();
    }
    applyExternalListing(newList);
    for (const int row : diff.reloadedRows)
        emit dataChanged(index(row), index(row));
    emit headerTextChanged();
}

void FileListModel::startArriving(const LibraryItemList& inserted)
{
    for (const LibraryItem& item : inserted) {
        if (item.isDirectory)
            continue;
        mAddingFileList.append(item);
        setArriving(item.path, true);
    }
    if (!mAddingFileList.isEmpty())
        mCheckNewFiles.start();  // restarting drops a pending check
}

void FileListModel::checkNewFilesFinished()
{
    if (isCancelled())
        return;
    qint64 total = 0;
    for (LibraryItem& item : mAddingFileList) {
        refreshItemStatus(item);
        total += item.size;
    }
    if (total != mAddingTotal) {
        // Still growing (or first look): settled only after one interval without change.
        mAddingTotal = total;
        mCheckNewFiles.start();
        return;
    }
    mAddingTotal = -1;
    int lastRow = -1;
    for (const LibraryItem& item : std::as_const(mAddingFileList)) {
        refreshItem(item.path);
        setArriving(item.path, false);
        lastRow = qMax(lastRow, rowForItemWithPath(item.path));
    }
    const LibraryItem last = mAddingFileList.isEmpty() ? LibraryItem() : mAddingFileList.last();
    mAddingFileList.clear();
    QString openPath;
    if (!last.path.isEmpty() && !last.isDirectory && last.path == Utils::lastNewFile()) {
        platform::log(QStringLiteral("checkNewFiles: auto-opening item: %1").arg(last.path));
        openPath = last.path;
    }
    Utils::clearLastNewFile();
    emit arrivalsSettled(openPath, lastRow);
}

void FileListModel::applyExternalListing(const LibraryItemList& newList)
{
    // mShown now holds the kept items in their old order. Walking the new list, each row is
    // either new (insert it) or a kept item at or below this row (move it up if a changed date
    // or size re-sorted it).
    for (int row = 0; row < newList.size(); ++row) {
        const LibraryItem& item = newList[row];
        int at = row;
        while (at < mShown.size() && mShown[at].path != item.path)
            ++at;
        if (at == mShown.size()) {
            beginInsertRows({}, row, row);
            mShown.insert(row, item);
            endInsertRows();
            continue;
        }
        if (at != row) {
            beginMoveRows({}, at, at, {}, row);
            mShown.move(at, row);
            endMoveRows();
        }
        mShown[row] = item;
    }
    mOriginal = newList;
}

int FileListModel::rowForItemWithPath(const QString& path) const
{
    for (int row = 0; row < mShown.size(); ++row)
        if (mShown[row].path == path)
            return row;
    return -1;
}

void FileListModel::sortFileList()
{
    // A layout change, not a reset: picked rows and the current row stay with their items.
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    QStringList pathsBefore;
    for (const QModelIndex& index : before)
        pathsBefore << (index.row() < mShown.size() ? mShown[index.row()].path : QString());
    const int mode = FileSort::sortMode();
    FileSort::sortFileList(mOriginal, mode);
    FileSort::sortFileList(mShown, mode);
    QModelIndexList after;
    for (const QString& path : pathsBefore) {
        const int row = path.isEmpty() ? -1 : rowForItemWithPath(path);
        after << (row >= 0 ? index(row) : QModelIndex());
    }
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void FileListModel::handleSearch(const QString& text)
{
    beginResetModel();
    mSearching = true;
    mShown = SearchFilter::filterFileList(mOriginal, text);
    endResetModel();
    emit headerTextChanged();
}

void FileListModel::cancelSearch()
{
    if (!mSearching)
        return;
    beginResetModel();
    mSearching = false;
    mShown = mOriginal;
    endResetModel();
    emit headerTextChanged();
}

QString FileListModel::headerText() const
{
    return mSearching ? QString() : RowTexts::headerText(mLoaded, mShown.size());
}

void FileListModel::setArriving(const QString& path, bool arriving)
{
    if (arriving == mArriving.contains(path))
        return;
    if (arriving)
        mArriving.insert(path);
    else
        mArriving.remove(path);
    reloadRow(path);
}

void FileListModel::refreshItem(const QString& path)
{
    for (LibraryItemList* list : {&mOriginal, &mShown})
        for (LibraryItem& item : *list)
            if (item.path == path)
                refreshItemStatus(item);
    reloadRow(path);
}

void FileListModel::setPlayingPath(const QString& path)
{
    const QString before = std::exchange(mPlayingPath, path);
    reloadRow(before);
    reloadRow(path);
}

void FileListModel::reloadRow(const QString& path)
{
    if (path.isEmpty())
        return;
    if (const int row = rowForItemWithPath(path); row >= 0)
        emit dataChanged(index(row), index(row));
}

int FileListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() || !mLoaded ? 0 : int(mShown.size());
}

QVariant FileListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= mShown.size())
        return {};
    const LibraryItem& item = mShown[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return RowTexts::titleForItem(item);
    case SubtitleRole:
        return RowTexts::rowForItem(item).subtitle;
    case ImageNameRole:
        return RowTexts::rowForItem(item).imageName;
    case IconNamesRole:
        return RowTexts::iconNamesForItem(item);
    case Qt::AccessibleDescriptionRole:
        return RowTexts::rowForItem(item).accessibilityHint;
    case PathRole:
        return item.path;
    case IsFolderRole:
        return item.isDirectory;
    case IsAudioRole:
        return !item.isDirectory && !item.isBroken && Utils::fileIsAudio(item.path);
    case IsSystemRole:
        return item.isSys;
    case IsArrivingRole:
        return mArriving.contains(item.path);
    case IsPlayingRole:
        return !mPlayingPath.isEmpty() && item.path == mPlayingPath;
    case PreviewLabelRole:
        if (item.isDirectory || item.isBroken || !Utils::fileIsAudio(item.path))
            return {};
        return QStringLiteral("Preview play %1").arg(RowTexts::titleForItem(item));
    default:
        return {};
    }
}

Qt::ItemFlags FileListModel::flags(const QModelIndex& index) const
{
    if (!index.isValid() || index.row() >= mShown.size() || mArriving.contains(mShown[index.row()].path))
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}
