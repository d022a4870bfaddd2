#include "platform/ffmpeg/PacketIndexFile.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <cstring>

namespace platform::ffmpeg::PacketIndexFile {
namespace {

constexpr char kMagic[4] = {'W', 'L', 'P', 'I'};
constexpr uint32_t kFormatVersion = 1;
constexpr uint64_t kFnvOffset = 14695981039346656037ull;
constexpr uint64_t kFnvPrime = 1099511628211ull;

uint64_t checksum(const char* data, size_t size)
{
    uint64_t h = kFnvOffset;
    for (size_t i = 0; i < size; ++i) {
        h ^= uint8_t(data[i]);
        h *= kFnvPrime;
    }
    return h;
}

QString fileFor(const QString& folder, const QString& path)
{
    const QByteArray name = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha1).toHex();
    return folder + QLatin1Char('/') + QString::fromLatin1(name) + QStringLiteral(".index");
}

// Numbers as little-endian base-128 groups: packets' sizes and frame counts take two bytes
// each, a quarter of their fixed width.
class Writer {
public:
    void bytes(const void* data, size_t size) { mOut.append(static_cast<const char*>(data), qsizetype(size)); }
    void number(uint64_t v)
    {
        do {
            const uint8_t low = v & 0x7F;
            v >>= 7;
            mOut.append(char(low | (v ? 0x80 : 0)));
        } while (v);
    }
    void text(const QString& s)
    {
        const QByteArray utf8 = s.toUtf8();
        number(uint64_t(utf8.size()));
        mOut.append(utf8);
    }
    QByteArray& data() { return mOut; }

private:
    QByteArray mOut;
};

class Reader {
public:
    Reader(const char* data, size_t size) : mData(data), mEnd(data + size) {}
    bool bytes(void* out, size_t size)
    {
        if (size_t(mEnd - mData) < size)
            return fail();
        std::memcpy(out, mData, size);
        mData += size;
        return true;
    }
    bool number(uint64_t* v)
    {
        *v = 0;
        for (int shift = 0; shift < 64; shift += 7) {
            if (mData == mEnd)
                return fail();
            const uint8_t b = uint8_t(*mData++);
            *v |= uint64_t(b & 0x7F) << shift;
            if (!(b & 0x80))
                return true;
        }
        return fail();
    }
    bool text(QString* s)
    {
        uint64_t size = 0;
        if (!number(&size) || size > uint64_t(mEnd - mData))
            return fail();
        *s = QString::fromUtf8(mData, qsizetype(size));
        mData += size;
        return true;
    }
    size_t left() const { return size_t(mEnd - mData); }
    bool ok() const { return mOk; }

private:
    bool fail() { return mOk = false; }
    const char* mData;
    const char* mEnd;
    bool mOk = true;
};

void writeKey(Writer& w, const Key& key)
{
    w.text(key.path);
    w.number(uint64_t(key.stamp.size));
    w.number(uint64_t(key.stamp.modifiedNs));
    w.number(key.stamp.inode);
    w.number(key.stamp.device);
    w.number(uint64_t(key.stream));
    w.number(uint64_t(key.sampleRate));
}

void keepNewest(const QString& folder)
{
    const QFileInfoList files = QDir(folder).entryInfoList({QStringLiteral("*.index")}, QDir::Files, QDir::Time);
    for (qsizetype i = kMostFiles; i < files.size(); ++i)
        QFile::remove(files[i].filePath());
}

}  // namespace

std::shared_ptr<const PacketIndex> load(const QString& folder, const Key& key)
{
    QFile file(fileFor(folder, key.path));
    if (!file.open(QIODevice::ReadOnly))
        return nullptr;
    const QByteArray data = file.readAll();
    if (size_t(data.size()) < sizeof kMagic + sizeof(uint32_t) + sizeof(uint64_t))
        return nullptr;
    const size_t body = size_t(data.size()) - sizeof(uint64_t);
    uint64_t stored = 0;
    std::memcpy(&stored, data.constData() + body, sizeof stored);
    if (stored != checksum(data.constData(), body))
        return nullptr;

    Reader r(data.constData(), body);
    char magic[4];
    uint32_t version = 0;
    if (!r.bytes(magic, sizeof magic) || std::memcmp(magic, kMagic, sizeof magic) != 0 || !r.bytes(&version, sizeof version) ||
        version != kFormatVersion)
        return nullptr;
    // The key as written must be this file's, exactly.
    Writer expected;
    writeKey(expected, key);
    QByteArray storedKey(expected.data().size(), Qt::Uninitialized);
    if (!r.bytes(storedKey.data(), size_t(storedKey.size())) || storedKey != expected.data())
        return nullptr;

    auto index = std::make_shared<PacketIndex>();
    uint64_t length = 0, bytes = 0, coded = 0, count = 0;
    if (!r.number(&length) || !r.number(&bytes) || !r.number(&coded) || !r.number(&count) || count == 0 ||
        count > r.left() / 2)
        return nullptr;
    index->length = int64_t(length);
    index->bytes = int64_t(bytes);
    index->codedLength = int64_t(coded);
    index->position.resize(size_t(count));
    index->start.resize(size_t(count));
    int64_t position = 0;
    int64_t start = 0;
    for (size_t i = 0; i < count; ++i) {
        uint64_t dp = 0, ds = 0;
        if (!r.number(&dp) || !r.number(&ds))
            return nullptr;
        position += int64_t(dp);
        start += int64_t(ds);
        index->position[i] = position;
        index->start[i] = start;
    }
    if (!r.ok() || r.left() != 0 || start > index->length)
        return nullptr;
    return index;
}

bool save(const QString& folder, const Key& key, const PacketIndex& index)
{
    if (!QDir().mkpath(folder))
        return false;
    Writer w;
    w.bytes(kMagic, sizeof kMagic);
    w.bytes(&kFormatVersion, sizeof kFormatVersion);
    writeKey(w, key);
    w.number(uint64_t(index.length));
    w.number(uint64_t(index.bytes));
    w.number(uint64_t(index.codedLength));
    w.number(index.position.size());
    int64_t position = 0;
    int64_t start = 0;
    for (size_t i = 0; i < index.position.size(); ++i) {
        w.number(uint64_t(index.position[i] - position));
        w.number(uint64_t(index.start[i] - start));
        position = index.position[i];
        start = index.start[i];
    }
    const uint64_t sum = checksum(w.data().constData(), size_t(w.data().size()));
    w.bytes(&sum, sizeof sum);

    QSaveFile file(fileFor(folder, key.path));
    if (!file.open(QIODevice::WriteOnly) || file.write(w.data()) != w.data().size() || !file.commit())
        return false;
    keepNewest(folder);
    return true;
}

}  // namespace platform::ffmpeg::PacketIndexFile
