#include "library/ZipArchive.h"

#include "library/Utils.h"
#include "library/ZipEntryTarget.h"
#include "platform/FileIO.h"
#include "platform/Log.h"
#include "platform/PartFile.h"
#include "platform/Settings.h"
#include "platform/ZipWriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStorageInfo>
#include <algorithm>
#include <cstdint>
#include <vector>

namespace {
// Large buffers: audio files are big and the per-call cost of the zip library is not small.
const qint64 kChunkBytes = 1 << 20;
const quint64 kLargeEntryBytes = 0xffffffffull;
const QString kNoPasswords = QStringLiteral("Password-protected zip archives are not supported");

const QString kUnzipRatioKey = QStringLiteral("UnzipMaxCompressionRatio");

QString byteCount(quint64 bytes) { return QLocale::system().formattedDataSize(qint64(std::min<quint64>(bytes, INT64_MAX))); }
}  // namespace

ZipArchive::ZipArchive() = default;
ZipArchive::~ZipArchive() = default;

bool ZipArchive::CreateZipFile2(const QString& path, const QByteArray& password)
{
    mReader.reset();
    mWriter.reset();
    if (!password.isEmpty()) {
        platform::log(kNoPasswords);
        return false;
    }
    mWriter = ZipWriter::create(path);
    return mWriter != nullptr;
}

bool ZipArchive::addFileToZip(const QString& file, const QString& newname)
{
    if (!mWriter)
        return false;
    QFile source(file);
    if (!platform::isRegularFile(file) || !source.open(QIODevice::ReadOnly))
        return false;
    if (!mWriter->openEntry(newname, QFileInfo(source).lastModified(), quint64(source.size()) >= kLargeEntryBytes))
        return false;
    std::vector<char> buffer(kChunkBytes);
    qint64 n;
    while ((n = source.read(buffer.data(), kChunkBytes)) > 0) {
        if (isCancelled() || !mWriter->write({buffer.data(), size_t(n)})) {
            mWriter->closeEntry();
            return false;
        }
    }
    return mWriter->closeEntry() && n == 0;
}

bool ZipArchive::CloseZipFile2()
{
    if (!mWriter)
        return false;
    const bool ok = mWriter->close();
    mWriter.reset();
    return ok;
}

bool ZipArchive::UnzipOpenFile(const QString& path, const QByteArray& password)
{
    mWriter.reset();
    mReader.reset();
    if (!password.isEmpty()) {
        platform::log(kNoPasswords);
        return false;
    }
    mReader = ZipReader::open(path);
    mArchivePath = path;
    return mReader != nullptr;
}

bool ZipArchive::UnzipFileTo(const QString& folder, bool overWrite)
{
    if (!mReader)
        return false;
    if (!withinLimits(folder))
        return false;
    if (mReader->goToFirstEntry() != ZipReader::Step::Ok) {
        OutputErrorMessage(QStringLiteral("Failed"));
        return false;
    }
    mTrashBatch = QDateTime::currentDateTime();
    bool allDone = true;
    while (true) {
        if (isCancelled()) {
            platform::log(QStringLiteral("Cancelled"));
            return false;
        }
        const EntryResult result = extractCurrentEntry(folder, overWrite);
        if (result == EntryResult::Stop)
            return false;
        allDone = allDone && result != EntryResult::Failed;
        const ZipReader::Step next = mReader->goToNextEntry();
        if (next == ZipReader::Step::End)
            return allDone;
        if (next == ZipReader::Step::Error) {
            OutputErrorMessage(QStringLiteral("Failed"));
            return false;
        }
    }
}

ZipArchive::EntryResult ZipArchive::extractCurrentEntry(const QString& folder, bool overWrite)
{
    const std::optional<ZipReader::EntryInfo> info = mReader->entryInfo();
    if (!info) {
        OutputErrorMessage(QStringLiteral("Error occurs while getting file info"));
        return EntryResult::Stop;
    }
    const QString name = QString::fromUtf8(info->name);
    if (info->encrypted) {
        OutputErrorMessage(QStringLiteral("'%1' is encrypted and can't be extracted.").arg(name));
        return EntryResult::Stop;
    }
    // The program's own documents folder is reached through the library's link to it.
    const ZipEntryTarget target = zipEntryTarget(folder, name, {Utils::localDocumentsURL()});
    if (target.path.isEmpty()) {
        OutputErrorMessage(QStringLiteral("'%1' would be written outside the folder and was skipped.").arg(name));
        return EntryResult::Failed;
    }
    if (target.folderEntry) {
        if (QDir().mkpath(target.path))
            return EntryResult::Done;
        OutputErrorMessage(QStringLiteral("Could not create the folder '%1'.").arg(name));
        return EntryResult::Failed;
    }
    QDir().mkpath(QFileInfo(target.path).path());
    const bool exists = QFileInfo::exists(target.path) || QFileInfo(target.path).isSymLink();
    if (exists && !overWrite && !OverWrite(target.path))
        return EntryResult::Skipped;
    return writeEntry(target.path, *info, exists);
}

