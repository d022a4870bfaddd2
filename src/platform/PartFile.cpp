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

std::unique_ptr<PartFile> PartFile::create(const QString& folder, const QString& extension)
{
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const quint64 id = QRandomGenerator::system()->generate64();
        QString path = QStringLiteral("%1/%2%3").arg(folder, kPrefix).arg(id, 16, 16, QLatin1Char('0'));
        if (!extension.isEmpty())
            path += QLatin1Char('.') + extension;
        const int fd = ::open(encoded(path).constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            break;
        }
        // Nobody else can hold it yet: the name is new.
        ::flock(fd, LOCK_EX | LOCK_NB);
        return std::unique_ptr<PartFile>(new PartFile(std::move(path), fd));
    }
    platform::log(QStringLiteral("Could not create a temporary file in %1").arg(folder));
    return nullptr;
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
