#pragma once
#include "library/LibraryItem.h"

// What changed between two listings of one folder, matched by path.
struct FileListDiff {
    QList<int> deletedRows;   // rows of the old list whose path is gone, ascending
    QList<int> insertedRows;  // rows of the new list whose path is new, ascending
    QList<int> reloadedRows;  // rows of the new list whose date or size changed, ascending

    bool isEmpty() const { return deletedRows.isEmpty() && insertedRows.isEmpty() && reloadedRows.isEmpty(); }
};

FileListDiff diffFileLists(const LibraryItemList& oldList, const LibraryItemList& newList);
