#pragma once
#include <QFile>
#include <QString>
#include <cstdint>
#include <sys/stat.h>

namespace platform {

// What tells one version of a file from the next under the same path: a program that exports
// over a file either rewrites it (size, time) or renames a new one into place (inode).
struct FileStamp {
    int64_t size = -1;
    int64_t modifiedNs = 0;
    uint64_t inode = 0;
    uint64_t device = 0;

    // An unreadable path gives the empty stamp, equal only to another empty one.
    static FileStamp of(const QString& path)
    {
        struct stat st {};
        if (::stat(QFile::encodeName(path).constData(), &st) != 0)
            return {};
        return {int64_t(st.st_size), int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec, uint64_t(st.st_ino),
                uint64_t(st.st_dev)};
    }
    bool operator==(const FileStamp&) const = default;
};

}  // namespace platform
