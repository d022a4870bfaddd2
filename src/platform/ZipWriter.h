#pragma once
#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <memory>
#include <span>

// Writes a zip archive entry by entry (deflate, default level), names stored as UTF-8.
class ZipWriter {
public:
    // Creates (replaces) the archive at path; empty when it cannot be created.
    static std::unique_ptr<ZipWriter> create(const QString& path);
    ~ZipWriter();
    ZipWriter(const ZipWriter&) = delete;
    ZipWriter& operator=(const ZipWriter&) = delete;

    // Starts an entry stamped with the given local time. Entries of 4 GiB or more need large
    // set. Encryption is not offered: the system's zip library is built without it.
    bool openEntry(const QString& name, const QDateTime& modified, bool large = false);
    bool write(std::span<const char> data);
    bool closeEntry();
    // Writes the central directory; the object is finished afterwards.
    bool close();

private:
    explicit ZipWriter(void* handle);
    void* mHandle;
    bool mEntryOpen = false;
};
