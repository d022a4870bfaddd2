#pragma once
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <atomic>
#include <functional>
#include <optional>
#include <utility>

// What the per-item menu and the editing mode do to library items, without screens.
// Refusals and failures are shown as alerts here, with their fixed texts.
namespace FileActions {

extern const QString kFolderDeleteMessage;  // "Including all items and subfolders in the folder."

// "Delete" inside the trash (where removal is for good), "Trash" elsewhere.
QString deleteWord(const QString& path);
// The same word for a whole listed folder's selection.
QString deleteWordForFolder(const QString& folder);
QString folderDeleteTitle(const QString& path);                    // "Trash folder?"
QString deleteManyTitle(const QString& folder, qsizetype count);   // "Trash 3 items?"

// The one question asked before an item goes: a folder always, a file only inside the trash,
// where removal is for good. The item goes when the answer is word.
struct DeleteQuestion {
    QString title;
    QString message;
    QString word;
};
std::optional<DeleteQuestion> deleteQuestion(const QString& path, bool isDirectory);

// (from, to) of each item that moved, in order.
using Moves = QList<std::pair<QString, QString>>;

// Trashes (or, inside the trash, deletes) one item; a system item or a failure is shown.
// trashedPath gets the item's place in the Trash (empty when it was deleted for good).
bool deleteItem(const QString& path, QString* trashedPath = nullptr);
// Trashes every item into one batch named by timestamp; system items are refused and failures
// shown with an alert. Answers how many items were removed; trashed gets (path, place in the
// Trash) for those that went to the Trash.
int deleteMany(const QStringList& paths, const QDateTime& timestamp, Moves* trashed = nullptr);
extern const QString kDeleteForGoodMessage;  // "They can't be put back."
// Removes the items for good, wherever they are; system items are refused and failures shown.
// Answers how many items were removed.
int deleteForGood(const QStringList& paths);

// Moves every item into destination, skipping clashes and system items with an alert.
// Answers the (old, new) paths that moved. An emptied trash batch folder is removed.
Moves moveItems(const QStringList& paths, const QString& destination, const QString& listedFolder);

// Moves one item without replacing anything (Utils::moveItemNoReplace) and keeps the Trash's
// records straight: an item going into the Trash remembers where it came from, one leaving it
// forgets, a trash batch folder emptied by the move goes, and one that went meanwhile is made
// again for an item going back into it.
bool relocateItem(const QString& from, const QString& to, QString* error = nullptr, bool* targetTaken = nullptr);
// Whether path is an item of the Trash that knows where it came from.
bool canPutBack(const QString& path);
// Moves an item of the Trash back where it came from (its folder made again when it is gone);
// when that name is taken meanwhile, under the first free "name(n).ext" beside it. The new
// path, or empty after an alert.
QString putBack(const QString& path);
// Renames path to newName in its folder; the new path, or empty after an alert.
QString renameItem(const QString& path, const QString& newName);
// A new folder named name in folder; its path, or empty after an alert.
QString createFolder(const QString& folder, const QString& name);
// A new empty text note in folder, under a name that is free; remembered as the new file.
QString addNotes(const QString& folder);
// The text note that belongs to a file ("Take.wav.txt" beside it), created empty when missing.
QString noteForFile(const QString& path);

// The bytes of every file below path, links not followed; nullopt when cancelled.
std::optional<quint64> folderSize(const QString& path, const std::atomic<bool>* cancel = nullptr);

// What a long copy listens to and tells: a flag that stops it, and the bytes copied so far.
struct CopyControl {
    const std::atomic<bool>* cancel = nullptr;
    std::function<void(quint64 copied)> progress;
    quint64 copied = 0;
};

// Copies a file or a whole folder to target, which must not exist yet; on failure or when
// cancelled nothing is left at target and error says why ("Cancelled").
bool copyItem(const QString& source, const QString& target, QString* error = nullptr, CopyControl* control = nullptr);
// Saves a copy of path into folder under a free name; the copy's path, or empty after an alert.
QString exportCopy(const QString& path, const QString& folder);

}  // namespace FileActions
