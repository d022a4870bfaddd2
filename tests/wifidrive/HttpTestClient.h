#pragma once
#include <QByteArray>
#include <QList>
#include <QMap>
#include <QPair>
#include <QString>

namespace testsupport {

struct HttpReply {
    int status = 0;
    QMap<QByteArray, QByteArray> headers;  // names in lower case
    QByteArray body;                       // de-chunked, still compressed if it was
    QByteArray header(const QByteArray& name) const { return headers.value(name); }
};

using Fields = QList<QPair<QString, QString>>;

// A blocking HTTP/1.1 client over plain sockets to 127.0.0.1, one connection per request, so a
// test controls every byte that goes out (raw paths, NUL bytes, bodies cut off).
class HttpTestClient {
public:
    explicit HttpTestClient(int port) : mPort(port) {}

    HttpReply get(const QByteArray& target, const QList<QPair<QByteArray, QByteArray>>& headers = {}) const;
    HttpReply postForm(const QByteArray& path, const Fields& fields) const;
    HttpReply upload(const QString& folder, const QString& fileName, const QByteArray& content,
                     const QByteArray& accept = "application/json") const;
    HttpReply raw(const QByteArray& request) const;

    // Connects and returns the socket (closed by the caller), for requests sent in pieces.
    int connectSocket() const;
    static bool sendAll(int fd, const QByteArray& bytes);

    static QByteArray multipartBody(const QByteArray& boundary, const QString& folder, const QString& fileName,
                                    const QByteArray& content);
    static QByteArray uploadHead(const QByteArray& boundary, qint64 contentLength, const QByteArray& accept);

private:
    int mPort;
};

}  // namespace testsupport
