#include "library/ZipArchive.h"

#include "library/Utils.h"
#include "library/ZipEntryTarget.h"
#include "platform/Log.h"
#include "platform/ZipReader.h"
#include "platform/ZipWriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <cstdio>
#include <vector>

namespace {
// Large buffers: audio files are big and the per-call cost of the zip library is not small.
const qint64 kChunkBytes = 1 << 20;
const quint64 kLargeEntryBytes = 0xffffffffull;
const QString kNoPasswords = QStringLiteral("Password-protected zip archives are not supported");

// A hidden file beside target, so that a finished entry arrives by rename and a failed one
// leaves nothing behind.
std::optional<QString> openPartFile(QFile& file, const QString& target)
{
    const QFileInfo info(target);
    for (int attempt = 0; attempt < 100; ++attempt) {
        const QString part = QStringLiteral("%1/.%2.%3.part")
                                 .arg(info.path(), info.fileName())
                                 .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
        file.setFileName(part);
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            return part;
        if (!QFileInfo::exists(part))
            return std::nullopt;
    }
    return std::nullopt;
}
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
    if (!source.open(QIODevice::ReadOnly))
        return false;
    if (!mWriter->openEntry(newname, QFileInfo(source).lastModified(), quint64(source.size()) >= kLargeEntryBytes))
        return false;
    std::vector<char> buffer(kChunkBytes);
    qint64 n;
    while ((n = source.read(buffer.data(), kChunkBytes)) > 0) {
        if (!mWriter->write({buffer.data(), size_t(n)})) {
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
    return mReader != nullptr;
}

bool ZipArchive::UnzipFileTo(const QString& folder, bool overWrite)
{
    if (!mReader)
        return false;
    if (mReader->goToFirstEntry() != ZipReader::Step::Ok) {
        OutputErrorMessage(QStringLiteral("Failed"));
        return false;
    }
    bool allDone = true;
    while (true) {
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
    return writeEntry(target.path, info->modified);
}

ZipArchive::EntryResult ZipArchive::writeEntry(const QString& target, const QDateTime& modified)
{
    if (!mReader->openEntry()) {
        OutputErrorMessage(QStringLiteral("Error occurs"));
        return EntryResult::Stop;
    }
    const QString cannotWrite = QStringLiteral("Could not write '%1'.").arg(QFileInfo(target).fileName());
    QFile part;
    const std::optional<QString> partPath = openPartFile(part, target);
    if (!partPath) {
        mReader->closeEntry();
        OutputErrorMessage(cannotWrite);
        return EntryResult::Failed;
    }
    std::vector<char> buffer(kChunkBytes);
    bool written = true;
    qint64 n;
    while ((n = mReader->read(buffer.data(), kChunkBytes)) > 0) {
        if (part.write(buffer.data(), n) != n) {
            written = false;
            break;
        }
    }
    // The CRC-32 is checked when a fully read entry is closed: before the file may arrive.
    const bool intact = mReader->closeEntry() && n == 0;
    // Buffered bytes written at close would stamp the file with the current time again.
    written = written && part.flush();
    if (written && intact && modified.isValid() && !part.setFileTime(modified, QFileDevice::FileModificationTime))
        platform::log(QStringLiteral("Failed to set attributes"));
    part.close();
    const bool arrived = written && intact && part.error() == QFileDevice::NoError
                         && std::rename(QFile::encodeName(*partPath).constData(), QFile::encodeName(target).constData()) == 0;
    if (arrived)
        return EntryResult::Done;
    QFile::remove(*partPath);
    OutputErrorMessage(written && !intact ? QStringLiteral("Failed to reading zip file") : cannotWrite);
    return EntryResult::Failed;
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
