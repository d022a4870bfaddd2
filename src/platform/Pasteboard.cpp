#include "platform/Pasteboard.h"

#include "platform/Locations.h"
#include "platform/FileIO.h"
#include "platform/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

const QString Pasteboard::kGeneralName = QStringLiteral("general");

namespace {
constexpr char kMagic[8] = {'W', 'L', 'P', 'A', 'S', 'T', 'E', '1'};
constexpr char kEndMagic[8] = {'W', 'L', 'P', 'B', 'E', 'N', 'D', '!'};
constexpr qint64 kTrailerSize = 4 + 8;
constexpr quint32 kMaxTypeLength = 4096;
const QString kItemsFile = QStringLiteral("/items");
const QString kLockFile = QStringLiteral("/.lock");
const QString kTempPrefix = QStringLiteral(".items-");

QByteArray encodedPath(const QString& path) { return QFile::encodeName(path); }

QString errnoText() { return QString::fromLocal8Bit(std::strerror(errno)); }

// Temporary files of writers that were killed; only called with the writers' lock held,
// when no other writer can be using one.
void removeStaleTemps(const QString& folder)
{
    const QDir dir(folder);
    const QStringList stale = dir.entryList({kTempPrefix + QLatin1Char('*')}, QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& name : stale)
        QFile::remove(dir.filePath(name));
}
}  // namespace

// ---- Pasteboard

bool Pasteboard::isValidName(const QString& name)
{
    return !name.isEmpty() && name.size() <= 200 && !name.startsWith(QLatin1Char('.'))
           && !name.contains(QLatin1Char('/')) && !name.contains(QChar(0));
}

std::unique_ptr<Pasteboard> Pasteboard::withName(const QString& name, bool create)
{
    if (!isValidName(name)) {
        log(QStringLiteral("Refused the pasteboard name '%1'").arg(name));
        return nullptr;
    }
    const QString folder = Locations::pasteboards() + QLatin1Char('/') + name;
    struct stat st {};
    if (::lstat(encodedPath(folder).constData(), &st) == 0) {
        // A link could make us write anywhere it points.
        if (!S_ISDIR(st.st_mode)) {
            log(QStringLiteral("Pasteboard %1 is not a folder").arg(folder));
            return nullptr;
        }
    } else {
        if (!create)
            return nullptr;
        if (!QDir().mkpath(folder)) {
            log(QStringLiteral("Could not create pasteboard %1").arg(folder));
            return nullptr;
        }
        QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    }
    return std::unique_ptr<Pasteboard>(new Pasteboard(name, folder));
}

std::unique_ptr<Pasteboard> Pasteboard::general() { return withName(kGeneralName, true); }

Pasteboard::~Pasteboard() = default;

qint64 Pasteboard::changeTime() const
{
    const QFileInfo info(mFolder + kItemsFile);
    return info.exists() ? info.lastModified().toMSecsSinceEpoch() : 0;
}

std::unique_ptr<PasteboardSnapshot> Pasteboard::snapshot() const
{
    const QString path = mFolder + kItemsFile;
    const int fd = ::open(encodedPath(path).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        if (errno == ENOENT && QFileInfo(mFolder).isDir())
            return std::unique_ptr<PasteboardSnapshot>(new PasteboardSnapshot);
        if (errno == ENOENT)
            return nullptr;
        log(QStringLiteral("Could not read pasteboard %1: %2").arg(mName, errnoText()));
        return std::unique_ptr<PasteboardSnapshot>(new PasteboardSnapshot);
    }
    return PasteboardSnapshot::read(fd, path);
}

int Pasteboard::lockWriters() const
{
    const int fd = ::open(encodedPath(mFolder + kLockFile).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        log(QStringLiteral("Could not lock pasteboard %1: %2").arg(mName, errnoText()));
        return -1;
    }
    while (::flock(fd, LOCK_EX) != 0) {
        if (errno != EINTR) {
            log(QStringLiteral("Could not lock pasteboard %1: %2").arg(mName, errnoText()));
            ::close(fd);
            return -1;
        }
    }
    return fd;
}

std::unique_ptr<PasteboardWriter> Pasteboard::beginReplace()
{
    const int lock = lockWriters();
    if (lock < 0)
        return nullptr;
    std::unique_ptr<PasteboardWriter> writer(new PasteboardWriter(mFolder, lock));
    if (writer->mFd < 0)
        return nullptr;
    return writer;
}

