#include "HttpTestClient.h"

#include <QUrl>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace testsupport {
namespace {

HttpReply parse(const QByteArray& bytes)
{
    HttpReply reply;
    const qsizetype headEnd = bytes.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return reply;
    const QList<QByteArray> lines = bytes.left(headEnd).split('\n');
    const QList<QByteArray> statusLine = lines.value(0).trimmed().split(' ');
    reply.status = statusLine.value(1).toInt();
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0)
            reply.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
    }
    QByteArray rest = bytes.mid(headEnd + 4);
    if (reply.header("transfer-encoding") == "chunked") {
        QByteArray body;
        qsizetype pos = 0;
        for (;;) {
            const qsizetype lineEnd = rest.indexOf("\r\n", pos);
            if (lineEnd < 0)
                break;
            bool ok = false;
            const qsizetype size = rest.mid(pos, lineEnd - pos).split(';').value(0).toLongLong(&ok, 16);
            if (!ok || size == 0)
                break;
            body += rest.mid(lineEnd + 2, size);
            pos = lineEnd + 2 + size + 2;
        }
        reply.body = body;
    } else if (reply.headers.contains("content-length")) {
        reply.body = rest.left(reply.header("content-length").toLongLong());
    } else {
        reply.body = rest;
    }
    return reply;
}

QByteArray formEncode(const Fields& fields)
{
    QByteArray body;
    for (const auto& [key, value] : fields) {
        if (!body.isEmpty())
            body += '&';
        body += QUrl::toPercentEncoding(key) + '=' + QUrl::toPercentEncoding(value);
    }
    return body;
}

}  // namespace

int HttpTestClient::connectSocket() const
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(quint16(mPort));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool HttpTestClient::sendAll(int fd, const QByteArray& bytes)
{
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.constData() + sent, size_t(bytes.size() - sent), MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        sent += n;
    }
    return true;
}

HttpReply HttpTestClient::raw(const QByteArray& request) const
{
    const int fd = connectSocket();
    if (fd < 0)
        return {};
    QByteArray received;
    if (sendAll(fd, request)) {
        char buffer[65536];
        ssize_t n;
        while ((n = ::recv(fd, buffer, sizeof buffer, 0)) > 0)
            received.append(buffer, n);
    }
    ::close(fd);
    return parse(received);
}

HttpReply HttpTestClient::get(const QByteArray& target, const QList<QPair<QByteArray, QByteArray>>& headers) const
{
    QByteArray request = "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n";
    for (const auto& [name, value] : headers)
        request += name + ": " + value + "\r\n";
    return raw(request + "\r\n");
}

HttpReply HttpTestClient::postForm(const QByteArray& path, const Fields& fields) const
{
    const QByteArray body = formEncode(fields);
    return raw("POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n"
               "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: "
               + QByteArray::number(body.size()) + "\r\n\r\n" + body);
}

QByteArray HttpTestClient::multipartBody(const QByteArray& boundary, const QString& folder, const QString& fileName,
                                         const QByteArray& content)
{
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"path\"\r\n\r\n" + folder.toUtf8() + "\r\n--"
           + boundary + "\r\nContent-Disposition: form-data; name=\"files[]\"; filename=\"" + fileName.toUtf8()
           + "\"\r\nContent-Type: application/octet-stream\r\n\r\n" + content + "\r\n--" + boundary + "--\r\n";
}

QByteArray HttpTestClient::uploadHead(const QByteArray& boundary, qint64 contentLength, const QByteArray& accept)
{
    QByteArray head = "POST /upload HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n"
                      "Content-Type: multipart/form-data; boundary="
                      + boundary + "\r\nContent-Length: " + QByteArray::number(contentLength) + "\r\n";
    if (!accept.isEmpty())
        head += "Accept: " + accept + "\r\n";
    return head + "\r\n";
}

HttpReply HttpTestClient::upload(const QString& folder, const QString& fileName, const QByteArray& content,
                                 const QByteArray& accept) const
{
    const QByteArray boundary = "----wavelockertestboundary7MA4YWxk";
    const QByteArray body = multipartBody(boundary, folder, fileName, content);
    return raw(uploadHead(boundary, body.size(), accept) + body);
}

}  // namespace testsupport
