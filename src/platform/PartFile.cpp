#include "platform/PartFile.h"

#include "platform/Locations.h"
#include "platform/Log.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kAttempts = 100;
const QString kPrefix = QStringLiteral(".tempfile-");

QByteArray encoded(const QString& path) { return QFile::encodeName(path); }

// Same file still at path: a part that was renamed or replaced after we opened it is not ours
// to remove.
bool sameFile(int fd, const QString& path)
{
    struct stat a {}, b {};
    return ::fstat(fd, &a) == 0 && ::lstat(encoded(path).constData(), &b) == 0 && a.st_dev == b.st_dev
           && a.st_ino == b.st_ino;
}

// This process's record of the folders it writes part files in. Plain data only: the exit
// handler and threads still running at exit may use it after static objects are gone.
struct Record {
    std::mutex mutex;
    int fd = -1;
    pid_t owner = 0;  // a forked child writes its own record
    bool exitHandlerSet = false;
    size_t lastFolderHash = 0;
    char path[PATH_MAX] = {};
};
Record gRecord;
std::atomic_int gLivePartFiles {0};
const char kRecordPrefix[] = "record-";

// A clean exit takes the record with it, unless a part file of ours is still open: then the
// next start has to look there.
void removeRecordAtExit()
{
    std::lock_guard lock(gRecord.mutex);
    if (gRecord.fd < 0 || gRecord.owner != ::getpid() || gLivePartFiles.load() > 0)
        return;
    ::unlink(gRecord.path);
    ::close(gRecord.fd);
    gRecord.fd = -1;
}

bool writeAll(int fd, const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        size -= size_t(n);
    }
    return true;
}

// A new record file, locked by us and still linked (a sweep of another process may have taken
// a brand-new one for a dead one's and removed it before we locked it).
int openRecord(const QString& folder, char (&path)[PATH_MAX])
{
    const QString dir = platform::Locations::partRecords();
    if (!QDir().mkpath(dir))
        return -1;
    ::chmod(encoded(dir).constData(), 0700);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const QByteArray name = encoded(QStringLiteral("%1/%2%3")
                                            .arg(dir, QLatin1String(kRecordPrefix))
                                            .arg(QRandomGenerator::system()->generate64(), 16, 16, QLatin1Char('0')));
        if (size_t(name.size()) >= sizeof path)
            return -1;
        const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            break;
        }
        struct stat st {};
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0 && ::fstat(fd, &st) == 0 && st.st_nlink > 0) {
            std::memcpy(path, name.constData(), size_t(name.size()) + 1);
            return fd;
        }
        ::close(fd);
    }
    platform::log(QStringLiteral("Could not note the temporary files in %1").arg(folder));
    return -1;
}

}  // namespace

PartFile::PartFile(QString path, int fd) : mPath(std::move(path)), mFd(fd) { ++gLivePartFiles; }

void PartFile::recordFolder(const QString& folder)
{
    const QByteArray entry = encoded(QDir(folder).absolutePath());
    const size_t hash = std::hash<std::string_view>()(std::string_view(entry.constData(), size_t(entry.size())));
    std::lock_guard lock(gRecord.mutex);
    if (gRecord.fd >= 0 && gRecord.owner != ::getpid()) {
        ::close(gRecord.fd);
        gRecord.fd = -1;
    }
    if (gRecord.fd >= 0 && hash == gRecord.lastFolderHash)
        return;
    if (gRecord.fd < 0) {
        gRecord.fd = openRecord(folder, gRecord.path);
        if (gRecord.fd < 0)
            return;
        gRecord.owner = ::getpid();
        if (!gRecord.exitHandlerSet)
            gRecord.exitHandlerSet = std::atexit(removeRecordAtExit) == 0;
    }
    // Names may hold newlines but never a zero byte.
    if (writeAll(gRecord.fd, entry.constData(), size_t(entry.size()) + 1))
        gRecord.lastFolderHash = hash;
    else
        platform::log(QStringLiteral("Could not note the temporary files in %1").arg(folder));
}

int PartFile::removeRecordedLeftovers()
{
    const QByteArray dir = encoded(platform::Locations::partRecords());
    const std::unique_ptr<DIR, int (*)(DIR*)> records(::opendir(dir.constData()), ::closedir);
    if (!records)
        return 0;
    int removed = 0;
    while (const dirent* entry = ::readdir(records.get())) {
        if (std::strncmp(entry->d_name, kRecordPrefix, sizeof kRecordPrefix - 1) != 0)
            continue;
        const int fd = ::openat(dirfd(records.get()), entry->d_name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
        if (fd < 0)
            continue;
        struct stat st {};
        // A lock we can take means the process that wrote the record is gone.
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0 || ::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_nlink == 0) {
            ::close(fd);
            continue;
        }
        std::string text;
        char buffer[8192];
        ssize_t n;
        while ((n = ::read(fd, buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR))
            if (n > 0)
                text.append(buffer, size_t(n));
        std::set<std::string> folders;
        for (size_t start = 0; start < text.size();) {
            const size_t end = text.find('\0', start);
            if (end == std::string::npos)
                break;  // cut short by the kill: nothing was made there yet
            folders.insert(text.substr(start, end - start));
            start = end + 1;
        }
        for (const std::string& folder : folders) {
            const QString path = QFile::decodeName(QByteArray::fromStdString(folder));
            if (QFileInfo(path).isDir())
                removed += removeLeftovers(path, false);
        }
        ::unlinkat(dirfd(records.get()), entry->d_name, 0);
        ::close(fd);
    }
    return removed;
}

int PartFile::createLocked(const QString& folder, const std::function<QString()>& nextName, QString* path)
{
    // An unnamed file, locked, then linked in: it never shows up without its lock.
    const int unnamed = ::open(encoded(folder).constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0644);
    if (unnamed >= 0) {
        ::flock(unnamed, LOCK_EX | LOCK_NB);
        const QByteArray proc = QByteArray("/proc/self/fd/") + QByteArray::number(unnamed);
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            const QString candidate = nextName();
            if (::linkat(AT_FDCWD, proc.constData(), AT_FDCWD, encoded(candidate).constData(), AT_SYMLINK_FOLLOW) == 0) {
                *path = candidate;
                return unnamed;
            }
            if (errno != EEXIST)
                break;
        }
        ::close(unnamed);
    } else if (errno == EOPNOTSUPP || errno == EISDIR) {
        // File systems without unnamed files: lock right after creating.
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            const QString candidate = nextName();
            const int fd = ::open(encoded(candidate).constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
            if (fd >= 0) {
                ::flock(fd, LOCK_EX | LOCK_NB);
                *path = candidate;
                return fd;
            }
            if (errno != EEXIST)
                break;
        }
    }
    platform::log(QStringLiteral("Could not create a temporary file in %1").arg(folder));
    return -1;
}

