#include "audiofiles/InformationCache.h"

#include "platform/CodecModule.h"
#include "platform/FileIO.h"
#include "platform/Locations.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace InformationCache {
namespace {

constexpr quint32 kMagic = 0x574c4649;  // "WLFI"
constexpr quint32 kFormat = 1;
constexpr quint32 kEnd = 0x454e4421;    // "END!"
constexpr qint64 kMaxEntryBytes = 64 * 1024;
// A writer's unfinished file older than this was left by a killed process.
constexpr time_t kStaleWriteSeconds = 3600;
const char kWritingPrefix[] = ".writing-";
constexpr int kTrimEvery = 32;

int64_t nanoseconds(const struct timespec& t) { return int64_t(t.tv_sec) * 1000000000 + t.tv_nsec; }

QString entryPath(const QString& path)
{
    const QByteArray hash = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha1).toHex();
    return platform::Locations::fileInformationCache() + QLatin1Char('/') + QString::fromLatin1(hash);
}

QDataStream& operator<<(QDataStream& out, const Stamp& s)
{
    return out << qint64(s.size) << qint64(s.modifiedNs) << qint64(s.changedNs) << quint64(s.inode) << quint64(s.device)
               << qint64(s.moduleSize) << qint64(s.moduleModifiedNs);
}

QDataStream& operator>>(QDataStream& in, Stamp& s)
{
    qint64 size = 0, modified = 0, changed = 0, moduleSize = 0, moduleModified = 0;
    quint64 inode = 0, device = 0;
    in >> size >> modified >> changed >> inode >> device >> moduleSize >> moduleModified;
    s = {size, modified, changed, inode, device, moduleSize, moduleModified};
    return in;
}

struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};

// Keeps the newest entries when there are too many, and drops what killed writers left.
void trim(const QString& folder)
{
    const QByteArray native = QFile::encodeName(folder);
    const std::unique_ptr<DIR, DirCloser> dir(opendir(native.constData()));
    if (!dir)
        return;
    const int fd = dirfd(dir.get());
    std::vector<std::pair<int64_t, std::string>> entries;
    const time_t now = ::time(nullptr);
    while (const dirent* e = readdir(dir.get())) {
        if (e->d_name[0] == '.' && (e->d_name[1] == 0 || (e->d_name[1] == '.' && e->d_name[2] == 0)))
            continue;
        struct stat st;
        if (fstatat(fd, e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode))
            continue;
        if (std::strncmp(e->d_name, kWritingPrefix, sizeof kWritingPrefix - 1) == 0) {
            if (now - st.st_mtim.tv_sec > kStaleWriteSeconds)
                unlinkat(fd, e->d_name, 0);
            continue;
        }
        entries.emplace_back(nanoseconds(st.st_mtim), e->d_name);
    }
    if (entries.size() <= size_t(kMaxEntries))
        return;
    std::sort(entries.begin(), entries.end());
    for (size_t i = 0; i + kEntriesAfterTrim < entries.size(); ++i)
        unlinkat(fd, entries[i].second.c_str(), 0);
}

}  // namespace

Stamp Stamp::of(const QString& path)
{
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0 || !S_ISREG(st.st_mode))
        return {};
    Stamp s{int64_t(st.st_size), nanoseconds(st.st_mtim), nanoseconds(st.st_ctim), uint64_t(st.st_ino),
            uint64_t(st.st_dev)};
    struct stat module {};
    const QString modulePath = platform::codecModulePath();
    if (!modulePath.isEmpty() && ::stat(QFile::encodeName(modulePath).constData(), &module) == 0) {
        s.moduleSize = int64_t(module.st_size);
        s.moduleModifiedNs = nanoseconds(module.st_mtim);
    }
    return s;
}

std::optional<Entry> find(const QString& path, const Stamp& stamp)
{
    if (!stamp.isValid())
        return std::nullopt;
    QFile file(entryPath(path));
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaxEntryBytes)
        return std::nullopt;
    const QByteArray data = file.readAll();
    QDataStream in(data);
    in.setVersion(QDataStream::Qt_6_4);
    quint32 magic = 0, format = 0, end = 0;
    QString storedPath;
    Stamp storedStamp;
    Entry entry;
    in >> magic >> format;
    if (magic != kMagic || format != kFormat)
        return std::nullopt;
    in >> storedPath >> storedStamp >> entry.is44100Hz16Bit >> entry.text >> end;
    if (in.status() != QDataStream::Ok || !in.atEnd() || end != kEnd || storedPath != path || !(storedStamp == stamp))
        return std::nullopt;
    return entry;
}

void store(const QString& path, const Stamp& stamp, const Entry& entry)
{
    if (!stamp.isValid())
        return;
    const QString folder = platform::Locations::fileInformationCache();
    QDir().mkpath(folder);
    QByteArray data;
    {
        QDataStream out(&data, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_6_4);
        out << kMagic << kFormat << path << stamp << entry.is44100Hz16Bit << entry.text << kEnd;
    }
    // Written whole under a name of its own, then renamed over the entry: a reader sees the
    // old entry or the new one, never a part. Nothing waits for the disk: a lost or damaged
    // entry is only read again.
    QByteArray temp = QFile::encodeName(folder) + '/' + kWritingPrefix + "XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0)
        return;
    const bool written = platform::writeAll(fd, data.constData(), data.size());
    ::close(fd);
    if (!written || ::rename(temp.constData(), QFile::encodeName(entryPath(path)).constData()) != 0) {
        ::unlink(temp.constData());
        return;
    }
    // Looking over every entry costs more than the store itself: now and then is enough to
    // keep their number near the bound.
    if (QRandomGenerator::global()->bounded(kTrimEvery) == 0)
        trim(folder);
}

}  // namespace InformationCache
