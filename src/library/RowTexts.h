#pragma once
#include "library/LibraryItem.h"

#include <QDateTime>

// What a row of the browser shows for an item, and the list's header text. The tool prints
// the same texts.
namespace RowTexts {

struct Row {
    QString title;
    QString subtitle;
    QString imageName;          // "folder", "folder_desktop", "folder_trash"; empty for files
    QString accessibilityHint;  // "Open this folder" / "Open this file"
    bool isFolder = false;
};

// "title" when set, else the path's last component; control characters (a newline in a
// name) show as "?" so that a row stays one line.
QString titleForItem(const LibraryItem& item);
// The same for a path's last component, wherever a name is shown on one line.
QString oneLineName(const QString& path);
// Whole days from first to second, truncated toward zero; 0 when either is invalid.
qint64 daysBetweenDate(const QDateTime& first, const QDateTime& second);
// The browser's date text, in local time.
QString dateText(qint64 secondsSinceEpoch);
Row rowForItem(const LibraryItem& item, const QDateTime& now = QDateTime::currentDateTime());
// The row as the tool prints it, "title<TAB>subtitle", appended to text.
void appendListLine(QString& text, const LibraryItem& item, const QDateTime& now);
// The desktop icon theme's names for the item's kind, most specific first: the trash, the
// shared folder and folders; for files the MIME type's icon, then the kind's (MIDI, SoundFont,
// audio, zip, text), then the generic ones. The last name is one every theme has.
QStringList iconNamesForItem(const LibraryItem& item);
// "LOADING..." before the first listing, "NO ITEMS", "1 ITEM", "2 ITEMS", ...
QString headerText(bool loaded, qsizetype count);

}  // namespace RowTexts