std::unique_ptr<PartFile> PartFile::create(const QString& folder, const QString& extension)
{
    recordFolder(folder);
    QString path;
    const int fd = createLocked(
        folder,
        [&] {
            const quint64 id = QRandomGenerator::system()->generate64();
            QString name = QStringLiteral("%1/%2%3").arg(folder, kPrefix).arg(id, 16, 16, QLatin1Char('0'));
            if (!extension.isEmpty())
                name += QLatin1Char('.') + extension;
            return name;
        },
        &path);
    if (fd < 0)
        return nullptr;
    return std::unique_ptr<PartFile>(new PartFile(std::move(path), fd));
}

int PartFile::createUnnamed(const QString& folder)
{
    return ::open(encoded(folder).constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0644);
}

bool PartFile::linkUnnamed(int fd, const QString& target)
{
    const QByteArray proc = QByteArray("/proc/self/fd/") + QByteArray::number(fd);
    return ::linkat(AT_FDCWD, proc.constData(), AT_FDCWD, encoded(target).constData(), AT_SYMLINK_FOLLOW) == 0;
}

std::unique_ptr<PartFile> PartFile::nameUnnamed(int fd, const QString& folder)
{
    const int own = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (own < 0) {
        platform::log(QStringLiteral("Could not create a temporary file in %1").arg(folder));
        return nullptr;
    }
    recordFolder(folder);
    // Locked before its name appears, so no clean-up can see it unlocked.
    ::flock(own, LOCK_EX | LOCK_NB);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const QString candidate = QStringLiteral("%1/%2%3").arg(folder, kPrefix).arg(QRandomGenerator::system()->generate64(), 16, 16, QLatin1Char('0'));
        if (linkUnnamed(own, candidate))
            return std::unique_ptr<PartFile>(new PartFile(candidate, own));
        if (errno != EEXIST)
            break;
    }
    ::close(own);
    platform::log(QStringLiteral("Could not create a temporary file in %1").arg(folder));
    return nullptr;
}

PartFile::~PartFile()
{
    if (!mCommitted && sameFile(mFd, mPath))
        ::unlink(encoded(mPath).constData());
    ::close(mFd);
    --gLivePartFiles;
}

bool PartFile::commit(const QString& target, bool replace)
{
    const QByteArray from = encoded(mPath);
    const QByteArray to = encoded(target);
    bool arrived = false;
    if (::fsync(mFd) != 0) {
        platform::log(QStringLiteral("Could not write %1 to disk").arg(mPath));
    } else if (replace) {
        arrived = ::rename(from.constData(), to.constData()) == 0;
    } else {
        arrived = ::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0;
        // File systems without the flag: a hard link fails on an existing name just the same.
        if (!arrived && errno == EINVAL && ::link(from.constData(), to.constData()) == 0) {
            ::unlink(from.constData());
            arrived = true;
        }
    }
    if (!arrived) {
        platform::log(QStringLiteral("Could not move %1 to %2").arg(mPath, target));
        return false;
    }
    mCommitted = true;
    return true;
}

bool PartFile::isPartName(const QString& fileName)
{
    static const QRegularExpression ours(QStringLiteral("^\\.tempfile-[0-9a-f]{16}(\\.[A-Za-z0-9]{1,8})?$"));
    // Extraction parts of earlier versions: ".NAME.8 hex digits.part".
    static const QRegularExpression earlier(QStringLiteral("^\\..+\\.[0-9a-f]{8}\\.part$"),
                                            QRegularExpression::DotMatchesEverythingOption);
    return ours.match(fileName).hasMatch() || earlier.match(fileName).hasMatch();
}

int PartFile::removeLeftovers(const QString& folder, bool recursive)
{
    int removed = 0;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System,
                    recursive ? QDirIterator::Subdirectories : QDirIterator::NoIteratorFlags);
    while (it.hasNext()) {
        const QString path = it.next();
        if (!isPartName(it.fileName()) || it.fileInfo().isSymLink())
            continue;
        const int fd = ::open(encoded(path).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
        if (fd < 0)
            continue;
        // A lock we can take means the writer is gone.
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0 && sameFile(fd, path) && ::unlink(encoded(path).constData()) == 0) {
            platform::log(QStringLiteral("Removed the leftover %1").arg(path));
            ++removed;
        }
        ::close(fd);
    }
    return removed;
}
