#pragma once
#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <utility>

namespace platform {

// One pasteboard item: its types, in the order they were added, each with its bytes.
using PasteboardItem = QList<std::pair<QString, QByteArray>>;

class PasteboardSnapshot;
class PasteboardWriter;

// Named, persistent pasteboards shared by every process of the user: a folder per name under
// $XDG_DATA_HOME/pasteboards, holding one file "items" with the ordered items. A new content
// is written beside it and renamed over it, so a reader (which reads one open file) sees the
// old content or the new one, never a mix; writers of all processes take turns through a
// lock on the folder's ".lock". The general pasteboard is the entry "general".
//
// "items" is: "WLPASTE1", then one record per type of each item in item order (u32 item
// number, u32 type name length, the UTF-8 name, u64 data length, the data), then the u32
// number of items and "WLPBEND!". Numbers are little-endian.
class Pasteboard {
public:
    static const QString kGeneralName;

    // A pasteboard by name; without create, nothing when none exists. Names are single
    // folder names: empty, ".", "..", a "/", a NUL or a leading point are refused.
    static std::unique_ptr<Pasteboard> withName(const QString& name, bool create);
    static std::unique_ptr<Pasteboard> general();
    static bool isValidName(const QString& name);

    ~Pasteboard();
    Pasteboard(const Pasteboard&) = delete;
    Pasteboard& operator=(const Pasteboard&) = delete;

    const QString& name() const { return mName; }
    const QString& folder() const { return mFolder; }

    // The items as they are now. A damaged "items" file reads as an empty pasteboard (logged);
    // null only when the folder itself can no longer be read.
    std::unique_ptr<PasteboardSnapshot> snapshot() const;
    // When the content was last replaced (ms since the epoch; 0 when never).
    qint64 changeTime() const;

    // Starts replacing every item: the writer holds the writers' lock until it commits or is
    // dropped (which keeps the old content). Null, logged, when the lock or the file fails.
    std::unique_ptr<PasteboardWriter> beginReplace();
    bool setItems(const QList<PasteboardItem>& items);
    // A read-modify-write no other writer comes between: next gets the current items and
    // answers the new ones.
    bool update(const std::function<QList<PasteboardItem>(const PasteboardSnapshot&)>& next);

private:
    Pasteboard(QString name, QString folder) : mName(std::move(name)), mFolder(std::move(folder)) {}
    int lockWriters() const;

    QString mName;
    QString mFolder;
};

// A consistent view of one content: it reads from the file it opened, whatever is written
// after it was taken. Item data is read on request, so large items never sit in memory.
class PasteboardSnapshot {
public:
    ~PasteboardSnapshot();
    PasteboardSnapshot(const PasteboardSnapshot&) = delete;
    PasteboardSnapshot& operator=(const PasteboardSnapshot&) = delete;

    int count() const { return mCount; }
    QStringList types(int item) const;
    bool hasType(int item, const QString& type) const { return find(item, type) >= 0; }
    // The items that have the type, in order.
    QList<int> itemsWithType(const QString& type) const;
    // -1 when the item has no such type.
    qint64 size(int item, const QString& type) const;
    // Null when the item has no such type or the bytes cannot be read; at most maxLength
    // bytes from the start when maxLength is not negative.
    QByteArray data(int item, const QString& type, qint64 maxLength = -1) const;
    // Streams the bytes to a file descriptor; false when absent or on a read or write error.
    bool copyTo(int item, const QString& type, int fd) const;
    QList<PasteboardItem> items() const;

private:
    friend class Pasteboard;
    struct Entry {
        int item;
        QString type;
        qint64 offset;
        qint64 length;
    };
    PasteboardSnapshot() = default;
    static std::unique_ptr<PasteboardSnapshot> read(int fd, const QString& path);
    int find(int item, const QString& type) const;

    int mFd = -1;
    int mCount = 0;
    QList<Entry> mEntries;
};

// Writes a new content item by item; commit makes it the pasteboard's content in one step.
class PasteboardWriter {
public:
    ~PasteboardWriter();
    PasteboardWriter(const PasteboardWriter&) = delete;
    PasteboardWriter& operator=(const PasteboardWriter&) = delete;

    // Starts the next item; types added before the first call go to item 0.
    void beginItem();
    bool addData(const QString& type, const char* data, qint64 length);
    bool addData(const QString& type, const QByteArray& data) { return addData(type, data.constData(), data.size()); }
    bool addItem(const PasteboardItem& item);
    // False (logged, old content kept) when any write failed.
    bool commit();

private:
    friend class Pasteboard;
    // Takes over lockFd, the writers' lock, and releases it when done.
    PasteboardWriter(QString folder, int lockFd);
    bool writeAll(const char* data, qint64 length);

    QString mFolder;
    QString mTempPath;
    int mLockFd = -1;
    int mFd = -1;
    int mItem = -1;
    bool mFailed = false;
    bool mCommitted = false;
};

}  // namespace platform
