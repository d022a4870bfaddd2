#pragma once
#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <memory>
#include <optional>

// Reads a zip archive entry by entry.
class ZipReader {
public:
    enum class Step { Ok, End, Error };

    struct EntryInfo {
        QByteArray name;  // as stored; callers decide the encoding
        QDateTime modified;  // the stored local time; invalid when the stamp is not a date
        bool encrypted = false;
        quint64 size = 0;  // uncompressed
    };

    // Empty when the file is missing or not a zip archive.
    static std::unique_ptr<ZipReader> open(const QString& path);
    ~ZipReader();
    ZipReader(const ZipReader&) = delete;
    ZipReader& operator=(const ZipReader&) = delete;

    Step goToFirstEntry();
    Step goToNextEntry();
    std::optional<EntryInfo> entryInfo();
    // Opens the current entry's data. Encrypted entries cannot be read: the system's zip
    // library is built without decryption.
    bool openEntry();
    // Bytes read into buffer, 0 at the entry's end, -1 on a damaged entry.
    qint64 read(char* buffer, qint64 capacity);
    // False when the data did not match its CRC-32 (checked once all of it was read).
    bool closeEntry();

private:
    explicit ZipReader(void* handle);
    void* mHandle;
    bool mEntryOpen = false;
};
