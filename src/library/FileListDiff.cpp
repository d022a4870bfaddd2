#include "library/FileListDiff.h"

#include <QHash>
#include <QSet>

FileListDiff diffFileLists(const LibraryItemList& oldList, const LibraryItemList& newList)
{
    QHash<QString, int> oldRows;
    oldRows.reserve(oldList.size());
    for (int row = 0; row < oldList.size(); ++row)
        oldRows.insert(oldList[row].path, row);

    FileListDiff diff;
    QSet<QString> newPaths;
    newPaths.reserve(newList.size());
    for (int row = 0; row < newList.size(); ++row) {
        const LibraryItem& item = newList[row];
        newPaths.insert(item.path);
        const auto old = oldRows.constFind(item.path);
        if (old == oldRows.constEnd()) {
            diff.insertedRows.append(row);
            continue;
        }
        const LibraryItem& before = oldList[*old];
        if (before.date != item.date || before.size != item.size)
            diff.reloadedRows.append(row);
    }
    for (int row = 0; row < oldList.size(); ++row)
        if (!newPaths.contains(oldList[row].path))
            diff.deletedRows.append(row);
    return diff;
}
