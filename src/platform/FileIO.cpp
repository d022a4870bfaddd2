#include "platform/FileIO.h"

#include <QFile>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

// One loop for all three: transfer(at, bytes left) is a single system call.
template <typename Transfer>
bool whole(qint64 length, Transfer transfer)
{
    qint64 done = 0;
    while (done < length) {
        const ssize_t n = transfer(done, length - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = ENOSPC;
            return false;
        }
        done += n;
    }
    return true;
}

}  // namespace

bool preadAll(int fd, void* out, qint64 length, qint64 offset)
{
    auto* bytes = static_cast<char*>(out);
    return whole(length, [&](qint64 at, qint64 left) { return ::pread(fd, bytes + at, size_t(left), off_t(offset + at)); });
}

bool pwriteAll(int fd, const void* data, qint64 length, qint64 offset)
{
    const auto* bytes = static_cast<const char*>(data);
    return whole(length, [&](qint64 at, qint64 left) { return ::pwrite(fd, bytes + at, size_t(left), off_t(offset + at)); });
}

bool writeAll(int fd, const void* data, qint64 length)
{
    const auto* bytes = static_cast<const char*>(data);
    return whole(length, [&](qint64 at, qint64 left) { return ::write(fd, bytes + at, size_t(left)); });
}

bool isRegularFile(const QString& path)
{
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace platform
