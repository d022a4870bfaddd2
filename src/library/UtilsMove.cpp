#include "library/Utils.h"

#include "platform/PartFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace Utils {
namespace {

constexpr int kCopyChunk = 1 << 20;
constexpr int kPartNameAttempts = 100;
constexpr int kMaxNameInPartName = 200;

QString errnoText(int error) { return QString::fromLocal8Bit(std::strerror(error)); }
QByteArray native(const QString& path) { return QFile::encodeName(path); }

struct FdCloser {
    int fd = -1;
    ~FdCloser()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

struct DirCloser {
    void operator()(DIR* dir) const { ::closedir(dir); }
};

// Claims `to` with an empty item of the source's kind, then renames over the claim: rename(2)
// may replace an empty folder with a folder and a file with a file, so what someone else put
// there (a filled folder, or the claim failing with EEXIST) is never lost.
int renameOverClaim(const QByteArray& from, const QByteArray& to, bool isDir)
{
    if (isDir) {
        if (::mkdir(to.constData(), 0700) != 0)
            return errno;
    } else {
        const int fd = ::open(to.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0)
            return errno;
        ::close(fd);
    }
    if (::rename(from.constData(), to.constData()) == 0)
        return 0;
    const int error = errno;
    if (isDir)
        ::rmdir(to.constData());  // only ever removes the empty claim
    else
        ::unlink(to.constData());
    return error == ENOTEMPTY ? EEXIST : error;
}

// Copies one file's bytes, mode and times into a new file at `to` (created exclusively),
// flushed to disk and checked against the source's size.
bool copyFile(const QByteArray& from, const QByteArray& to, const struct stat& st, QString* error)
{
    FdCloser in{::open(from.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW)};
    if (in.fd < 0) {
        *error = errnoText(errno);
        return false;
    }
    FdCloser out{::open(to.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)};
    if (out.fd < 0) {
        *error = errnoText(errno);
        return false;
    }
    auto buffer = std::make_unique<char[]>(kCopyChunk);
    off_t copied = 0;
    for (;;) {
        const ssize_t got = ::read(in.fd, buffer.get(), kCopyChunk);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            *error = errnoText(errno);
            return false;
        }
        if (got == 0)
            break;
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = ::write(out.fd, buffer.get() + done, size_t(got - done));
            if (put < 0 && errno == EINTR)
                continue;
            if (put < 0) {
                *error = errnoText(errno);
                return false;
            }
            done += put;
        }
        copied += got;
    }
    struct stat written {};
    if (::fsync(out.fd) != 0 || ::fstat(out.fd, &written) != 0) {
        *error = errnoText(errno);
        return false;
    }
    if (copied != st.st_size || written.st_size != st.st_size) {
        *error = QStringLiteral("The copy is incomplete");
        return false;
    }
    ::fchmod(out.fd, st.st_mode & 07777);
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    ::futimens(out.fd, times);
    return true;
}

// Copies a file, a link (as a link) or a folder with everything in it to a new item at `to`.
bool copyTree(const QByteArray& from, const QByteArray& to, QString* error)
{
    struct stat st {};
    if (::lstat(from.constData(), &st) != 0) {
        *error = errnoText(errno);
        return false;
    }
    if (S_ISREG(st.st_mode))
        return copyFile(from, to, st, error);
    if (S_ISLNK(st.st_mode)) {
        QByteArray target(PATH_MAX, '\0');
        const ssize_t length = ::readlink(from.constData(), target.data(), size_t(target.size()));
        if (length < 0 || ::symlink(target.left(length).constData(), to.constData()) != 0) {
            *error = errnoText(errno);
            return false;
        }
        return true;
    }
    if (!S_ISDIR(st.st_mode)) {
        *error = QStringLiteral("'%1' is not a file or folder").arg(QFile::decodeName(from));
        return false;
    }
    if (::mkdir(to.constData(), 0700) != 0) {
        *error = errnoText(errno);
        return false;
    }
    std::unique_ptr<DIR, DirCloser> dir(::opendir(from.constData()));
    if (!dir) {
        *error = errnoText(errno);
        return false;
    }
    errno = 0;
    while (const dirent* entry = ::readdir(dir.get())) {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
            continue;
        if (!copyTree(from + '/' + name, to + '/' + name, error))
            return false;
        errno = 0;
    }
    if (errno != 0) {
        *error = errnoText(errno);
        return false;
    }
    ::chmod(to.constData(), st.st_mode & 07777);
    return true;
}

