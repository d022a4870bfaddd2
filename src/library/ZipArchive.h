#pragma once
#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <atomic>
#include <memory>
#include <optional>

#include "platform/ZipReader.h"

class ZipWriter;

// Receives what a ZipArchive has to say while it works.
class ZipArchiveDelegate {
public:
    virtual ~ZipArchiveDelegate() = default;
    virtual void ErrorMessage(const QString& message) = 0;
    // Whether an existing file may be replaced; nullopt when the delegate does not decide.
    virtual std::optional<bool> OverWriteOperation(const QString&) { return std::nullopt; }
};

// Zip archives: written file by file, or extracted whole into a folder. One archive is
// open at a time, for writing or for reading.
class ZipArchive {
public:
    // Archives of silence reach some hundreds; a bomb reaches a thousand and more.
    static constexpr double kDefaultMaxCompressionRatio = 200;

    ZipArchive();
    ~ZipArchive();
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    void setDelegate(ZipArchiveDelegate* delegate) { mDelegate = delegate; }
    // A flag that stops an extraction between chunks; the entry being written is dropped.
    void setCancelFlag(const std::atomic<bool>* cancel) { mCancel = cancel; }
    bool isCancelled() const { return mCancel && mCancel->load(); }

    // A password is refused (false): the system's zip library has no encryption. The
    // library never sets one.
    bool CreateZipFile2(const QString& path, const QByteArray& password = {});
    bool addFileToZip(const QString& file, const QString& newname);
    bool CloseZipFile2();

    bool UnzipOpenFile(const QString& path, const QByteArray& password = {});
    // Extracts every entry below folder; entries that would land outside it are refused.
    // An archive that would unpack to more than the free space or beyond the compression
    // ratio of "UnzipMaxCompressionRatio" is refused whole; a full disk stops it, nothing
    // half-written left. A file that is replaced goes into one Trash batch for the whole
    // archive. False when any entry failed (each failure has been reported).
    bool UnzipFileTo(const QString& folder, bool overWrite);
    bool UnzipCloseFile();

    void OutputErrorMessage(const QString& message);
    bool OverWrite(const QString& path);
    static QDateTime Date1980();

private:
    enum class EntryResult { Done, Skipped, Failed, Stop };
    EntryResult extractCurrentEntry(const QString& folder, bool overWrite);
    EntryResult writeEntry(const QString& target, const ZipReader::EntryInfo& info, bool replace);
    bool withinLimits(const QString& folder);

    std::unique_ptr<ZipWriter> mWriter;
    std::unique_ptr<ZipReader> mReader;
    ZipArchiveDelegate* mDelegate = nullptr;
    const std::atomic<bool>* mCancel = nullptr;
    QString mArchivePath;
    QDateTime mTrashBatch;
};
