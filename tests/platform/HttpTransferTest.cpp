#include "platform/Background.h"
#include "platform/HttpTransfer.h"
#include "support/TempTree.h"

#include <QFile>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <gtest/gtest.h>
#include <memory>
#include <optional>

using platform::HttpTransfer;
using namespace testsupport;

namespace {
QByteArray patterned(qint64 size, int seed)
{
    QByteArray b(size, Qt::Uninitialized);
    for (qint64 i = 0; i < size; ++i)
        b[i] = char((i * 7 + seed + (i >> 12)) & 0xff);
    return b;
}

// An HTTP/1.1 server that plays one scripted part per connection, on this thread's event loop:
// it takes a request's head and as much of its body as the part asks, then answers (or not).
class ScriptedServer {
public:
    struct Part {
        qint64 readBodyBytes = -1;  // -1: the whole body; fewer and an empty answerHead hang up
        QByteArray answerHead;      // status line and headers, without the blank line
        QByteArray answerBody;      // sent, then the connection closes
        int trickleMs = 0;          // the answer goes out in 64 KiB pieces this far apart
        bool hold = false;          // the connection stays open after the answer
    };

    ScriptedServer()
    {
        mServer.listen(QHostAddress::LocalHost);
        QObject::connect(&mServer, &QTcpServer::newConnection, &mServer, [this] { accept(); });
    }
    QUrl url(const QString& path = QStringLiteral("/2/files/x")) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(mServer.serverPort()).arg(path));
    }
    void play(Part part)
    {
        mPart = std::move(part);
        head.clear();
        body.clear();
    }
    QByteArray head;  // of the last request
    QByteArray body;  // what arrived of it

private:
    void accept()
    {
        QTcpSocket* socket = mServer.nextPendingConnection();
        head.clear();
        body.clear();
        auto buffer = std::make_shared<QByteArray>();
        auto answered = std::make_shared<bool>(false);
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket, buffer, answered] {
            buffer->append(socket->readAll());
            if (*answered)
                return;
            const qsizetype end = buffer->indexOf("\r\n\r\n");
            if (head.isEmpty() && end < 0)
                return;
            if (head.isEmpty()) {
                head = buffer->left(end);
                buffer->remove(0, end + 4);
            }
            qint64 length = 0;
            for (const QByteArray& line : head.split('\n'))
                if (line.toLower().startsWith("content-length:"))
                    length = line.mid(15).trimmed().toLongLong();
            const qint64 wanted = mPart.readBodyBytes < 0 ? length : qMin(length, mPart.readBodyBytes);
            if (buffer->size() < wanted)
                return;
            body = buffer->left(wanted);
            *answered = true;
            answer(socket);
        });
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }

    void answer(QTcpSocket* socket)
    {
        if (mPart.answerHead.isEmpty()) {
            socket->abort();  // hangs up in the middle of the request
            socket->deleteLater();
            return;
        }
        // One request per connection, so each part meets a connection of its own.
        socket->write(mPart.answerHead + "\r\nConnection: close\r\n\r\n");
        const QByteArray out = mPart.answerBody;
        const bool hold = mPart.hold;
        if (mPart.trickleMs <= 0) {
            socket->write(out);
            if (!hold)
                socket->disconnectFromHost();
            return;
        }
        auto sent = std::make_shared<qint64>(0);
        auto* timer = new QTimer(socket);
        QObject::connect(timer, &QTimer::timeout, socket, [socket, timer, out, sent, hold] {
            const QByteArray piece = out.mid(*sent, 64 * 1024);
            *sent += piece.size();
            socket->write(piece);
            if (*sent < out.size())
                return;
            timer->stop();
            if (!hold)
                socket->disconnectFromHost();
        });
        timer->start(mPart.trickleMs);
    }

    QTcpServer mServer;
    Part mPart;
};

// Runs one exchange to its result.
struct Exchange {
    std::optional<HttpTransfer::Result> result;
    qint64 lastDone = -1;
    qint64 lastTotal = -1;
    bool go(HttpTransfer& transfer, HttpTransfer::Request request)
    {
        return transfer.start(
            std::move(request),
            [this](qint64 done, qint64 total) {
                lastDone = done;
                lastTotal = total;
            },
            [this](const HttpTransfer::Result& r) { result = r; });
    }
    bool wait() { return waitUntil([this] { return result.has_value(); }, 60000); }
};
}  // namespace

