#include "wifidrive/WebFileOps.h"

#include "wifidrive/WebPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace WebFileOps {
namespace {

constexpr int kMaxNameAttempts = 10000;
constexpr mode_t kFolderMode = 0755;

QString errnoText(int error) { return QString::fromLocal8Bit(std::strerror(error)); }
QByteArray native(const QString& path) { return QFile::encodeName(path); }

// rename(2) that fails with EEXIST instead of replacing; file systems without the flag fall
// back to a hard link for files, which is just as exclusive.
int renameNoReplace(const QByteArray& from, const QByteArray& to)
{
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    struct stat st {};
    if (::lstat(from.constData(), &st) == 0 && S_ISREG(st.st_mode)) {
        if (::link(from.constData(), to.constData()) != 0)
            return errno;
        ::unlink(from.constData());
        return 0;
    }
    if (::lstat(to.constData(), &st) == 0)
        return EEXIST;
    return ::rename(from.constData(), to.constData()) == 0 ? 0 : errno;
}

bool removeTree(int parentFd, const char* name, QString* error)
{
    struct stat st {};
    if (::fstatat(parentFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        *error = errnoText(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        const int fd = ::openat(parentFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0) {
            *error = errnoText(errno);
            return false;
        }
        DIR* dir = ::fdopendir(fd);
        if (!dir) {
            *error = errnoText(errno);
            ::close(fd);
            return false;
        }
        bool ok = true;
        while (dirent* entry = ::readdir(dir)) {
            if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
                continue;
            ok = removeTree(fd, entry->d_name, error) && ok;
        }
        ::closedir(dir);
        if (!ok)
            return false;
    }
    if (::unlinkat(parentFd, name, S_ISDIR(st.st_mode) ? AT_REMOVEDIR : 0) != 0) {
        *error = errnoText(errno);
        return false;
    }
    return true;
}

std::optional<QString> renameToFreePath(const QString& from, const QString& wanted, int* failure)
{
    for (int attempt = 0; attempt < kMaxNameAttempts; ++attempt) {
        const QString destination = WebPaths::uniquePathForPath(wanted);
        const int result = renameNoReplace(native(from), native(destination));
        if (result == 0)
            return destination;
        if (result != EEXIST) {
            *failure = result;
            return std::nullopt;
        }
    }
    *failure = EEXIST;
    return std::nullopt;
}

// Copies a regular file into a hidden temporary file of folder; its path, or empty with *failure set.
std::optional<QString> copyInto(const QString& from, const QString& folder, int* failure)
{
    const int in = ::open(native(from).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat st {};
    if (in < 0 || ::fstat(in, &st) != 0 || !S_ISREG(st.st_mode)) {
        *failure = in < 0 ? errno : EINVAL;
        if (in >= 0)
            ::close(in);
        return std::nullopt;
    }
    QByteArray pattern = native(folder) + "/.upload-XXXXXX";
    const int out = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (out < 0) {
        *failure = errno;
        ::close(in);
        return std::nullopt;
    }
    ::fchmod(out, st.st_mode & 07777);
    int result = 0;
    char buffer[256 * 1024];
    for (;;) {
        const ssize_t n = ::read(in, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            result = n < 0 ? errno : 0;
            break;
        }
        for (ssize_t done = 0; done < n && result == 0;) {
            const ssize_t w = ::write(out, buffer + done, size_t(n - done));
            if (w < 0 && errno == EINTR)
                continue;
            if (w <= 0)
                result = w < 0 ? errno : ENOSPC;
            else
                done += w;
        }
        if (result != 0)
            break;
    }
    ::close(in);
    if (::close(out) != 0 && result == 0)
        result = errno;
    if (result != 0) {
        ::unlink(pattern.constData());
        *failure = result;
        return std::nullopt;
    }
    return QFile::decodeName(pattern);
}

}  // namespace

std::optional<QString> moveToFreePath(const QString& from, const QString& wanted, QString* error)
{
    int failure = 0;
    if (std::optional<QString> moved = renameToFreePath(from, wanted, &failure))
        return moved;
    struct stat st {};
    if (failure == EXDEV && ::lstat(native(from).constData(), &st) == 0 && S_ISREG(st.st_mode)) {
        // Another file system (a folder linked into the library): copy beside the destination
        // first, so the destination name only ever shows a whole file.
        const std::optional<QString> copy = copyInto(from, QFileInfo(wanted).path(), &failure);
        if (copy) {
            if (std::optional<QString> moved = renameToFreePath(*copy, wanted, &failure)) {
                ::unlink(native(from).constData());
                return moved;
            }
            ::unlink(native(*copy).constData());
        }
    }
    *error = errnoText(failure);
    return std::nullopt;
}

std::optional<QString> createFreeDirectory(const QString& wanted, QString* error)
{
    const QString parent = QFileInfo(wanted).path();
    if (!QDir().mkpath(parent)) {
        *error = QStringLiteral("Could not create \"%1\"").arg(parent);
        return std::nullopt;
    }
    for (int attempt = 0; attempt < kMaxNameAttempts; ++attempt) {
        const QString destination = WebPaths::uniquePathForPath(wanted);
        if (::mkdir(native(destination).constData(), kFolderMode) == 0)
            return destination;
        if (errno != EEXIST) {
            *error = errnoText(errno);
            return std::nullopt;
        }
    }
    *error = errnoText(EEXIST);
    return std::nullopt;
}

bool removeItem(const QString& path, QString* error)
{
    return removeTree(AT_FDCWD, native(path).constData(), error);
}

}  // namespace WebFileOps
