#pragma once
#include <QList>
#include <QString>
#include <QtGlobal>

// One entry of a listed folder, built afresh at every listing.
struct LibraryItem {
    QString path;              // the folder's path joined with the entry name
    bool isDirectory = false;  // after following symbolic links; special files count as files
    qint64 size = 0;           // the entry's own size, 0 when its status can't be read
    qint64 date = 0;           // last modification, whole seconds since the epoch; 0 when unreadable
    bool isSys = false;        // a system item: never deleted, moved or renamed
    QString title;             // shown instead of the name when set
    bool isBroken = false;     // its status can't be read: a link whose target is gone

    bool operator==(const LibraryItem&) const = default;
};

// Its members move by their bytes, so a growing list reallocates in place instead of moving
// every item.
Q_DECLARE_TYPEINFO(LibraryItem, Q_RELOCATABLE_TYPE);

using LibraryItemList = QList<LibraryItem>;

// The entry name of a path: what the browser sorts, searches and titles by.
inline QString lastPathComponent(const QString& path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}
