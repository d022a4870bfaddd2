#pragma once
#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <functional>

namespace platform {

// What a route answers: bytes in memory, a file the server streams (with ranges), or bytes
// made while they are sent (chunked, of unknown length).
struct HttpResponse {
    // Hands every piece to the writer in order; a false from the writer (the client went
    // away) or a false return ends the response early.
    using Writer = std::function<bool(const char* data, size_t length)>;
    using Producer = std::function<bool(const Writer& write)>;

    int status = 200;
    QByteArray contentType;
    QByteArray body;
    QString filePath;        // when set, the file's content is sent instead of body
    QString attachmentName;  // when set, the browser is asked to save under this name
    Producer producer;       // when set, its output is sent instead of body
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
    static HttpResponse streamed(Producer producer, QByteArray contentType, const QString& attachmentName = {})
    {
        HttpResponse r;
        r.producer = std::move(producer);
        r.contentType = std::move(contentType);
        r.attachmentName = attachmentName;
        return r;
    }
};

}  // namespace platform
