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

// Trashes (or, inside the trash, deletes) one item; a system item or a failure is shown.
bool deleteItem(const QString& path);
// Trashes every item into one batch named by timestamp; system items are refused and failures
// shown with an alert. Answers how many items were removed.
int deleteMany(const QStringList& paths, const QDateTime& timestamp);
extern const QString kDeleteForGoodMessage;  // "They can't be put back."
// Removes the items for good, wherever they are; system items are refused and failures shown.
// Answers how many items were removed.
int deleteForGood(const QStringList& paths);

// Moves every item into destination, skipping clashes and system items with an alert.
// Answers the (old, new) paths that moved. An emptied trash batch folder is removed.
QList<std::pair<QString, QString>> moveItems(const QStringList& paths, const QString& destination,
                                             const QString& listedFolder);
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
