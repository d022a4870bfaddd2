#pragma once
#include <QByteArray>
#include <QMap>
#include <QString>
#include <vector>

namespace platform {

// One file part of a multipart body, spooled to a temporary file while it arrived.
struct UploadedFile {
    QString fieldName;
    QString fileName;       // as the client named it
    QString contentType;
    QString temporaryPath;  // cleared by a handler that moved the file away; the server removes the rest
    qint64 size = 0;
    QString error;          // why the part could not be stored (disk full, ...); then no temporary file
    int status = 500;       // the status for that error: 413 past the upload quota
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
