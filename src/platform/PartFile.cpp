#include "platform/PartFile.h"

#include "platform/Log.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <cerrno>
#include <cstdio>
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

}  // namespace

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

PartFile::~PartFile()
{
    if (!mCommitted && sameFile(mFd, mPath))
        ::unlink(encoded(mPath).constData());
    ::close(mFd);
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
