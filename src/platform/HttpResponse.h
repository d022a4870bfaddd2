#pragma once
#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

namespace platform {

// What a route answers: bytes in memory, or a file the server streams (with ranges).
struct HttpResponse {
    int status = 200;
    QByteArray contentType;
    QByteArray body;
    QString filePath;        // when set, the file's content is sent instead of body
    QString attachmentName;  // when set, the browser is asked to save under this name
    QList<QPair<QByteArray, QByteArray>> headers;  // further response headers

    static HttpResponse data(QByteArray body, QByteArray contentType, int status = 200)
    {
        HttpResponse r;
        r.status = status;
        r.body = std::move(body);
        r.contentType = std::move(contentType);
        return r;
    }
    static HttpResponse text(int status, const QString& message)
    {
        return data(message.toUtf8(), QByteArrayLiteral("text/plain; charset=utf-8"), status);
    }
    static HttpResponse file(const QString& path, QByteArray contentType, const QString& attachmentName = {})
    {
        HttpResponse r;
        r.filePath = path;
        r.contentType = std::move(contentType);
        r.attachmentName = attachmentName;
        return r;
    }
};

}  // namespace platform
