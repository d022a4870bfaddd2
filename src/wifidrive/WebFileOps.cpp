#include "wifidrive/WebFileOps.h"

#include "library/Utils.h"
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

}  // namespace

std::optional<QString> moveToFreePath(const QString& from, const QString& wanted, QString* error)
{
    // The library's own move: never over an item, and across file systems a checked copy.
    for (int attempt = 0; attempt < kMaxNameAttempts; ++attempt) {
        const QString destination = WebPaths::uniquePathForPath(wanted);
        bool taken = false;
        if (Utils::moveItemNoReplace(from, destination, error, &taken))
            return destination;
        if (!taken)
            return std::nullopt;
    }
    *error = errnoText(EEXIST);
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