bool Pasteboard::setItems(const QList<PasteboardItem>& items)
{
    std::unique_ptr<PasteboardWriter> writer = beginReplace();
    if (!writer)
        return false;
    for (const PasteboardItem& item : items)
        writer->addItem(item);
    return writer->commit();
}

bool Pasteboard::update(const std::function<QList<PasteboardItem>(const PasteboardSnapshot&)>& next)
{
    const int lock = lockWriters();
    if (lock < 0)
        return false;
    // The writer takes over the lock, so it is held from this read to the commit.
    std::unique_ptr<PasteboardWriter> writer(new PasteboardWriter(mFolder, lock));
    std::unique_ptr<PasteboardSnapshot> current = snapshot();
    if (writer->mFd < 0 || !current)
        return false;
    for (const PasteboardItem& item : next(*current))
        writer->addItem(item);
    return writer->commit();
}

// ---- PasteboardSnapshot

PasteboardSnapshot::~PasteboardSnapshot()
{
    if (mFd >= 0)
        ::close(mFd);
}

std::unique_ptr<PasteboardSnapshot> PasteboardSnapshot::read(int fd, const QString& path)
{
    std::unique_ptr<PasteboardSnapshot> snap(new PasteboardSnapshot);
    snap->mFd = fd;
    auto damaged = [&](const char* why) {
        log(QStringLiteral("Pasteboard file %1 is damaged (%2); read as empty").arg(path, QLatin1String(why)));
        std::unique_ptr<PasteboardSnapshot> empty(new PasteboardSnapshot);
        return empty;
    };
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        return damaged("not a file");
    const qint64 size = st.st_size;
    char magic[sizeof kMagic];
    if (size < qint64(sizeof kMagic) + kTrailerSize || !preadAll(fd, magic, sizeof magic, 0)
        || std::memcmp(magic, kMagic, sizeof kMagic) != 0)
        return damaged("no header");
    char trailer[kTrailerSize];
    if (!preadAll(fd, trailer, kTrailerSize, size - kTrailerSize) || std::memcmp(trailer + 4, kEndMagic, 8) != 0)
        return damaged("no end mark");
    const quint32 count = qFromLittleEndian<quint32>(trailer);
    const qint64 end = size - kTrailerSize;
    // Every item but an empty one has a record of at least 16 bytes.
    if (count > quint32(size))
        return damaged("item count");
    snap->mCount = int(count);
    qint64 at = sizeof kMagic;
    int lastItem = 0;
    while (at < end) {
        char head[8];
        if (end - at < 16 || !preadAll(fd, head, 8, at))
            return damaged("record header");
        const quint32 item = qFromLittleEndian<quint32>(head);
        const quint32 typeLength = qFromLittleEndian<quint32>(head + 4);
        if (item >= count || int(item) < lastItem || typeLength == 0 || typeLength > kMaxTypeLength
            || end - at - 16 < qint64(typeLength))
            return damaged("record");
        QByteArray type(qsizetype(typeLength), Qt::Uninitialized);
        char lengthBytes[8];
        if (!preadAll(fd, type.data(), typeLength, at + 8) || !preadAll(fd, lengthBytes, 8, at + 8 + typeLength))
            return damaged("record");
        const quint64 length = qFromLittleEndian<quint64>(lengthBytes);
        const qint64 dataAt = at + 16 + typeLength;
        if (length > quint64(end - dataAt))
            return damaged("data length");
        snap->mEntries.append({int(item), QString::fromUtf8(type), dataAt, qint64(length)});
        lastItem = int(item);
        at = dataAt + qint64(length);
    }
    return snap;
}

int PasteboardSnapshot::find(int item, const QString& type) const
{
    for (int i = 0; i < mEntries.size(); ++i)
        if (mEntries[i].item == item && mEntries[i].type == type)
            return i;
    return -1;
}

QStringList PasteboardSnapshot::types(int item) const
{
    QStringList list;
    for (const Entry& e : mEntries)
        if (e.item == item)
            list << e.type;
    return list;
}

QList<int> PasteboardSnapshot::itemsWithType(const QString& type) const
{
    QList<int> list;
    for (const Entry& e : mEntries)
        if (e.type == type && (list.isEmpty() || list.last() != e.item))
            list << e.item;
    return list;
}

qint64 PasteboardSnapshot::size(int item, const QString& type) const
{
    const int i = find(item, type);
    return i < 0 ? -1 : mEntries[i].length;
}

