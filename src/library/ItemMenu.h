#pragma once
#include <QList>
#include <QString>

// The per-item menu: which entries an item gets, in their order ("Cancel" is the screen's).
enum class ItemMenuEntry {
    AddToKormix,
    Rename,
    Move,
    MakeZipArchive,
    UnzipArchive,
    CopyToDropbox,
    ExportShare,
    Copy,
    AudioCopy,
    ShowSize,
    Note,
    PutBack,
    Delete,
    MoveToTrash,
};

QList<ItemMenuEntry> itemMenuEntries(const QString& path, bool isDirectory, bool listedAsSystem);
QString itemMenuTitle(ItemMenuEntry entry);
