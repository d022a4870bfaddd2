#pragma once
#include <QList>
#include <QObject>
#include <QString>
#include <cstdint>
#include <optional>

// Undo and redo of what the browser did to items: trash, move, rename, new folder and put
// back. An entry is undone by moving each item back (never over anything) and redone by
// moving it again. Each item is recognised by what it was when the entry was made (device,
// inode, and for files size and modification time): an item changed or replaced from outside
// since then drops its entry, and an item whose old place is taken keeps it for later.
class UndoStack : public QObject {
    Q_OBJECT
public:
    enum class Action { Trash, Move, Rename, NewFolder, PutBack };
    // One item that went from `from` to `to`; a new folder has no `from`.
    struct Step {
        QString from;
        QString to;
    };
    static constexpr int kDepth = 100;

    explicit UndoStack(QObject* parent = nullptr);

    // Records an action already done; the redo side is cleared.
    void push(Action action, const QList<Step>& steps);
    bool canUndo() const { return !mUndo.isEmpty(); }
    bool canRedo() const { return !mRedo.isEmpty(); }
    // "Undo Trash", "Redo Rename" ...; "Undo" / "Redo" when there is nothing.
    QString undoText() const;
    QString redoText() const;
    // False (after an alert) when the entry could not be applied.
    bool undo();
    bool redo();
    void clear();

    static QString actionName(Action action);

signals:
    void changed();
    // An undo or redo moved an item: whatever shows it follows.
    void itemMoved(const QString& from, const QString& to);

private:
    struct Identity {
        uint64_t device = 0;
        uint64_t inode = 0;
        bool isFolder = false;
        int64_t size = -1;
        int64_t modifiedNs = 0;
        bool operator==(const Identity&) const = default;
    };
    struct Entry {
        Action action;
        QList<Step> steps;
        QList<Identity> identities;  // of each item where it is now
    };
    static std::optional<Identity> identityOf(const QString& path);
    // Applies entry backwards (undo) or forwards; the entry is updated with the items' new
    // identities. Answers whether the entry is to be kept on the other side.
    enum class Outcome { Done, Kept, Dropped };
    Outcome apply(Entry& entry, bool backwards);

    QList<Entry> mUndo;
    QList<Entry> mRedo;
};
