#include "platform/HttpUploadSpool.h"

#include "platform/PartFile.h"
#include "platform/SpareFiles.h"

#include <QFile>
#include <QUrl>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

UnnamedFile::~UnnamedFile()
{
    if (mFd >= 0)
        ::close(mFd);
}

HttpUploadSpool::HttpUploadSpool(QString uploadFolder, qint64 quota, SpareFiles* spares)
    : mFolder(std::move(uploadFolder)), mQuota(quota), mSpares(spares)
{
}

// The part files remove themselves unless a handler moved them away.
HttpUploadSpool::~HttpUploadSpool() = default;

bool HttpUploadSpool::beginPart(const QString& name, const QString& fileName, const QString& contentType)
{
    endPart();
    if (fileName.isEmpty()) {
        if (mFields.size() >= kMaxFileParts)
            return false;
        mFieldName = name;
        mFieldValue.clear();
        mInField = true;
        return true;
    }
    if (int(mFiles.size()) >= kMaxFileParts)
        return false;
    mCurrent = UploadedFile{name, fileName, contentType, {}, 0, {}};
    mInFile = true;
    // Without a name, nothing of it can be left behind; the handler links it into place.
    const int spare = mSpares ? mSpares->take() : -1;
    if (const int fd = spare >= 0 ? spare : PartFile::createUnnamed(mFolder); fd >= 0) {
        mUnnamed = std::make_shared<UnnamedFile>(fd);
        mCurrent.unnamed = mUnnamed;
        mFd = fd;
        return true;
    }
    // Locked while this request lives, so that a start-up clean-up elsewhere leaves it alone.
    mPart = PartFile::create(mFolder);
    if (!mPart) {
        mCurrent.error = QString::fromLocal8Bit(std::strerror(errno));
    } else {
        mCurrent.temporaryPath = mPart->path();
        mFd = mPart->fd();
    }
    return true;
}

bool HttpUploadSpool::write(const char* data, size_t length)
{
    if (mInField) {
        if (mFieldValue.size() + qsizetype(length) > kMaxFieldBytes)
            return false;
        mFieldValue.append(data, qsizetype(length));
        return true;
    }
    if (!mInFile)
        return true;
    mCurrent.size += qint64(length);
    mFileBytes += qint64(length);
    if (mQuota > 0 && mFileBytes > mQuota) {
        // Stop receiving: the destructor removes what this request wrote.
        mOverQuota = true;
        return false;
    }
    if (mFd < 0)
        return true;
    // Small pieces are gathered into large writes; large ones go straight to the file.
    if (!mPending.isEmpty() && mPending.size() + qsizetype(length) > kFlushBytes)
        flush();
    if (mPending.isEmpty() && qsizetype(length) >= kDirectBytes) {
        writeOut(data, length);
        return true;
    }
    mPending.append(data, qsizetype(length));
    if (mPending.size() >= kFlushBytes)
        flush();
    return true;
}

void HttpUploadSpool::flush()
{
    writeOut(mPending.constData(), size_t(mPending.size()));
    mPending.resize(0);  // keeps its room for the next pieces
}

void HttpUploadSpool::writeOut(const char* data, size_t length)
{
    while (mFd >= 0 && length > 0) {
        const ssize_t n = ::write(mFd, data, length);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            // Keep draining the body so the client reads our answer instead of a reset.
            mCurrent.error = QString::fromLocal8Bit(std::strerror(n < 0 ? errno : ENOSPC));
            mPart.reset();
            mUnnamed.reset();
            mCurrent.unnamed.reset();
            mCurrent.temporaryPath.clear();
            mFd = -1;
            break;
        }
        data += n;
        length -= size_t(n);
    }
}

bool HttpUploadSpool::writeUrlEncoded(const char* data, size_t length)
{
    if (mUrlEncoded.size() + qsizetype(length) > kMaxFieldBytes)
        return false;
    mUrlEncoded.append(data, qsizetype(length));
    return true;
}

void HttpUploadSpool::endPart()
{
    if (mInField) {
        mFields.insert(mFieldName, QString::fromUtf8(mFieldValue));
        mInField = false;
    }
    if (mInFile) {
        flush();
        if (mPart)
            mHeld.push_back(std::move(mPart));
        mUnnamed.reset();
        mFd = -1;
        mFiles.push_back(mCurrent);
        mCurrent = UploadedFile{};
        mInFile = false;
    }
}

void HttpUploadSpool::finish(HttpRequest& request)
{
    endPart();
    if (!mUrlEncoded.isEmpty())
        mFields.insert(parseUrlEncoded(mUrlEncoded));
    request.form.insert(mFields);
    for (UploadedFile& f : mFiles)
        request.files.push_back(std::move(f));
    mFiles.clear();
}

QMap<QString, QString> HttpUploadSpool::parseUrlEncoded(const QByteArray& text)
{
    QMap<QString, QString> fields;
    for (const QByteArray& pair : text.split('&')) {
        if (pair.isEmpty())
            continue;
        const qsizetype eq = pair.indexOf('=');
        QByteArray key = eq < 0 ? pair : pair.left(eq);
        QByteArray value = eq < 0 ? QByteArray() : pair.mid(eq + 1);
        key.replace('+', ' ');
        value.replace('+', ' ');
        fields.insert(QUrl::fromPercentEncoding(key), QUrl::fromPercentEncoding(value));
    }
    return fields;
}

}  // namespace platform
