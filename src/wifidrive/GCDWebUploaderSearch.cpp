// "/search": items whose name contains a text, in a folder and every folder below it.
#include "wifidrive/GCDWebUploader.h"

#include "library/SearchFilter.h"
#include "wifidrive/WebListingJson.h"
#include "wifidrive/WebPaths.h"

#include <QFile>
#include <deque>
#include <dirent.h>
#include <fcntl.h>
#include <set>

using platform::HttpRequest;
using platform::HttpResponse;

namespace {

// A search answers in well under a second even over a huge library: it stops at these.
constexpr int kMaxResults = 500;
constexpr int kMaxVisitedItems = 200000;

struct PendingFolder {
    QString absolute;
    QString relative;
};

// Closes the folder on every way out of a loop.
class OpenFolder {
public:
    explicit OpenFolder(const QString& path) : mDir(::opendir(QFile::encodeName(path).constData())) {}
    ~OpenFolder() { if (mDir) ::closedir(mDir); }
    OpenFolder(const OpenFolder&) = delete;
    OpenFolder& operator=(const OpenFolder&) = delete;
    DIR* get() const { return mDir; }

private:
    DIR* mDir;
};

}  // namespace

HttpResponse GCDWebUploader::searchItems(const HttpRequest& request)
{
    const QString relativePath = request.query.value(QStringLiteral("path"));
    const QString text = request.query.value(QStringLiteral("query")).trimmed();
    HttpResponse refusal;
    struct stat st {};
    const std::optional<QString> absolute = existingItem(relativePath, true, &refusal, &st);
    if (!absolute)
        return refusal;
    if (!S_ISDIR(st.st_mode))
        return refuse(400, QStringLiteral("\"%1\" is not a directory").arg(relativePath));
    if (*absolute != mUploadDirectory && !checkHidden(*absolute))
        return refuse(403, QStringLiteral("Listing directory name \"%1\" is not allowed").arg(relativePath));
    if (text.isEmpty())
        return refuse(400, QStringLiteral("Missing search text"));

    const QString folded = SearchFilter::folded(text);
    const QStringList served = servedFolders();
    // Folders already walked, by device and inode: a link back up must not loop.
    std::set<std::pair<dev_t, ino_t>> visited{{st.st_dev, st.st_ino}};
    std::deque<PendingFolder> pending{{*absolute, relativePath}};
    QByteArray items;
    int found = 0;
    int seen = 0;
    bool truncated = false;
    while (!pending.empty() && !truncated) {
        const PendingFolder folder = std::move(pending.front());
        pending.pop_front();
        const OpenFolder dir(folder.absolute);
        if (!dir.get())
            continue;
        while (const dirent* entry = ::readdir(dir.get())) {
            const QString name = QFile::decodeName(entry->d_name);
            if (name == QLatin1String(".") || name == QLatin1String("..")
                || (!allowHiddenItems() && name.startsWith(QLatin1Char('.'))))
                continue;
            if (++seen > kMaxVisitedItems || found >= kMaxResults) {
                truncated = true;
                break;
            }
            struct stat item {};
            if (::fstatat(::dirfd(dir.get()), entry->d_name, &item, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            const QString itemAbsolute = folder.absolute + QLatin1Char('/') + name;
            if (S_ISLNK(item.st_mode)
                && (::fstatat(::dirfd(dir.get()), entry->d_name, &item, 0) != 0
                    || !WebPaths::staysInside(itemAbsolute, served)))
                continue;
            const bool isFolder = S_ISDIR(item.st_mode);
            if (!isFolder && !(S_ISREG(item.st_mode) && checkFileExtension(name)))
                continue;
            const QString itemRelative = WebPaths::appendComponent(folder.relative, name);
            if (SearchFilter::folded(name).contains(folded)) {
                items += items.isEmpty() ? "" : ",";
                WebListingJson::appendItem(items, itemRelative, name, item);
                ++found;
            }
            if (isFolder && visited.insert({item.st_dev, item.st_ino}).second)
                pending.push_back({itemAbsolute, itemRelative});
        }
    }
    return HttpResponse::data("{\"items\":[" + items + "],\"truncated\":" + (truncated ? "true" : "false") + "}",
                              QByteArrayLiteral("application/json"));
}