QByteArray PasteboardSnapshot::data(int item, const QString& type, qint64 maxLength) const
{
    const int i = find(item, type);
    if (i < 0)
        return {};
    const Entry& e = mEntries[i];
    const qint64 length = maxLength < 0 ? e.length : std::min(e.length, maxLength);
    if (length == 0)
        return QByteArray("");  // present but empty, unlike a missing type
    QByteArray bytes(qsizetype(length), Qt::Uninitialized);
    if (!preadAll(mFd, bytes.data(), length, e.offset))
        return {};
    return bytes;
}

bool PasteboardSnapshot::copyTo(int item, const QString& type, int fd) const
{
    const int i = find(item, type);
    if (i < 0)
        return false;
    constexpr qint64 kChunk = 1 << 20;
    QByteArray buffer(qsizetype(std::min(kChunk, std::max<qint64>(mEntries[i].length, 1))), Qt::Uninitialized);
    qint64 at = mEntries[i].offset;
    qint64 left = mEntries[i].length;
    while (left > 0) {
        const qint64 n = std::min<qint64>(left, buffer.size());
        if (!preadAll(mFd, buffer.data(), n, at) || !writeAll(fd, buffer.constData(), n))
            return false;
        at += n;
        left -= n;
    }
    return true;
}

QList<PasteboardItem> PasteboardSnapshot::items() const
{
    QList<PasteboardItem> list(mCount);
    for (const Entry& e : mEntries)
        list[e.item].append({e.type, data(e.item, e.type)});
    return list;
}

// ---- PasteboardWriter

PasteboardWriter::PasteboardWriter(QString folder, int lockFd) : mFolder(std::move(folder)), mLockFd(lockFd)
{
    removeStaleTemps(mFolder);
    QByteArray pattern = encodedPath(mFolder + QLatin1Char('/') + kTempPrefix + QStringLiteral("XXXXXX"));
    mFd = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (mFd < 0) {
        log(QStringLiteral("Could not write pasteboard %1: %2").arg(mFolder, errnoText()));
        return;
    }
    mTempPath = QFile::decodeName(pattern);
    ::fchmod(mFd, 0600);
    mFailed = !writeAll(kMagic, sizeof kMagic);
}

PasteboardWriter::~PasteboardWriter()
{
    if (mFd >= 0)
        ::close(mFd);
    if (!mCommitted && !mTempPath.isEmpty())
        QFile::remove(mTempPath);
    if (mLockFd >= 0)
        ::close(mLockFd);  // closing the only descriptor releases the lock
}

bool PasteboardWriter::writeAll(const char* data, qint64 length)
{
    if (mFd < 0 || mFailed)
        return false;
    if (!platform::writeAll(mFd, data, length)) {
        log(QStringLiteral("Could not write pasteboard %1: %2").arg(mFolder, errnoText()));
        mFailed = true;
    }
    return !mFailed;
}

void PasteboardWriter::beginItem() { ++mItem; }

bool PasteboardWriter::addData(const QString& type, const char* data, qint64 length)
{
    if (mItem < 0)
        mItem = 0;
    const QByteArray name = type.toUtf8();
    if (name.isEmpty() || name.size() > qsizetype(kMaxTypeLength) || length < 0) {
        mFailed = true;
        return false;
    }
    QByteArray head(8, Qt::Uninitialized);
    qToLittleEndian<quint32>(quint32(mItem), head.data());
    qToLittleEndian<quint32>(quint32(name.size()), head.data() + 4);
    char lengthBytes[8];
    qToLittleEndian<quint64>(quint64(length), lengthBytes);
    return writeAll(head.constData(), head.size()) && writeAll(name.constData(), name.size())
           && writeAll(lengthBytes, 8) && writeAll(data, length);
}

bool PasteboardWriter::addItem(const PasteboardItem& item)
{
    beginItem();
    bool ok = true;
    for (const auto& [type, bytes] : item)
        ok = addData(type, bytes) && ok;
    return ok;
}

bool PasteboardWriter::commit()
{
    char trailer[kTrailerSize];
    qToLittleEndian<quint32>(quint32(mItem + 1), trailer);
    std::memcpy(trailer + 4, kEndMagic, 8);
    if (!writeAll(trailer, kTrailerSize))
        return false;
    const int fd = mFd;
    mFd = -1;
    if (::close(fd) != 0) {
        log(QStringLiteral("Could not write pasteboard %1: %2").arg(mFolder, errnoText()));
        return false;
    }
    if (::rename(encodedPath(mTempPath).constData(), encodedPath(mFolder + kItemsFile).constData()) != 0) {
        log(QStringLiteral("Could not replace pasteboard %1: %2").arg(mFolder, errnoText()));
        return false;
    }
    mCommitted = true;
    return true;
}

}  // namespace platform
