#pragma once
#include <QDateTime>
#include <QString>
#include <cstdint>

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

bool pathIsInbox(const QString& path);
bool pathIsLocalDocumentsLink(const QString& path);
bool pathIsTrashcan(const QString& path);
bool pathIsSystemItem(const QString& path);
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

// Moves an item into the trash batch named by timestamp (now when invalid), or deletes it
// for good when it already lies inside the trash.
bool trashItemAtPath(const QString& path, const QDateTime& timestamp = {});
void maybeDeleteEmptyFolder(const QString& path);
// Removes a file, a link (never what it points to) or a whole folder.
bool removeItem(const QString& path);

// "name(1).ext": the wanted path when free, else the first free counter.
QString uniquePath(const QString& wantedPath);
// "name(1).ext" with the point kept in the extension argument, so "name" gives "name(1)".
QString uniquePathKeepingDot(const QString& wantedPath);

void rememberNewFile(const QString& path);
QString lastNewFile();
void clearLastNewFile();

QString fileSizeToString(uint64_t bytes);
float findBpmInString(const QString& path);

void showAlert(const QString& title, const QString& message, QObject* controller = nullptr);

}  // namespace Utils