bool isInside(const QString& path, const QString& folder)
{
    return path == folder || path.startsWith(folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/'));
}

// The fully resolved path, or of its existing parent with the name kept.
QString resolvedPath(const QString& path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    if (!canonical.isEmpty())
        return canonical;
    const QString parent = QFileInfo(QFileInfo(path).path()).canonicalFilePath();
    return parent.isEmpty() ? QDir::cleanPath(path) : parent + QLatin1Char('/') + QFileInfo(path).fileName();
}

// Across file systems: a complete, checked copy beside the target arrives there by a no-replace
// rename, and only then the source goes. A failure leaves the source and no copy.
bool moveAcrossFileSystems(const QString& from, const QString& to, QString* error, bool* targetTaken)
{
    const QFileInfo target(to);
    const QString part = partPathBeside(to);
    if (part.isEmpty()) {
        *error = QStringLiteral("No free temporary name");
        return false;
    }
    if (!copyTree(native(from), native(part), error)) {
        removeItem(part);
        return false;
    }
    if (const int result = renameNoReplace(part, to); result != 0) {
        removeItem(part);
        if (result == EEXIST && targetTaken)
            *targetTaken = true;
        *error = result == EEXIST ? QStringLiteral("'%1' already exists").arg(target.fileName()) : errnoText(result);
        return false;
    }
    if (!removeItem(from)) {
        // Everything is at the target; the leftover original is the only thing to report.
        *error = QStringLiteral("'%1' was copied, but the original could not be removed").arg(QFileInfo(from).fileName());
        return false;
    }
    return true;
}

}  // namespace

QString partPathBeside(const QString& target)
{
    const QFileInfo info(target);
    // The marks around the name must still fit in one file name.
    QString name = info.fileName();
    // Noted before the part exists, so a start after a kill knows where to look.
    PartFile::recordFolder(info.path());
    while (QFile::encodeName(name).size() > kMaxNameInPartName)
        name.chop(1);
    for (int attempt = 0; attempt < kPartNameAttempts; ++attempt) {
        const QString candidate = info.path() + QStringLiteral("/.%1.%2.part")
                                                    .arg(name)
                                                    .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
        if (!QFileInfo(candidate).exists() && !QFileInfo(candidate).isSymLink())
            return candidate;
    }
    return {};
}

int renameNoReplace(const QString& from, const QString& to)
{
    const QByteArray source = native(from);
    const QByteArray target = native(to);
    if (::renameat2(AT_FDCWD, source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return errno;
    struct stat st {};
    if (::lstat(source.constData(), &st) != 0)
        return errno;
    // A folder moved into itself answers EINVAL on every file system.
    if (S_ISDIR(st.st_mode) && isInside(resolvedPath(to), resolvedPath(from)))
        return EINVAL;
    // A file system without the flag: a hard link is just as exclusive for files.
    if (S_ISREG(st.st_mode)) {
        if (::link(source.constData(), target.constData()) == 0) {
            ::unlink(source.constData());
            return 0;
        }
        if (errno == EEXIST || errno == EXDEV)
            return errno;
    }
    return renameOverClaim(source, target, S_ISDIR(st.st_mode));
}

bool moveItemNoReplace(const QString& from, const QString& to, QString* error, bool* targetTaken)
{
    QString ignored;
    QString& why = error ? *error : ignored;
    if (targetTaken)
        *targetTaken = false;
    const QFileInfo source(from);
    if (!source.exists() && !source.isSymLink()) {
        why = QStringLiteral("'%1' does not exist").arg(source.fileName());
        return false;
    }
    if (source.isDir() && !source.isSymLink() && isInside(resolvedPath(to), resolvedPath(from))) {
        why = QStringLiteral("'%1' can't be moved into itself").arg(source.fileName());
        return false;
    }
    const int result = renameNoReplace(from, to);
    if (result == 0)
        return true;
    if (result == EEXIST || result == ENOTEMPTY) {
        if (targetTaken)
            *targetTaken = true;
        why = QStringLiteral("'%1' already exists").arg(QFileInfo(to).fileName());
        return false;
    }
    if (result != EXDEV) {
        why = errnoText(result);
        return false;
    }
    return moveAcrossFileSystems(from, to, &why, targetTaken);
}

}  // namespace Utils
