#include "library/ItemMenu.h"

#include "library/FileActions.h"
#include "library/Utils.h"
#include "platform/TypeIdentifiers.h"

QList<ItemMenuEntry> itemMenuEntries(const QString& path, bool isDirectory, bool listedAsSystem)
{
    QList<ItemMenuEntry> entries;
    // The row's flag may be stale or the path spelled another way ("..", a linked folder).
    const bool isSys = listedAsSystem || Utils::pathIsSystemItem(path);
    const QString type = Utils::typeForPath(path);
    // The mixer plays sampled audio only, and cannot reach the private documents folder.
    if (!isDirectory && Utils::fileIsAudio(path) && type != QLatin1String("public.midi-audio")
        && !Utils::fileIsSoundFont(path) && !Utils::pathIsInsideLocalDocs(path))
        entries << ItemMenuEntry::AddToKormix;
    if (!isSys)
        entries << ItemMenuEntry::Rename << ItemMenuEntry::Move;
    if (isDirectory || !Utils::fileIsZip(path))
        entries << ItemMenuEntry::MakeZipArchive;
    else
        entries << ItemMenuEntry::UnzipArchive;
    entries << ItemMenuEntry::CopyToDropbox << ItemMenuEntry::ExportShare;
    // On the desktop clipboard as files, and for sampled audio on the AudioCopy history too.
    if (!isSys)
        entries << ItemMenuEntry::Copy;
    if (!isDirectory && Utils::fileIsAudio(path) && type != QLatin1String("public.midi-audio")
        && !Utils::fileIsSoundFont(path))
        entries << ItemMenuEntry::AudioCopy;
    if (isDirectory)
        entries << ItemMenuEntry::ShowSize;
    else if (!Utils::fileIsText(path))
        entries << ItemMenuEntry::Note;
    if (!isSys && FileActions::canPutBack(path))
        entries << ItemMenuEntry::PutBack;
    if (!isSys)
        entries << (Utils::pathIsInsideTrashcan(path) ? ItemMenuEntry::Delete : ItemMenuEntry::MoveToTrash);
    return entries;
}

QString itemMenuTitle(ItemMenuEntry entry)
{
    switch (entry) {
    case ItemMenuEntry::AddToKormix: return QStringLiteral("Add as FilePlayer in Kormix");
    case ItemMenuEntry::Rename: return QStringLiteral("Rename");
    case ItemMenuEntry::Move: return QStringLiteral("Move");
    case ItemMenuEntry::MakeZipArchive: return QStringLiteral("Make Zip Archive");
    case ItemMenuEntry::UnzipArchive: return QStringLiteral("Unzip Archive");
    case ItemMenuEntry::CopyToDropbox: return QStringLiteral("Copy to Dropbox");
    case ItemMenuEntry::ExportShare: return QStringLiteral("Export / Share");
    case ItemMenuEntry::Copy: return QStringLiteral("Copy");
    case ItemMenuEntry::AudioCopy: return QStringLiteral("AudioCopy");
    case ItemMenuEntry::ShowSize: return QStringLiteral("Show Size");
    case ItemMenuEntry::Note: return QStringLiteral("Note");
    case ItemMenuEntry::PutBack: return QStringLiteral("Put Back");
    case ItemMenuEntry::Delete: return QStringLiteral("Delete");
    case ItemMenuEntry::MoveToTrash: return QStringLiteral("Move to Trash");
    }
    return {};
}