bool ZipArchive::withinLimits(const QString& folder)
{
    quint64 total = 0;
    for (auto step = mReader->goToFirstEntry(); step == ZipReader::Step::Ok; step = mReader->goToNextEntry()) {
        if (const auto info = mReader->entryInfo())
            total += std::min<quint64>(info->size, UINT64_MAX - total);
    }
    const QString name = QFileInfo(mArchivePath).fileName();
    const quint64 packed = quint64(std::max<qint64>(QFileInfo(mArchivePath).size(), 1));
    const QVariant setting = platform::Settings::value(kUnzipRatioKey);
    const double maxRatio = setting.isValid() ? setting.toDouble() : kDefaultMaxCompressionRatio;
    if (double(total) > maxRatio * double(packed)) {
        OutputErrorMessage(QStringLiteral("'%1' would unpack to %2, more than %3 times its size. It was not unzipped: it may be "
                                          "damaged or made to fill the disk.")
                               .arg(name, byteCount(total))
                               .arg(maxRatio));
        return false;
    }
    const QStorageInfo storage(folder);
    if (storage.isValid() && total > quint64(std::max<qint64>(storage.bytesAvailable(), 0))) {
        OutputErrorMessage(QStringLiteral("'%1' needs %2 when unzipped, but only %3 are free.")
                               .arg(name, byteCount(total), byteCount(quint64(storage.bytesAvailable()))));
        return false;
    }
    return true;
}

ZipArchive::EntryResult ZipArchive::writeEntry(const QString& target, const ZipReader::EntryInfo& info, bool replace)
{
    const QString fileName = QFileInfo(target).fileName();
    const QString cannotWrite = QStringLiteral("Could not write '%1'.").arg(fileName);
    // A hidden file beside target, so that a finished entry arrives by rename and a failed one
    // leaves nothing behind.
    const std::unique_ptr<PartFile> partFile = PartFile::create(QFileInfo(target).path());
    if (!partFile) {
        OutputErrorMessage(cannotWrite);
        return EntryResult::Failed;
    }
    if (!mReader->openEntry()) {
        OutputErrorMessage(QStringLiteral("Error occurs"));
        return EntryResult::Stop;
    }
    QFile part(partFile->path());
    bool written = part.open(QIODevice::WriteOnly);
    std::vector<char> buffer(kChunkBytes);
    quint64 total = 0;
    qint64 n = 0;
    while (written && (n = mReader->read(buffer.data(), kChunkBytes)) > 0) {
        if (isCancelled()) {
            mReader->closeEntry();
            return EntryResult::Stop;  // the part file goes with partFile
        }
        total += quint64(n);
        // The sizes were checked against the free space: an entry that grows past its own is lying.
        if (total > info.size || part.write(buffer.data(), n) != n)
            written = false;
    }
    // The CRC-32 is checked when a fully read entry is closed: before the file may arrive.
    const bool intact = mReader->closeEntry() && written && n == 0;
    // Buffered bytes written at close would stamp the file with the current time again.
    written = written && part.flush();
    if (written && intact && info.modified.isValid() && !part.setFileTime(info.modified, QFileDevice::FileModificationTime))
        platform::log(QStringLiteral("Failed to set attributes"));
    part.close();
    written = written && part.error() == QFileDevice::NoError;
    if (!written || !intact) {
        OutputErrorMessage(written ? QStringLiteral("Failed to reading zip file") : cannotWrite);
        // A write that failed means a full disk or a lying archive: the next entries would fail too.
        return written ? EntryResult::Failed : EntryResult::Stop;
    }
    // The replaced version can be put back from the Trash.
    // Inside the Trash, trashing would delete for good.
    if (replace && (Utils::pathIsInsideTrashcan(target) || !Utils::trashItemAtPath(target, mTrashBatch))) {
        OutputErrorMessage(QStringLiteral("Could not move the old '%1' to the Trash; it was kept.").arg(fileName));
        return EntryResult::Failed;
    }
    if (!partFile->commit(target, false)) {
        OutputErrorMessage(cannotWrite);
        return EntryResult::Failed;
    }
    return EntryResult::Done;
}

bool ZipArchive::UnzipCloseFile()
{
    const bool wasOpen = mReader != nullptr;
    mReader.reset();
    return wasOpen;
}

void ZipArchive::OutputErrorMessage(const QString& message)
{
    if (mDelegate)
        mDelegate->ErrorMessage(message);
}

bool ZipArchive::OverWrite(const QString& path)
{
    if (mDelegate)
        if (const std::optional<bool> answer = mDelegate->OverWriteOperation(path))
            return *answer;
    return true;
}

QDateTime ZipArchive::Date1980() { return QDateTime(QDate(1980, 1, 1), QTime(0, 0)); }
