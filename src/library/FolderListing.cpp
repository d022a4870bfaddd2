#include "library/FolderListing.h"

#include "library/Utils.h"
#include "platform/Log.h"
#include "platform/PartFile.h"

#include <QFile>
#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace {

struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};

// An empty folder has the link count 2: its own entry and ".".
constexpr nlink_t kLinksOfFolderWithoutSubfolders = 2;

// The entry's path: the folder's prefix and its name, decoded as QFile::decodeName does. Most
// names are ASCII, which needs no decoding, only widening into the one allocation.
QString entryPath(const QString& prefix, const char* name)
{
    const size_t length = std::strlen(name);
    bool ascii = true;
    for (size_t i = 0; i < length && ascii; ++i)
        ascii = static_cast<unsigned char>(name[i]) < 0x80;
    if (!ascii)
        return prefix + QFile::decodeName(QByteArray::fromRawData(name, qsizetype(length)));
    QString path(prefix.size() + qsizetype(length), Qt::Uninitialized);
    QChar* out = std::copy(prefix.cbegin(), prefix.cend(), path.data());
    for (size_t i = 0; i < length; ++i)
        *out++ = QLatin1Char(name[i]);
    return path;
}

void fillStatus(LibraryItem& item, const struct stat* st)
{
    item.isDirectory = st && S_ISDIR(st->st_mode);
    item.size = st ? qint64(st->st_size) : 0;
    item.date = st ? qint64(st->st_mtim.tv_sec) : 0;
    item.isBroken = !st;
}

}  // namespace

std::optional<LibraryItemList> listFolder(const QString& folder, const std::atomic_bool* cancel)
{
    if (folder.isEmpty()) {
        platform::log(QStringLiteral("updateFileList called with no folder!"));
        return std::nullopt;
    }
    LibraryItemList items;
    const std::unique_ptr<DIR, DirCloser> dir(opendir(QFile::encodeName(folder).constData()));
    if (!dir)
        return items;
    const int fd = dirfd(dir.get());
    const QString prefix = folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
    while (const dirent* entry = readdir(dir.get())) {
        if (cancel && cancel->load(std::memory_order_relaxed))
            return std::nullopt;
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
            continue;
        // An operation's unfinished result is not an item yet.
        if (name[0] == '.' && PartFile::isPartName(QFile::decodeName(name)))
            continue;
        struct stat st;
        const bool readable = fstatat(fd, name, &st, 0) == 0;
        LibraryItem item;
        item.path = entryPath(prefix, name);
        fillStatus(item, readable ? &st : nullptr);
        // Resolving the Inbox path costs several calls, so only empty-looking folders pay it.
        if (item.isDirectory && st.st_nlink <= kLinksOfFolderWithoutSubfolders && Utils::pathIsInbox(item.path))
            continue;
        // The entry's type from the folder itself spares a second status call for every row.
        bool isLink = entry->d_type == DT_LNK;
        if (entry->d_type == DT_UNKNOWN) {
            struct stat own;
            isLink = fstatat(fd, name, &own, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(own.st_mode);
        }
        item.isSys = Utils::pathIsSystemItem(item.path, isLink);
        items.append(std::move(item));
    }
    return items;
}

bool refreshItemStatus(LibraryItem& item)
{
    struct stat st;
    const bool readable = ::stat(QFile::encodeName(item.path).constData(), &st) == 0;
    fillStatus(item, readable ? &st : nullptr);
    return readable;
}
