#pragma once
#include <QDateTime>
#include <QList>
#include <QString>
#include <cstdint>
#include <utility>

class QObject;

// Class-level helpers of the library: folder locations, system items, kinds of file,
// trashing, free names and small texts. The audio operations extend this namespace.
namespace Utils {

// Folder locations, computed on first use and kept; the library root is created then.
QString documentsURL();
QString localDocumentsURL();
QString localDocumentsLinkURL();
QString trashcanURL();
// Forgets the cached locations (tests switch XDG trees between cases).
void resetCachedLocations();

// System items (the library root, the Trash, the file-sharing link) are recognised by what a
// path names once its folders are resolved, however it is spelled: through linked folders or
// from a folder's ".." view, and by a link that leads to one of them.
bool pathIsLibraryRoot(const QString& path);
bool pathIsInbox(const QString& path);
bool pathIsLocalDocumentsLink(const QString& path);
bool pathIsTrashcan(const QString& path);
// Either of the two, resolved once.
bool pathIsLocalDocumentsLinkOrTrashcan(const QString& path);
bool pathIsSystemItem(const QString& path);
// The same for a listing that already knows whether path is a symbolic link.
bool pathIsSystemItem(const QString& path, bool isSymLink);
bool pathIsInsideTrashcan(const QString& path);
bool pathIsInsideLocalDocs(const QString& path);
bool checkNotInbox(const QString& path);
bool checkPathIsLocalDocumentsLink(const QString& path, QObject* viewController = nullptr);

QString typeForPath(const QString& path);
bool fileIsAudio(const QString& path);
bool fileIsText(const QString& path);
bool fileIsSoundFont(const QString& path);
bool fileIsZip(const QString& path);
bool fileIsMIDI(const QString& path);

// Moves an item into the trash batch named by timestamp, or deletes it for good when it already
// lies inside the trash. Without a timestamp the item gets a batch folder of its own; a batch
// that already holds an item of the same name gives way to the next free batch name, so two
// trashes in the same second both succeed. error says why it failed.
// The item remembers where it came from (TrashOrigins); trashedPath gets its place in the Trash.
bool trashItemAtPath(const QString& path, const QDateTime& timestamp = {}, QString* error = nullptr,
                     QString* trashedPath = nullptr);
void maybeDeleteEmptyFolder(const QString& path);
// Removes a file, a link (never what it points to) or a whole folder.
bool removeItem(const QString& path);

// rename(2) that never replaces: 0, or the errno (EEXIST when the target is taken, EXDEV across
// file systems). File systems without the atomic flag fall back to a hard link for files, and
// otherwise to renaming over an empty claim of the target name.
int renameNoReplace(const QString& from, const QString& to);
// A free hidden name beside target (".NAME.XXXXXXXX.part") for an item being built there.
QString partPathBeside(const QString& target);
// The one way items move in the library: never over an existing item; across file systems a
// complete copy beside the target is checked, renamed into place, and only then the source
// removed (folders with everything in them, links kept as links). On failure the source stays,
// nothing is left at the target, error says why and targetTaken whether the name was taken.
bool moveItemNoReplace(const QString& from, const QString& to, QString* error = nullptr, bool* targetTaken = nullptr);

// At start-up: the file-sharing link is made to point at the private documents folder, and
// a "Trash" that is not a real folder is cleared (the Trash is made when first used). A file or folder the user made under one of these names is
// moved aside under a free name, never removed. Answers (old, new) for every item moved aside.
QList<std::pair<QString, QString>> prepareSystemItems();

// "name(1).ext": the wanted path when free, else the first free counter.
QString uniquePath(const QString& wantedPath);
// "name(1).ext" with the point kept in the extension argument, so "name" gives "name(1)".
QString uniquePathKeepingDot(const QString& wantedPath);

void rememberNewFile(const QString& path);
QString lastNewFile();
void clearLastNewFile();

QString fileSizeToString(uint64_t bytes);
// The same, appended to text.
void appendFileSize(QString& text, uint64_t bytes);
float findBpmInString(const QString& path);

void showAlert(const QString& title, const QString& message, QObject* controller = nullptr);

}  // namespace Utils
