#include "platform/ZipReader.h"

#include <QFile>
#include <unzip.h>

namespace {
const int kEncryptedFlag = 1;

ZipReader::Step step(int result)
{
    if (result == UNZ_OK)
        return ZipReader::Step::Ok;
    return result == UNZ_END_OF_LIST_OF_FILE ? ZipReader::Step::End : ZipReader::Step::Error;
}
}  // namespace

std::unique_ptr<ZipReader> ZipReader::open(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    unzFile handle = unzOpen64(name.constData());
    if (!handle)
        return nullptr;
    return std::unique_ptr<ZipReader>(new ZipReader(handle));
}

ZipReader::ZipReader(void* handle) : mHandle(handle) {}

ZipReader::~ZipReader()
{
    if (mEntryOpen)
        unzCloseCurrentFile(mHandle);
    unzClose(mHandle);
}

ZipReader::Step ZipReader::goToFirstEntry() { return step(unzGoToFirstFile(mHandle)); }

ZipReader::Step ZipReader::goToNextEntry() { return step(unzGoToNextFile(mHandle)); }

std::optional<ZipReader::EntryInfo> ZipReader::entryInfo()
{
    unz_file_info64 info{};
    if (unzGetCurrentFileInfo64(mHandle, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK)
        return std::nullopt;
    EntryInfo entry;
    entry.name.resize(qsizetype(info.size_filename));
    if (unzGetCurrentFileInfo64(mHandle, &info, entry.name.data(), uLong(entry.name.size()), nullptr, 0,
                                nullptr, 0) != UNZ_OK)
        return std::nullopt;
    const tm_unz& t = info.tmu_date;
    // The stored month counts from zero.
    entry.modified = QDateTime(QDate(int(t.tm_year), int(t.tm_mon) + 1, int(t.tm_mday)),
                               QTime(int(t.tm_hour), int(t.tm_min), int(t.tm_sec)));
    entry.encrypted = (info.flag & kEncryptedFlag) != 0;
    entry.size = info.uncompressed_size;
    return entry;
}

bool ZipReader::openEntry()
{
    if (mEntryOpen)
        return false;
    mEntryOpen = unzOpenCurrentFile(mHandle) == UNZ_OK;
    return mEntryOpen;
}

qint64 ZipReader::read(char* buffer, qint64 capacity)
{
    if (!mEntryOpen)
        return -1;
    const int n = unzReadCurrentFile(mHandle, buffer, unsigned(std::min<qint64>(capacity, 1 << 30)));
    return n < 0 ? -1 : n;
}

bool ZipReader::closeEntry()
{
    if (!mEntryOpen)
        return false;
    mEntryOpen = false;
    return unzCloseCurrentFile(mHandle) == UNZ_OK;
}
