// Resumable uploads, for large files over networks that drop. The page names each upload with
// an id of its own (16 to 64 letters, digits, "-" or "_") and sends the file in pieces:
//
//   POST /upload-chunk?id=ID&offset=N&size=TOTAL&path=FOLDER&name=NAME   body: the file's bytes from N
//   GET  /upload-chunk?id=ID                                             answer: {"offset": bytes held}
//
// A piece must start where the bytes held end (else 409, with {"offset": ...}). What arrives of
// a piece is kept even when its connection drops, so the page asks for the offset and goes on.
// Each piece answers {"offset": bytes held}; the one that completes TOTAL stores the file as
// "/upload" would (same name rules, vetoes and free names) and adds "path": where it landed.
// For a day after, the id answers as that last piece did (to GET, and to the last piece sent
// again), so a client that lost the answer does not send the file a second time.
// The bytes wait in the upload folder, on the library's file system; an upload left unfinished
// is removed after a day.
#include "wifidrive/GCDWebUploader.h"

#include "platform/FileIO.h"
#include "platform/Log.h"
#include "wifidrive/WebListingJson.h"
#include "wifidrive/WebPaths.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QUrl>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using platform::HttpRequest;
using platform::HttpResponse;

namespace {

const QString kPartPrefix = QStringLiteral(".resume-");
const QString kCompletedSuffix = QStringLiteral(".done");
const QByteArray kJsonType = QByteArrayLiteral("application/json");

class Descriptor {
public:
    explicit Descriptor(int fd) : mFd(fd) {}
    ~Descriptor()
    {
        if (mFd >= 0)
            ::close(mFd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return mFd; }

private:
    int mFd;
};

HttpResponse offsetReply(qint64 offset, int status = 200, const QString& path = {})
{
    QByteArray json = "{\"offset\":" + QByteArray::number(offset);
    if (!path.isNull()) {
        json += ",\"path\":";
        WebListingJson::appendString(json, path);
    }
    return HttpResponse::data(json + '}', kJsonType, status);
}

std::optional<qint64> number(const QString& text)
{
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    return ok && value >= 0 ? std::optional<qint64>(value) : std::nullopt;
}

}  // namespace

QString GCDWebUploader::resumablePartPath(const QString& id) const
{
    static const QRegularExpression ours(QStringLiteral("^[A-Za-z0-9_-]{16,64}$"));
    if (mUploadFolder.isEmpty() || !ours.match(id).hasMatch())
        return {};
    return mUploadFolder + QLatin1Char('/') + kPartPrefix + id;
}

void GCDWebUploader::removeStaleResumableParts()
{
    const QDateTime stale = QDateTime::currentDateTime().addSecs(-kResumableLifetimeSeconds);
    QDirIterator it(mUploadFolder, {kPartPrefix + QLatin1Char('*')}, QDir::Files | QDir::Hidden | QDir::System);
    while (it.hasNext()) {
        const QString path = it.next();
        if (it.fileInfo().isSymLink() || it.fileInfo().lastModified() >= stale)
            continue;
        const Descriptor fd(::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
        if (fd.get() >= 0 && ::flock(fd.get(), LOCK_EX | LOCK_NB) == 0)
            QFile::remove(path);
    }
}

std::optional<GCDWebUploader::CompletedUpload> GCDWebUploader::completedUpload(const QString& partPath) const
{
    QFile record(partPath + kCompletedSuffix);
    if (!QFileInfo(record.fileName()).isFile() || QFileInfo(record.fileName()).isSymLink() || !record.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QStringList lines = QString::fromUtf8(record.read(64 * 1024)).split(QLatin1Char('\n'));
    const std::optional<qint64> size = number(lines.value(0));
    if (lines.size() < 3 || !size)
        return std::nullopt;
    return CompletedUpload{*size, QUrl::fromPercentEncoding(lines.value(1).toLatin1()), QUrl::fromPercentEncoding(lines.value(2).toLatin1())};
}

HttpResponse GCDWebUploader::uploadOffset(const HttpRequest& request)
{
    const QString part = resumablePartPath(request.query.value(QStringLiteral("id")));
    if (part.isEmpty())
        return refuse(400, QStringLiteral("Invalid upload id"));
    if (const std::optional<CompletedUpload> done = completedUpload(part))
        return offsetReply(done->size, 200, done->path);
    struct stat st {};
    const bool held = ::lstat(QFile::encodeName(part).constData(), &st) == 0 && S_ISREG(st.st_mode);
    return offsetReply(held ? st.st_size : 0);
}

HttpResponse GCDWebUploader::uploadChunk(HttpRequest& request, const platform::HttpServer::BodyReader& read)
{
    const QString part = resumablePartPath(request.query.value(QStringLiteral("id")));
    const std::optional<qint64> offset = number(request.query.value(QStringLiteral("offset")));
    const std::optional<qint64> size = number(request.query.value(QStringLiteral("size")));
    const QString relativePath = request.query.value(QStringLiteral("path"));
    const QString name = request.query.value(QStringLiteral("name"));
    if (part.isEmpty() || !offset || !size || *offset > *size)
        return refuse(400, QStringLiteral("Invalid upload id, offset or size"));
    if (!WebPaths::isValidName(name))
        return refuse(400, QStringLiteral("Invalid file name \"%1\"").arg(name));
    if (!checkHidden(name) || !checkFileExtension(name))
        return refuse(403, QStringLiteral("Uploaded file name \"%1\" is not allowed").arg(name));
    HttpResponse refusal;
    if (!absolutePath(relativePath, true, &refusal))
        return refusal;
    const qint64 quota = http().uploadQuota();
    if (quota > 0 && *size > quota)
        return refuse(413, QStringLiteral("Upload larger than the allowed %1 bytes").arg(quota));
    // The last piece again, from a client that missed its answer: the same answer, nothing stored
    // twice. A first piece starts the id afresh: the same file sent again is a new upload.
    if (const std::optional<CompletedUpload> done = completedUpload(part)) {
        if (*offset > 0 && done->size == *size && done->name == name)
            return offsetReply(done->size, 200, done->path);
        QFile::remove(part + kCompletedSuffix);
    }

    // Our own folder, and no link followed: the bytes go nowhere else.
    const Descriptor fd(::open(QFile::encodeName(part).constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644));
    struct stat st {};
    if (fd.get() < 0 || ::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode))
        return refuse(500, QStringLiteral("Failed receiving \"%1\"").arg(name), QString::fromLocal8Bit(std::strerror(errno)));
    // One piece at a time: a second connection for the same upload learns where it stands.
    if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0 || ::fstat(fd.get(), &st) != 0)
        return offsetReply(st.st_size, 409);
    if (st.st_size != *offset)
        return offsetReply(st.st_size, 409);

    qint64 held = st.st_size;
    int failure = 0;
    bool tooLong = false;
    const bool whole = read([&](const char* data, size_t length) {
        const size_t fits = size_t(std::min<qint64>(qint64(length), *size - held));
        if (!platform::pwriteAll(fd.get(), data, qint64(fits), qint64(held))) {
            failure = errno;
            return false;
        }
        held += qint64(fits);
        tooLong = fits < length;
        return !tooLong;
    });
    // What a failed write left past the last whole piece of data goes, so the offset is true.
    if (failure || tooLong)
        (void)::ftruncate(fd.get(), off_t(held));
    if (failure)
        return refuse(500, QStringLiteral("Failed receiving \"%1\"").arg(name), QString::fromLocal8Bit(std::strerror(failure)));
    if (tooLong)
        return refuse(400, QStringLiteral("More bytes than the upload's size"));
    if (!whole || held < *size)
        return offsetReply(held, whole ? 200 : 400);

    if (::fsync(fd.get()) != 0)
        return refuse(500, QStringLiteral("Failed receiving \"%1\"").arg(name), QString::fromLocal8Bit(std::strerror(errno)));
    platform::UploadedFile file{QStringLiteral("files[]"), name, {}, part, held, {}};
    QString arrived;
    if (std::optional<HttpResponse> refused = storeUpload(file, relativePath, &arrived)) {
        // Whatever was refused would be refused again: the bytes are of no more use.
        QFile::remove(part);
        return *refused;
    }
    const QString landed = WebPaths::appendComponent(relativePath, QFileInfo(arrived).fileName());
    QSaveFile record(part + kCompletedSuffix);
    if (!record.open(QIODevice::WriteOnly)
        || record.write(QByteArray::number(held) + '\n' + QUrl::toPercentEncoding(name) + '\n' + QUrl::toPercentEncoding(landed) + '\n') < 0
        || !record.commit())
        platform::log(QStringLiteral("Web uploader: could not keep the answer of upload %1").arg(QFileInfo(part).fileName()));
    return offsetReply(held, 200, landed);
}
