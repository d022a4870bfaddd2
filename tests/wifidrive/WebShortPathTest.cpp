// Form POSTs take the server's short path: pipelined on one kept-alive connection, cut at any
// byte, and every request it does not take still served by the general parser.
#include "UploaderFixture.h"

#include <chrono>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace testsupport;

namespace {

const QByteArray kBoundary = "shortpathboundary";

QByteArray uploadRequest(const QString& name, const QByteArray& content, const QByteArray& extraHeaders = {},
                         const QByteArray& target = "/upload", const QByteArray& version = "HTTP/1.1")
{
    const QByteArray body = HttpTestClient::multipartBody(kBoundary, "/", name, content);
    return "POST " + target + " " + version + "\r\nHost: 127.0.0.1\r\nContent-Type: multipart/form-data; boundary="
           + kBoundary + "\r\nAccept: application/json\r\n" + extraHeaders + "Content-Length: "
           + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

QByteArray createRequest(const QByteArray& folder, const QByteArray& extraHeaders = {})
{
    const QByteArray body = "path=" + folder;
    return "POST /create HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/x-www-form-urlencoded\r\n"
           + extraHeaders + "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

// Everything the server sends until it closes the connection (closed) or nothing comes for 5 s.
QByteArray receiveAll(int fd, bool* closed = nullptr)
{
    timeval timeout{5, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    QByteArray received;
    char buffer[65536];
    ssize_t n;
    while ((n = ::recv(fd, buffer, sizeof buffer, 0)) > 0)
        received.append(buffer, n);
    if (closed)
        *closed = n == 0;
    return received;
}

// The answers in bytes, one after another: status, headers in lower case, body.
struct Answer {
    int status = 0;
    QMap<QByteArray, QByteArray> headers;
    QByteArray body;
};
QList<Answer> answers(QByteArray bytes)
{
    QList<Answer> list;
    for (;;) {
        const qsizetype end = bytes.indexOf("\r\n\r\n");
        if (end < 0)
            return list;
        Answer a;
        const QList<QByteArray> lines = bytes.left(end).split('\n');
        a.status = lines.value(0).split(' ').value(1).toInt();
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines[i].indexOf(':');
            a.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
        }
        const qsizetype length = a.headers.value("content-length").toLongLong();
        a.body = bytes.mid(end + 4, length);
        bytes = bytes.mid(end + 4 + length);
        list << a;
    }
}

}  // namespace

TEST_F(UploaderFixture, ShortPathServesPipelinedAndCutUpRequests)
{
    start();
    const QByteArray a(70000, 'a');
    const QByteArray b = "b\r\n--" + kBoundary.chopped(1) + "\r\n";  // almost a delimiter

    // Three requests in one write on one connection: each answer in order, on the same connection.
    int fd = client->connectSocket();
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(HttpTestClient::sendAll(fd, uploadRequest("A.wav", a) + uploadRequest("B.wav", b)
                                                + createRequest("/Made", "Connection: close\r\n")));
    const QList<Answer> three = answers(receiveAll(fd));
    ::close(fd);
    ASSERT_EQ(three.size(), 3);
    for (const Answer& answer : three)
        EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(three[0].headers.value("content-type"), "application/json");
    EXPECT_EQ(three[0].body, "{}");
    EXPECT_FALSE(three[0].headers.contains("connection"));
    EXPECT_EQ(three[2].headers.value("connection"), "close");
    EXPECT_EQ(readFile(lib + "/A.wav"), a);
    EXPECT_EQ(readFile(lib + "/B.wav"), b);
    EXPECT_TRUE(QFileInfo(lib + "/Made").isDir());

    // The same request cut in two at every byte of its header and around the body's parts.
    const QByteArray request = uploadRequest("Cut.wav", "cut", "Connection: close\r\n");
    const qsizetype headEnd = request.indexOf("\r\n\r\n") + 4;
    QList<qsizetype> cuts;
    for (qsizetype at = 1; at <= headEnd + 1; ++at)
        cuts << at;
    for (qsizetype at = request.indexOf("cut") - 3; at < request.size(); at += 7)
        cuts << at;
    for (const qsizetype at : cuts) {
        fd = client->connectSocket();
        ASSERT_GE(fd, 0);
        const int yes = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        ASSERT_TRUE(HttpTestClient::sendAll(fd, request.left(at)));
        // Only cuts into the body need the pause to be seen apart: the header waits whole anyway.
        if (at >= headEnd - 2 || at % 16 == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_TRUE(HttpTestClient::sendAll(fd, request.mid(at)));
        const QList<Answer> one = answers(receiveAll(fd));
        ::close(fd);
        ASSERT_EQ(one.size(), 1) << "cut at " << at;
        ASSERT_EQ(one[0].status, 200) << "cut at " << at;
        ASSERT_EQ(readFile(lib + "/Cut.wav"), "cut") << "cut at " << at;
        QFile::remove(lib + "/Cut.wav");
    }
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(",").toStdString();
}

TEST_F(UploaderFixture, RequestsTheShortPathLeavesAreServedAsBefore)
{
    start();
    // Encoded paths, queries and a client that waits for "100 Continue" go to the general parser.
    HttpReply r = client->raw(uploadRequest("Enc.wav", "e", "Connection: close\r\n", "/uplo%61d"));
    EXPECT_EQ(r.status, 200);
    r = client->raw(uploadRequest("Query.wav", "q", "Connection: close\r\n", "/upload?x=1"));
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(readFile(lib + "/Enc.wav"), "e");
    EXPECT_EQ(readFile(lib + "/Query.wav"), "q");

    const QByteArray waiting = uploadRequest("Wait.wav", "w", "Connection: close\r\nExpect: 100-continue\r\n");
    const qsizetype headEnd = waiting.indexOf("\r\n\r\n") + 4;
    int fd = client->connectSocket();
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(HttpTestClient::sendAll(fd, waiting.left(headEnd)));
    char interim[64] = {};
    ASSERT_GT(::recv(fd, interim, sizeof interim - 1, 0), 0);
    EXPECT_TRUE(QByteArray(interim).startsWith("HTTP/1.1 100 Continue"));
    ASSERT_TRUE(HttpTestClient::sendAll(fd, waiting.mid(headEnd)));
    const QList<Answer> waited = answers(receiveAll(fd));
    ::close(fd);
    ASSERT_FALSE(waited.isEmpty());
    EXPECT_EQ(waited.last().status, 200);
    EXPECT_EQ(readFile(lib + "/Wait.wav"), "w");

    // A chunked form body.
    r = client->raw("POST /create HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\nContent-Type: "
                    "application/x-www-form-urlencoded\r\nTransfer-Encoding: chunked\r\n\r\n5\r\npath=\r\n8\r\n/Chunked\r\n0\r\n\r\n");
    EXPECT_EQ(r.status, 200);
    EXPECT_TRUE(QFileInfo(lib + "/Chunked").isDir());

    // Two lengths: not taken as either, nothing stored.
    QByteArray twice = uploadRequest("Twice.wav", "t", "Connection: close\r\nContent-Length: 5\r\n");
    r = client->raw(twice);
    EXPECT_NE(r.status, 200);
    EXPECT_FALSE(QFile::exists(lib + "/Twice.wav"));

    // HTTP/1.0 without keep-alive: answered, then the server closes.
    fd = client->connectSocket();
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(HttpTestClient::sendAll(fd, uploadRequest("Old.wav", "o", {}, "/upload", "HTTP/1.0")));
    bool closed = false;
    const QList<Answer> old = answers(receiveAll(fd, &closed));
    ::close(fd);
    EXPECT_TRUE(closed);
    ASSERT_EQ(old.size(), 1);
    EXPECT_EQ(old[0].status, 200);
    EXPECT_EQ(old[0].headers.value("connection"), "close");
    EXPECT_EQ(readFile(lib + "/Old.wav"), "o");
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(",").toStdString();
}
