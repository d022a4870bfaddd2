#include "platform/AudioFileRepair.h"

#include "platform/CodecModule.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <cstdio>
#include <cstring>
#include <optional>
#include <utility>

namespace platform::AudioFileRepair {
namespace {

// A recording's header is small; anything beyond this is not one of ours.
constexpr qint64 kHeaderLimit = 1 << 16;
constexpr uint64_t kRiffLimit = 0xFFFFFFFFull;

uint32_t le32(const char* p) { uint32_t v; std::memcpy(&v, p, 4); return v; }
void putLe32(QByteArray& b, qsizetype at, uint32_t v) { std::memcpy(b.data() + at, &v, 4); }
void putLe64(QByteArray& b, qsizetype at, uint64_t v) { std::memcpy(b.data() + at, &v, 8); }
uint32_t be32(const char* p)
{
    const auto* u = reinterpret_cast<const unsigned char*>(p);
    return uint32_t(u[0]) << 24 | uint32_t(u[1]) << 16 | uint32_t(u[2]) << 8 | u[3];
}
uint16_t be16(const char* p)
{
    const auto* u = reinterpret_cast<const unsigned char*>(p);
    return uint16_t(u[0] << 8 | u[1]);
}
void putBe32(QByteArray& b, qsizetype at, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        b[at + i] = char(v >> (24 - 8 * i));
}
void putBe64(QByteArray& b, qsizetype at, uint64_t v)
{
    for (int i = 0; i < 8; ++i)
        b[at + i] = char(v >> (56 - 8 * i));
}

bool fail(QString* reason, const QString& text)
{
    if (reason)
        *reason = text;
    return false;
}

// Writes the new header over the old and cuts the file after the last whole frame.
bool rewrite(QFile& file, const QByteArray& header, qint64 length, QString* reason)
{
    if (!file.seek(0) || file.write(header) != header.size() || !file.resize(length) || !file.flush())
        return fail(reason, file.errorString());
    return true;
}

bool repairWave(QFile& file, QByteArray header, qint64 fileLength, QString* reason)
{
    const bool rf64 = header.startsWith("RF64");
    qsizetype at = 12;
    qsizetype ds64 = -1, fmt = -1, fact = -1, data = -1;
    uint32_t fmtSize = 0;
    while (at + 8 <= header.size()) {
        const QByteArray id = header.mid(at, 4);
        const uint32_t size = le32(header.constData() + at + 4);
        if (id == "data") {
            data = at;
            break;
        }
        if (id == "ds64")
            ds64 = at;
        else if (id == "fmt ")
            fmt = at, fmtSize = size;
        else if (id == "fact")
            fact = at;
        at += 8 + qsizetype(size) + (size & 1);
    }
    if (data < 0 || fmt < 0 || fmtSize < 16 || fmt + 8 + 16 > header.size())
        return fail(reason, QStringLiteral("no format or data chunk"));
    const uint32_t blockAlign = uint32_t(uint8_t(header[fmt + 20])) | uint32_t(uint8_t(header[fmt + 21])) << 8;
    if (blockAlign == 0)
        return fail(reason, QStringLiteral("no frame size"));
    const qint64 dataStart = data + 8;
    const uint64_t dataBytes = uint64_t(std::max<qint64>(0, fileLength - dataStart)) / blockAlign * blockAlign;
    const qint64 length = dataStart + qint64(dataBytes);
    const uint64_t frames = dataBytes / blockAlign;
    header.truncate(dataStart);

    if (uint64_t(length) - 8 <= kRiffLimit && !rf64) {
        putLe32(header, 4, uint32_t(length - 8));
        putLe32(header, data + 4, uint32_t(dataBytes));
        if (fact >= 0)
            putLe32(header, fact + 8, uint32_t(frames));
        return rewrite(file, header, length, reason);
    }
    if (rf64 && ds64 >= 0) {
        putLe64(header, ds64 + 8, uint64_t(length - 8));
        putLe64(header, ds64 + 16, dataBytes);
        putLe64(header, ds64 + 24, frames);
        return rewrite(file, header, length, reason);
    }
    // Cut off just after passing 4 GiB, before the header became RF64: the same data, its
    // header rebuilt as RF64 (ds64, the format, padding up to where the data lies).
    const QByteArray format = header.mid(fmt, 8 + fmtSize);
    QByteArray rebuilt("RF64\xff\xff\xff\xffWAVEds64", 16);
    rebuilt.append(QByteArray(4 + 28, '\0'));
    putLe32(rebuilt, 16, 28);
    putLe64(rebuilt, 20, uint64_t(length - 8));
    putLe64(rebuilt, 28, dataBytes);
    putLe64(rebuilt, 36, frames);
    rebuilt.append(format);
    const qsizetype pad = dataStart - 8 - rebuilt.size() - 8;
    if (pad < 0)
        return fail(reason, QStringLiteral("no room for an RF64 header"));
    rebuilt.append("PAD ");
    rebuilt.append(QByteArray(4, '\0'));
    putLe32(rebuilt, rebuilt.size() - 4, uint32_t(pad));
    rebuilt.append(QByteArray(pad, '\0'));
    rebuilt.append(QByteArray("data\xff\xff\xff\xff", 8));
    return rewrite(file, rebuilt, length, reason);
}

bool repairAiff(QFile& file, QByteArray header, qint64 fileLength, QString* reason)
{
    qsizetype at = 12, comm = -1, ssnd = -1;
    while (at + 8 <= header.size()) {
        const QByteArray id = header.mid(at, 4);
        const uint32_t size = be32(header.constData() + at + 4);
        if (id == "COMM")
            comm = at;
        if (id == "SSND") {
            ssnd = at;
            break;
        }
        at += 8 + qsizetype(size) + (size & 1);
    }
    if (comm < 0 || ssnd < 0 || comm + 16 > header.size() || ssnd + 16 > header.size())
        return fail(reason, QStringLiteral("no COMM or SSND chunk"));
    const uint32_t channels = be16(header.constData() + comm + 8);
    const uint32_t bits = be16(header.constData() + comm + 14);
    const uint32_t frameBytes = channels * ((bits + 7) / 8);
    const qint64 dataStart = ssnd + 16 + qint64(be32(header.constData() + ssnd + 8));
    if (frameBytes == 0 || dataStart > fileLength + 0)
        return fail(reason, QStringLiteral("no frame size"));
    const uint64_t dataBytes = uint64_t(fileLength - dataStart) / frameBytes * frameBytes;
    if (dataStart + dataBytes - 8 > kRiffLimit)
        return fail(reason, QStringLiteral("larger than AIFF can count"));
    const qint64 length = dataStart + qint64(dataBytes);
    header.truncate(std::min<qsizetype>(header.size(), dataStart));
    putBe32(header, 4, uint32_t(length - 8));
    putBe32(header, comm + 10, uint32_t(dataBytes / frameBytes));
    putBe32(header, ssnd + 4, uint32_t(length - ssnd - 8));
    return rewrite(file, header, length, reason);
}

bool repairCaf(QFile& file, QByteArray header, qint64 fileLength, QString* reason)
{
    qsizetype at = 8, desc = -1, data = -1;
    while (at + 12 <= header.size()) {
        const QByteArray id = header.mid(at, 4);
        const auto size = int64_t(uint64_t(be32(header.constData() + at + 4)) << 32 | be32(header.constData() + at + 8));
        if (id == "desc")
            desc = at;
        if (id == "data") {
            data = at;
            break;
        }
        if (size < 0)
            break;
        at += 12 + qsizetype(size);
    }
    if (desc < 0 || data < 0 || desc + 12 + 32 > header.size())
        return fail(reason, QStringLiteral("no desc or data chunk"));
    const uint32_t frameBytes = be32(header.constData() + desc + 12 + 16);  // bytes per packet
    const qint64 dataStart = data + 12 + 4;  // after the edit count
    if (frameBytes == 0)
        return fail(reason, QStringLiteral("no frame size"));
    const uint64_t dataBytes = uint64_t(std::max<qint64>(0, fileLength - dataStart)) / frameBytes * frameBytes;
    const qint64 length = dataStart + qint64(dataBytes);
    header.truncate(std::min<qsizetype>(header.size(), dataStart));
    putBe64(header, data + 4, dataBytes + 4);
    return rewrite(file, header, length, reason);
}

// Where the last whole fragment (a moof box and the mdat after it) ends; nothing for a file
// without fragments, 0 for one whose first fragment is cut. A take killed while a fragment was
// being written ends inside that fragment's boxes: its index can point past the end of the
// file, or stop halfway, and the demuxer then refuses the file or hands out half a packet.
std::optional<qint64> endOfWholeFragments(QFile& file, qint64 fileLength)
{
    qint64 at = 0, end = 0;
    bool fragmented = false, inFragment = false;
    while (at + 8 <= fileLength) {
        if (!file.seek(at))
            break;
        const QByteArray box = file.read(16);
        if (box.size() < 8)
            break;
        const QByteArray type = box.mid(4, 4);
        fragmented = fragmented || type == "moof";
        uint64_t size = be32(box.constData());
        qint64 headerSize = 8;
        if (size == 1 && box.size() == 16) {
            size = uint64_t(be32(box.constData() + 8)) << 32 | be32(box.constData() + 12);
            headerSize = 16;
        }
        // A size of 0 (up to the end of the file) is never written for a fragment.
        if (size < uint64_t(headerSize) || size > uint64_t(fileLength - at))
            break;
        at += qint64(size);
        if (type == "moof")
            inFragment = true;
        else if (type == "mdat" && std::exchange(inFragment, false))
            end = at;
    }
    if (!fragmented)
        return std::nullopt;
    return end;
}

bool repairM4a(const QString& path, QString* reason)
{
    const CodecModule* codecs = codecModule(reason);
    if (!codecs)
        return false;
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadWrite))
            return fail(reason, file.errorString());
        const qint64 length = file.size();
        const std::optional<qint64> whole = endOfWholeFragments(file, length);
        // A file with no whole fragment is left as it is, for whoever can make more of it.
        if (whole == 0)
            return fail(reason, QStringLiteral("no complete fragment"));
        if (whole && *whole < length && !file.resize(*whole))
            return fail(reason, file.errorString());
    }
    const QString plain = path + QStringLiteral(".plain");
    QString why;
    const int64_t frames = codecs->remuxToM4A(path, plain, -1, &why);
    if (frames <= 0 || std::rename(QFile::encodeName(plain).constData(), QFile::encodeName(path).constData()) != 0) {
        QFile::remove(plain);
        return fail(reason, frames == 0 ? QStringLiteral("no complete fragment") : why);
    }
    return true;
}

}  // namespace

bool repair(const QString& path, QString* reason)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return fail(reason, file.errorString());
    const qint64 length = file.size();
    const QByteArray header = file.read(std::min(length, kHeaderLimit));
    if (header.size() < 12)
        return fail(reason, QStringLiteral("too short"));
    if ((header.startsWith("RIFF") || header.startsWith("RF64")) && header.mid(8, 4) == "WAVE")
        return repairWave(file, header, length, reason);
    if (header.startsWith("FORM") && (header.mid(8, 4) == "AIFF" || header.mid(8, 4) == "AIFC"))
        return repairAiff(file, header, length, reason);
    if (header.startsWith("caff"))
        return repairCaf(file, header, length, reason);
    if (header.mid(4, 4) == "ftyp") {
        file.close();
        return repairM4a(path, reason);
    }
    return fail(reason, QStringLiteral("not a recording"));
}

}  // namespace platform::AudioFileRepair
