#include "platform/ZipStream.h"

#include <algorithm>
#include <tuple>
#include <zlib.h>

namespace {

constexpr quint32 kLocalHeader = 0x04034b50;
constexpr quint32 kDescriptor = 0x08074b50;
constexpr quint32 kCentralHeader = 0x02014b50;
constexpr quint32 kZip64End = 0x06064b50;
constexpr quint32 kZip64Locator = 0x07064b50;
constexpr quint32 kEnd = 0x06054b50;
constexpr quint16 kFlagDescriptor = 1 << 3;
constexpr quint16 kFlagUtf8 = 1 << 11;
constexpr quint16 kVersion = 20;
constexpr quint16 kVersion64 = 45;
constexpr quint16 kMadeByUnix = 3 << 8;
constexpr quint32 kFileMode = 0100644;
constexpr quint32 kFolderMode = 040755;
constexpr quint32 kMsDosFolder = 0x10;
constexpr quint64 kMax32 = 0xffffffffu;
constexpr quint64 kMax16 = 0xffffu;

void put16(QByteArray& out, quint64 v)
{
    out += char(v & 0xff);
    out += char((v >> 8) & 0xff);
}
void put32(QByteArray& out, quint64 v)
{
    put16(out, v & 0xffff);
    put16(out, (v >> 16) & 0xffff);
}
void put64(QByteArray& out, quint64 v)
{
    put32(out, v & kMax32);
    put32(out, v >> 32);
}

// MS-DOS time and date fields; the format starts in 1980.
std::pair<quint16, quint16> dosTimeDate(const QDateTime& when)
{
    const QDateTime t = when.isValid() && when.toLocalTime().date().year() >= 1980 ? when.toLocalTime()
                                                                                   : QDateTime(QDate(1980, 1, 1), QTime(0, 0));
    const quint16 time = quint16((t.time().hour() << 11) | (t.time().minute() << 5) | (t.time().second() / 2));
    const quint16 date = quint16(((t.date().year() - 1980) << 9) | (t.date().month() << 5) | t.date().day());
    return {time, date};
}

}  // namespace

ZipStream::ZipStream(Sink sink) : mSink(std::move(sink)) {}

bool ZipStream::send(const QByteArray& bytes)
{
    if (mFailed || !mSink(bytes.constData(), size_t(bytes.size())))
        return !(mFailed = true);
    mOffset += quint64(bytes.size());
    return true;
}

bool ZipStream::beginEntry(const QString& name, const QDateTime& modified, bool folder)
{
    if (mFailed || mInFile)
        return false;
    Entry e;
    e.name = name.toUtf8();
    if (folder && !e.name.endsWith('/'))
        e.name += '/';
    std::tie(e.time, e.date) = dosTimeDate(modified);
    e.offset = mOffset;
    e.folder = folder;
    QByteArray h;
    put32(h, kLocalHeader);
    put16(h, folder ? kVersion : kVersion64);
    put16(h, kFlagUtf8 | (folder ? 0 : kFlagDescriptor));
    put16(h, 0);  // stored
    put16(h, e.time);
    put16(h, e.date);
    put32(h, 0);  // checksum and sizes follow the data
    put32(h, 0);
    put32(h, 0);
    put16(h, e.name.size());
    put16(h, 0);
    h += e.name;
    mEntries.push_back(std::move(e));
    return send(h);
}

bool ZipStream::addFolder(const QString& name, const QDateTime& modified) { return beginEntry(name, modified, true); }

bool ZipStream::beginFile(const QString& name, const QDateTime& modified)
{
    mInFile = beginEntry(name, modified, false);
    return mInFile;
}

bool ZipStream::write(std::span<const char> data)
{
    if (!mInFile || mFailed)
        return false;
    Entry& e = mEntries.back();
    // crc32 takes an unsigned int length.
    for (std::span<const char> rest = data; !rest.empty();) {
        const size_t piece = std::min<size_t>(rest.size(), 1u << 30);
        e.crc = quint32(::crc32(e.crc, reinterpret_cast<const Bytef*>(rest.data()), uInt(piece)));
        rest = rest.subspan(piece);
    }
    if (!mSink(data.data(), data.size()))
        return !(mFailed = true);
    mOffset += data.size();
    e.size += data.size();
    return true;
}

bool ZipStream::endFile()
{
    if (!mInFile)
        return false;
    mInFile = false;
    const Entry& e = mEntries.back();
    QByteArray d;
    put32(d, kDescriptor);
    put32(d, e.crc);
    if (e.size >= kMax32) {
        put64(d, e.size);
        put64(d, e.size);
    } else {
        put32(d, e.size);
        put32(d, e.size);
    }
    return send(d);
}

bool ZipStream::finish()
{
    if (mInFile || mFailed)
        return false;
    const quint64 directoryStart = mOffset;
    for (const Entry& e : mEntries) {
        QByteArray extra;
        if (e.size >= kMax32) {
            put64(extra, e.size);
            put64(extra, e.size);
        }
        if (e.offset >= kMax32)
            put64(extra, e.offset);
        QByteArray h;
        put32(h, kCentralHeader);
        put16(h, kMadeByUnix | kVersion64);
        put16(h, e.folder ? kVersion : kVersion64);
        put16(h, kFlagUtf8 | (e.folder ? 0 : kFlagDescriptor));
        put16(h, 0);
        put16(h, e.time);
        put16(h, e.date);
        put32(h, e.crc);
        put32(h, std::min(e.size, kMax32));
        put32(h, std::min(e.size, kMax32));
        put16(h, e.name.size());
        put16(h, extra.isEmpty() ? 0 : extra.size() + 4);
        put16(h, 0);  // comment
        put16(h, 0);  // disk
        put16(h, 0);  // internal attributes
        put32(h, ((e.folder ? kFolderMode : kFileMode) << 16) | (e.folder ? kMsDosFolder : 0));
        put32(h, std::min(e.offset, kMax32));
        h += e.name;
        if (!extra.isEmpty()) {
            put16(h, 1);
            put16(h, extra.size());
            h += extra;
        }
        if (!send(h))
            return false;
    }
    const quint64 directorySize = mOffset - directoryStart;
    const quint64 count = mEntries.size();
    QByteArray end;
    if (count >= kMax16 || directoryStart >= kMax32 || directorySize >= kMax32) {
        const quint64 zip64End = mOffset;
        put32(end, kZip64End);
        put64(end, 44);
        put16(end, kMadeByUnix | kVersion64);
        put16(end, kVersion64);
        put32(end, 0);
        put32(end, 0);
        put64(end, count);
        put64(end, count);
        put64(end, directorySize);
        put64(end, directoryStart);
        put32(end, kZip64Locator);
        put32(end, 0);
        put64(end, zip64End);
        put32(end, 1);
    }
    put32(end, kEnd);
    put16(end, 0);
    put16(end, 0);
    put16(end, std::min(count, kMax16));
    put16(end, std::min(count, kMax16));
    put32(end, std::min(directorySize, kMax32));
    put32(end, std::min(directoryStart, kMax32));
    put16(end, 0);
    return send(end);
}
