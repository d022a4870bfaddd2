#pragma once
#include <QByteArray>
#include <QMap>
#include <QString>
#include <memory>
#include <vector>

namespace platform {

// A received file that has no name yet (PartFile::createUnnamed): a handler links it where it
// belongs; closed, and so gone unless linked, with its last holder.
class UnnamedFile {
public:
    explicit UnnamedFile(int fd) : mFd(fd) {}
    ~UnnamedFile();
    UnnamedFile(const UnnamedFile&) = delete;
    UnnamedFile& operator=(const UnnamedFile&) = delete;
    int fd() const { return mFd; }

private:
    int mFd;
};

// One file part of a multipart body, spooled while it arrived: to a file without a name where
// the file system has them, else to a named temporary file.
struct UploadedFile {
    QString fieldName;
    QString fileName;       // as the client named it
    QString contentType;
    QString temporaryPath;  // cleared by a handler that moved the file away; the server removes the rest
    qint64 size = 0;
    QString error;          // why the part could not be stored (disk full, ...); then no temporary file
    int status = 500;       // the status for that error: 413 past the upload quota
    std::shared_ptr<UnnamedFile> unnamed = nullptr;  // instead of temporaryPath: the bytes, in a file of no name

    bool received() const { return unnamed || !temporaryPath.isEmpty(); }
};

// A request as the route handlers see it: arguments decoded, file parts already on disk.
struct HttpRequest {
    QByteArray method;
    QString path;
    QMap<QString, QString> query;
    QMap<QString, QString> form;  // url-encoded body or multipart fields
    std::vector<UploadedFile> files;
    QMap<QByteArray, QByteArray> headers;  // names in lower case
    QString remoteAddress;                  // the client's IP address

    QByteArray header(const QByteArray& lowerCaseName) const { return headers.value(lowerCaseName); }
    // The first file part of that field, or null.
    UploadedFile* file(const QString& fieldName)
    {
        for (UploadedFile& f : files)
            if (f.fieldName == fieldName)
                return &f;
        return nullptr;
    }
};

}  // namespace platform