// A body read from a range of a file arrives whole and in order, a 2xx answer lands in its file
// (over what was there) with its headers, and the answer's tap sees exactly what landed.
TEST(HttpTransfer, StreamsARangeUpAndTheAnswerIntoAFile)
{
    ASSERT_TRUE(HttpTransfer::isAvailable());
    TempTree tree;
    const QByteArray source = patterned(5 * 1024 * 1024 + 333, 1);
    const qint64 offset = 1000, length = 3 * 1024 * 1024 + 7;
    ASSERT_TRUE(writeFile(tree.path("source.bin"), source));
    ASSERT_TRUE(writeFile(tree.path("answer.bin"), QByteArray(4 * 1024 * 1024, 'x')));
    const QByteArray answer = patterned(2 * 1024 * 1024 + 5, 2);

    ScriptedServer server;
    server.play({-1, "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(answer.size()) + "\r\nX-Result: {\"a\":1}",
                 answer});
    auto tappedAnswer = std::make_shared<QByteArray>();
    HttpTransfer::Request request;
    request.url = server.url();
    request.headers = {{"Authorization", "Bearer abc"}, {"Content-Type", "application/octet-stream"}};
    request.bodyFile = tree.path("source.bin");
    request.bodyOffset = offset;
    request.bodyLength = length;
    request.answerFile = tree.path("answer.bin");
    request.answerTap = [=](const char* data, qint64 size) { tappedAnswer->append(data, size); };
    HttpTransfer transfer;
    Exchange run;
    ASSERT_TRUE(run.go(transfer, request));
    EXPECT_FALSE(run.go(transfer, request)) << "one exchange at a time";
    ASSERT_TRUE(run.wait());

    const HttpTransfer::Result& r = *run.result;
    EXPECT_TRUE(r.error.isEmpty()) << r.error.toStdString();
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.header("x-result"), "{\"a\":1}");
    EXPECT_EQ(r.answerBytes, answer.size());
    EXPECT_TRUE(r.body.isEmpty());
    EXPECT_TRUE(server.body == source.mid(offset, length));
    EXPECT_TRUE(server.head.startsWith("POST /2/files/x HTTP/1.1"));
    EXPECT_TRUE(server.head.contains("Authorization: Bearer abc"));
    EXPECT_FALSE(server.head.contains("Expect:"));
    EXPECT_TRUE(readFile(tree.path("answer.bin")) == answer);
    EXPECT_TRUE(*tappedAnswer == answer);
    EXPECT_EQ(run.lastDone, length);
    EXPECT_FALSE(transfer.isRunning());

    // An error answer is kept in memory and leaves the answer file empty; a header without a
    // value is left out of the request.
    server.play({-1, "HTTP/1.1 409 Conflict\r\nContent-Type: application/json\r\nContent-Length: 16",
                 "{\"error\":\"nope\"}"});
    HttpTransfer::Request refused;
    refused.url = server.url();
    refused.headers = {{"Content-Type", {}}};
    refused.answerFile = tree.path("answer.bin");
    Exchange second;
    ASSERT_TRUE(second.go(transfer, refused));
    ASSERT_TRUE(second.wait());
    EXPECT_EQ(second.result->status, 409);
    EXPECT_EQ(second.result->body, "{\"error\":\"nope\"}");
    EXPECT_EQ(QFile(tree.path("answer.bin")).size(), 0);
    EXPECT_FALSE(server.head.toLower().contains("content-type"));
}

