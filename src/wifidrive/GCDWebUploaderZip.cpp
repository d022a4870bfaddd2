// "/zip": a folder as a zip archive, made while it is sent, so a folder of any size costs the
// server one read buffer and the list of entry names.
#include "wifidrive/GCDWebUploader.h"

#include "platform/ZipStream.h"
#include "wifidrive/WebPaths.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <set>
#include <unistd.h>
#include <vector>

using platform::HttpRequest;
using platform::HttpResponse;

namespace {

constexpr size_t kReadBytes = 256 * 1024;

QDateTime modifiedAt(const struct stat& st) { return QDateTime::fromSecsSinceEpoch(st.st_mtim.tv_sec); }

// Closes a descriptor on every way out.
class Descriptor {
public:
    explicit Descriptor(int fd) : mFd(fd) {}
    ~Descriptor() { if (mFd >= 0) ::close(mFd); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return mFd; }

private:
    int mFd;
};

// What the walk needs, copied: it runs on a server thread after the route has returned.
struct FolderArchive {
    QString top;
    QString archiveName;
    QStringList served;
    bool allowHidden = false;
    QSet<QString> extensions;
    std::set<std::pair<dev_t, ino_t>> visited;
    std::vector<char> buffer;

    bool extensionAllowed(const QString& name) const
    {
        if (extensions.isEmpty())
            return true;
        const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
        return dot > 0 && extensions.contains(name.mid(dot + 1).toLower());
    }

    // Entries are read in name order, so the archive is the same for the same folder.
    bool addFolder(ZipStream& zip, const QString& absolute, const QString& entryName, const struct stat& st)
    {
        if (!visited.insert({st.st_dev, st.st_ino}).second)
            return true;  // a link back to a folder already in the archive
        if (!zip.addFolder(entryName, modifiedAt(st)))
            return false;
        QStringList names;
        {
            DIR* dir = ::opendir(QFile::encodeName(absolute).constData());
            if (!dir)
                return true;
            while (const dirent* entry = ::readdir(dir)) {
                const QString name = QFile::decodeName(entry->d_name);
                if (name != QLatin1String(".") && name != QLatin1String("..")
                    && (allowHidden || !name.startsWith(QLatin1Char('.'))))
                    names << name;
            }
            ::closedir(dir);
        }
        names.sort();
        for (const QString& name : names) {
            const QString path = absolute + QLatin1Char('/') + name;
            struct stat item {};
            if (::stat(QFile::encodeName(path).constData(), &item) != 0 || !WebPaths::staysInside(path, served))
                continue;
            const QString childEntry = entryName + QLatin1Char('/') + name;
            if (S_ISDIR(item.st_mode)) {
                if (!addFolder(zip, path, childEntry, item))
                    return false;
            } else if (S_ISREG(item.st_mode) && extensionAllowed(name)) {
                if (!addFile(zip, path, childEntry))
                    return false;
            }
        }
        return true;
    }

    bool addFile(ZipStream& zip, const QString& path, const QString& entryName)
    {
        // Without blocking: a FIFO put in the file's place after the check must not hold us.
        const Descriptor file(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        struct stat st {};
        if (file.get() < 0 || ::fstat(file.get(), &st) != 0 || !S_ISREG(st.st_mode))
            return true;
        if (!zip.beginFile(entryName, modifiedAt(st)))
            return false;
        for (;;) {
            const ssize_t n = ::read(file.get(), buffer.data(), buffer.size());
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;  // a read error ends the entry with what was read: the checksum still fits it
            if (!zip.write(std::span<const char>(buffer.data(), size_t(n))))
                return false;
        }
        return zip.endFile();
    }
};

}  // namespace

HttpResponse GCDWebUploader::downloadFolder(const HttpRequest& request)
{
    const QString relativePath = request.query.value(QStringLiteral("path"));
    HttpResponse refusal;
    struct stat st {};
    const std::optional<QString> absolute = existingItem(relativePath, true, &refusal, &st);
    if (!absolute)
        return refusal;
    if (!S_ISDIR(st.st_mode))
        return refuse(400, QStringLiteral("\"%1\" is not a directory").arg(relativePath));
    if (*absolute != mUploadDirectory && !checkHidden(*absolute))
        return refuse(403, QStringLiteral("Downlading file name \"%1\" is not allowed").arg(relativePath));

    auto archive = std::make_shared<FolderArchive>();
    archive->top = *absolute;
    archive->archiveName = *absolute == mUploadDirectory ? title() : QFileInfo(*absolute).fileName();
    archive->served = servedFolders();
    archive->allowHidden = allowHiddenItems();
    archive->extensions = allowedFileExtensions();
    const QString attachment = archive->archiveName + QStringLiteral(".zip");
    return HttpResponse::streamed(
        [archive, st](const HttpResponse::Writer& write) {
            archive->buffer.resize(kReadBytes);
            archive->visited.clear();
            ZipStream zip(write);
            return archive->addFolder(zip, archive->top, archive->archiveName, st) && zip.finish();
        },
        QByteArrayLiteral("application/zip"), attachment);
}
