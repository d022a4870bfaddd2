#pragma once
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <memory>

class QMimeData;

// Files on the desktop clipboard and in drag and drop, in every form file managers and other
// programs write and read: "text/uri-list" (CRLF after each line), GNOME's
// "x-special/gnome-copied-files" ("copy" or "cut", then one URI a line, no final line feed),
// KDE's "application/x-kde-cutselection" flag, and the paths as plain text.
namespace DesktopClipboardData {

// The forms above, with a mark that says the data is ours.
std::unique_ptr<QMimeData> mimeDataForFiles(const QStringList& paths, bool cut = false);
// Whether data was made by mimeDataForFiles (in this program or another instance of it).
bool isOurs(const QMimeData* data);
// The local files a clipboard or a drop offers, from whichever form it has; the text form is
// read as file URIs or absolute paths, one a line, that exist.
QStringList filesFromMimeData(const QMimeData* data);
// WAV bytes offered as such (a sound copied in a sound editor); empty when none.
QByteArray wavBytesFromMimeData(const QMimeData* data);
// Whether the data marks its files as cut (to be moved, not copied).
bool isCut(const QMimeData* data);

}  // namespace DesktopClipboardData