// What goes wrong on the way is told apart: a server that hangs up during the upload (no
// answer), an answer shorter than it announced (cut off), a range the file no longer has and an
// answer file that is gone (our side), and a cancel, which also stops a stalled answer.
TEST(HttpTransfer, FailuresOnTheWayAreToldApart)
{
    ASSERT_TRUE(HttpTransfer::isAvailable());
    TempTree tree;
    ASSERT_TRUE(writeFile(tree.path("source.bin"), patterned(4 * 1024 * 1024, 3)));
    ASSERT_TRUE(writeFile(tree.path("answer.bin"), {}));
    ScriptedServer server;
    HttpTransfer transfer;

    server.play({1024 * 1024, {}, {}});
    HttpTransfer::Request upload;
    upload.url = server.url();
    upload.bodyFile = tree.path("source.bin");
    upload.bodyLength = 4 * 1024 * 1024;
    Exchange hungUp;
    ASSERT_TRUE(hungUp.go(transfer, upload));
    ASSERT_TRUE(hungUp.wait());
    EXPECT_EQ(hungUp.result->status, 0);
    EXPECT_FALSE(hungUp.result->error.isEmpty());
    EXPECT_FALSE(hungUp.result->localError || hungUp.result->cancelled || hungUp.result->cutOff);

    const QByteArray answer = patterned(1024 * 1024, 4);
    server.play({-1, "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(answer.size()), answer.left(300000)});
    HttpTransfer::Request download;
    download.url = server.url();
    download.answerFile = tree.path("answer.bin");
    Exchange cut;
    ASSERT_TRUE(cut.go(transfer, download));
    ASSERT_TRUE(cut.wait());
    EXPECT_EQ(cut.result->status, 200);
    EXPECT_TRUE(cut.result->cutOff);
    EXPECT_EQ(cut.result->answerBytes, 300000);

    server.play({-1, "HTTP/1.1 200 OK\r\nContent-Length: 2", "{}"});
    HttpTransfer::Request beyond = upload;
    beyond.bodyOffset = 3 * 1024 * 1024;  // a million bytes past the end
    Exchange shortFile;
    ASSERT_TRUE(shortFile.go(transfer, beyond));
    ASSERT_TRUE(shortFile.wait());
    EXPECT_TRUE(shortFile.result->localError);
    EXPECT_TRUE(shortFile.result->error.contains(tree.path("source.bin"))) << shortFile.result->error.toStdString();

    HttpTransfer::Request nowhere = download;
    nowhere.answerFile = tree.path("gone/answer.bin");
    Exchange noFile;
    ASSERT_TRUE(noFile.go(transfer, nowhere));
    ASSERT_TRUE(noFile.wait());
    EXPECT_TRUE(noFile.result->localError);

    // A slow answer: cancelled once some of it has come; then one that never comes at all.
    const QByteArray slow = patterned(8 * 1024 * 1024, 5);
    server.play({-1, "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(slow.size()), slow, 50});
    Exchange cancelled;
    ASSERT_TRUE(cancelled.go(transfer, download));
    ASSERT_TRUE(waitUntil([&] { return cancelled.lastDone > 0; }, 30000));
    transfer.cancel();
    ASSERT_TRUE(cancelled.wait());
    EXPECT_TRUE(cancelled.result->cancelled);
    EXPECT_LT(cancelled.result->answerBytes, slow.size());

    server.play({-1, "HTTP/1.1 200 OK\r\nContent-Length: 10", {}, 0, true});
    Exchange stalled;
    // Squeezed to one thread, the shared pool still runs other work while a transfer waits.
    const int threads = QThreadPool::globalInstance()->maxThreadCount();
    QThreadPool::globalInstance()->setMaxThreadCount(1);
    ASSERT_TRUE(stalled.go(transfer, download));
    ASSERT_TRUE(waitUntil([&] { return !server.head.isEmpty(); }, 30000));
    bool ran = false;
    QObject context;
    platform::runInBackground(&context, [] { return true; }, [&](bool done) { ran = done; });
    EXPECT_TRUE(waitUntil([&] { return ran; }, 30000));
    QThreadPool::globalInstance()->setMaxThreadCount(threads);
    transfer.cancel();
    ASSERT_TRUE(stalled.wait());
    EXPECT_TRUE(stalled.result->cancelled);

    // A transfer that goes away while running gives no result and stops its exchange.
    Exchange orphan;
    {
        HttpTransfer doomed;
        server.play({-1, "HTTP/1.1 200 OK\r\nContent-Length: 10", {}, 0, true});
        ASSERT_TRUE(orphan.go(doomed, download));
        ASSERT_TRUE(waitUntil([&] { return !server.head.isEmpty(); }, 30000));
    }
    waitUntil([] { return false; }, 300);
    EXPECT_FALSE(orphan.result.has_value());
}
