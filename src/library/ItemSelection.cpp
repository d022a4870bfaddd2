#include "library/ItemSelection.h"

#include "library/FileListModel.h"

#include <QItemSelectionModel>
#include <algorithm>

ItemSelection::ItemSelection(FileListModel* model, QObject* parent)
    : QObject(parent), mModel(model), mSelection(new QItemSelectionModel(nullptr, this))
{
    // When every picked row goes (trashed, moved, removed outside), the row that takes the
    // keyboard's place is picked, so that what a next command acts on is what is highlighted.
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, [this](const QModelIndex&, int first, int last) {
        mPickLeaving = false;
        for (int row = first; row <= last && !mPickLeaving; ++row)
            mPickLeaving = mSelection->isRowSelected(row);
    });
    // Rows that leave the list leave the pick without a selection signal of their own.
    connect(model, &QAbstractItemModel::rowsRemoved, this, [this] {
        const QModelIndex current = mSelection->currentIndex();
        if (mPickLeaving && !mSelection->hasSelection() && current.isValid())
            mSelection->select(current, QItemSelectionModel::Select);
        mPickLeaving = false;
        emit changed();
    });
    // Given the model only now, the selection model hears of removals after the lines above,
    // so they still see which rows were picked.
    mSelection->setModel(model);
    connect(mSelection, &QItemSelectionModel::selectionChanged, this, &ItemSelection::changed);
    connect(model, &QAbstractItemModel::modelReset, this, &ItemSelection::changed);
}

LibraryItemList ItemSelection::selectedItems() const
{
    QModelIndexList rows = mSelection->selectedRows();
    std::sort(rows.begin(), rows.end(), [](const QModelIndex& a, const QModelIndex& b) { return a.row() < b.row(); });
    LibraryItemList items;
    for (const QModelIndex& index : rows)
        if (index.row() < mModel->filelist().size())
            items << mModel->itemAt(index.row());
    return items;
}

QStringList ItemSelection::selectedPaths() const
{
    QStringList paths;
    for (const LibraryItem& item : selectedItems())
        paths << item.path;
    return paths;
}

int ItemSelection::count() const { return int(mSelection->selectedRows().size()); }

bool ItemSelection::isSelected(const QString& path) const
{
    const int row = mModel->rowForItemWithPath(path);
    return row >= 0 && mSelection->isRowSelected(row);
}

LibraryItemList ItemSelection::targets() const
{
    LibraryItemList items = selectedItems();
    if (items.isEmpty())
        if (const std::optional<LibraryItem> current = currentItem())
            items << *current;
    return items;
}

QStringList ItemSelection::targetPaths() const
{
    QStringList paths;
    for (const LibraryItem& item : targets())
        paths << item.path;
    return paths;
}

std::optional<LibraryItem> ItemSelection::currentItem() const
{
    const QModelIndex current = mSelection->currentIndex();
    if (!current.isValid() || current.row() >= mModel->filelist().size())
        return std::nullopt;
    return mModel->itemAt(current.row());
}

bool ItemSelection::setCurrentPath(const QString& path)
{
    const int row = mModel->rowForItemWithPath(path);
    if (row < 0)
        return false;
    mSelection->setCurrentIndex(mModel->index(row), QItemSelectionModel::NoUpdate);
    return true;
}

void ItemSelection::selectKind(Kind kind)
{
    QItemSelection pick;
    const LibraryItemList& items = mModel->filelist();
    for (int row = 0; row < items.size(); ++row) {
        const bool folder = items[row].isDirectory;
        if (kind == Kind::Both || (kind == Kind::Files && !folder) || (kind == Kind::Folders && folder))
            pick.select(mModel->index(row), mModel->index(row));
    }
    mSelection->select(pick, QItemSelectionModel::ClearAndSelect);
}

void ItemSelection::selectPaths(const QStringList& paths)
{
    QItemSelection pick;
    int first = -1;
    for (const QString& path : paths) {
        const int row = mModel->rowForItemWithPath(path);
        if (row < 0)
            continue;
        pick.select(mModel->index(row), mModel->index(row));
        if (first < 0)
            first = row;
    }
    mSelection->select(pick, QItemSelectionModel::ClearAndSelect);
    if (first >= 0)
        mSelection->setCurrentIndex(mModel->index(first), QItemSelectionModel::NoUpdate);
}

void ItemSelection::toggle(const QString& path)
{
    const int row = mModel->rowForItemWithPath(path);
    if (row >= 0)
        mSelection->select(mModel->index(row), QItemSelectionModel::Toggle);
}

void ItemSelection::clear() { mSelection->clearSelection(); }
