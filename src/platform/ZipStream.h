#pragma once
#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <functional>
#include <span>
#include <vector>

// Writes a zip archive front to back into a sink that cannot seek (a socket): entries are
// stored as they are, each followed by a descriptor with its checksum and sizes, so nothing
// of an entry is held back. Large entries and archives get the 64-bit fields unzip expects.
// Only the central directory's records (about 100 bytes per entry) stay in memory.
class ZipStream {
public:
    // Takes bytes in order; false stops the archive (the reader went away).
    using Sink = std::function<bool(const char* data, size_t length)>;

    explicit ZipStream(Sink sink);

    // A folder entry ("name/"), so empty folders survive the trip.
    bool addFolder(const QString& name, const QDateTime& modified);
    bool beginFile(const QString& name, const QDateTime& modified);
    bool write(std::span<const char> data);
    bool endFile();
    // Writes the central directory; nothing may be added afterwards.
    bool finish();

    quint64 bytesWritten() const { return mOffset; }

private:
    struct Entry {
        QByteArray name;
        quint16 time = 0, date = 0;
        quint32 crc = 0;
        quint64 size = 0;
        quint64 offset = 0;
        bool folder = false;
    };
    bool beginEntry(const QString& name, const QDateTime& modified, bool folder);
    bool send(const QByteArray& bytes);

    Sink mSink;
    std::vector<Entry> mEntries;
    quint64 mOffset = 0;
    bool mInFile = false;
    bool mFailed = false;
};
