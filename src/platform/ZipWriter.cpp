#include "platform/ZipWriter.h"

#include <QFile>
#include <zip.h>

namespace {
// Made by Unix, zip 3.0: lets unzip restore the permission bits in the external attributes.
const uLong kVersionMadeBy = (3 << 8) | 30;
const uLong kRegularFileMode = 0100644;
const uLong kUtf8NameFlag = 1 << 11;

tm_zip dosTime(const QDateTime& when)
{
    // Zip stamps cannot go before 1980.
    const QDateTime stamp = when.isValid() && when.date().year() >= 1980
                                ? when.toLocalTime()
                                : QDateTime(QDate(1980, 1, 1), QTime(0, 0));
    tm_zip t{};
    t.tm_sec = uInt(stamp.time().second());
    t.tm_min = uInt(stamp.time().minute());
    t.tm_hour = uInt(stamp.time().hour());
    t.tm_mday = uInt(stamp.date().day());
    t.tm_mon = uInt(stamp.date().month() - 1);
    t.tm_year = uInt(stamp.date().year());
    return t;
}
}  // namespace

std::unique_ptr<ZipWriter> ZipWriter::create(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    zipFile handle = zipOpen64(name.constData(), APPEND_STATUS_CREATE);
    if (!handle)
        return nullptr;
    return std::unique_ptr<ZipWriter>(new ZipWriter(handle));
}

ZipWriter::ZipWriter(void* handle) : mHandle(handle) {}

ZipWriter::~ZipWriter()
{
    if (mHandle)
        close();
}

bool ZipWriter::openEntry(const QString& name, const QDateTime& modified, bool large)
{
    if (!mHandle || mEntryOpen)
        return false;
    zip_fileinfo info{};
    info.tmz_date = dosTime(modified);
    info.external_fa = kRegularFileMode << 16;
    const QByteArray utf8 = name.toUtf8();
    const int result = zipOpenNewFileInZip4_64(
        mHandle, utf8.constData(), &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
        Z_DEFAULT_COMPRESSION, 0, -MAX_WBITS, DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY,
        nullptr, 0, kVersionMadeBy,
        kUtf8NameFlag, large ? 1 : 0);
    mEntryOpen = result == ZIP_OK;
    return mEntryOpen;
}

bool ZipWriter::write(std::span<const char> data)
{
    if (!mEntryOpen)
        return false;
    // The library takes an unsigned int length.
    constexpr size_t kMaxPiece = 1u << 30;
    while (!data.empty()) {
        const size_t piece = std::min(data.size(), kMaxPiece);
        if (zipWriteInFileInZip(mHandle, data.data(), unsigned(piece)) != ZIP_OK)
            return false;
        data = data.subspan(piece);
    }
    return true;
}

bool ZipWriter::closeEntry()
{
    if (!mEntryOpen)
        return false;
    mEntryOpen = false;
    return zipCloseFileInZip(mHandle) == ZIP_OK;
}

bool ZipWriter::close()
{
    if (!mHandle)
        return false;
    if (mEntryOpen)
        closeEntry();
    const bool ok = zipClose(mHandle, nullptr) == ZIP_OK;
    mHandle = nullptr;
    return ok;
}
