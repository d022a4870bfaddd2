// Resumable uploads over real HTTP (curl and raw sockets), and request bodies that trickle in.
#include "UploaderFixture.h"
#include "platform/HttpServerFront.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>
#include <QUrl>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace testsupport;

namespace {

const QByteArray kId = "0123456789abcdef0123";

QByteArray randomBytes(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}

QByteArray chunkTarget(const QByteArray& id, qint64 offset, qint64 size, const QString& folder, const QString& name)
{
    return "/upload-chunk?id=" + id + "&offset=" + QByteArray::number(offset) + "&size=" + QByteArray::number(size)
           + "&path=" + QUrl::toPercentEncoding(folder) + "&name=" + QUrl::toPercentEncoding(name);
}

QByteArray chunkHead(const QByteArray& target, qint64 length)
{
    return "POST " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\nContent-Length: "
           + QByteArray::number(length) + "\r\n\r\n";
}

// Sends one piece with curl, as a script would; the reply's body.
QByteArray curlPiece(int port, const QByteArray& target, const QString& file)
{
    QProcess p;
    p.start(QStringLiteral("curl"), {"-s", "--max-time", "20", "--data-binary", "@" + file,
                                     QStringLiteral("http://127.0.0.1:%1").arg(port) + QString::fromLatin1(target)});
    p.waitForFinished(25000);
    return p.readAllStandardOutput();
}

}  // namespace

TEST_F(UploaderFixture, ResumableUploadSurvivesADroppedConnectionAndArrivesWhole)
{
    start();
    const QByteArray content = randomBytes(6 << 20);
    const qint64 size = content.size();
    writeFile(lib + "/Takes/Big.wav", "an older take");

    // The first piece's connection drops half-way: what arrived is kept.
    int fd = client->connectSocket();
    ASSERT_TRUE(HttpTestClient::sendAll(fd, chunkHead(chunkTarget(kId, 0, size, "/Takes", "Big.wav"), 4 << 20)));
    ASSERT_TRUE(HttpTestClient::sendAll(fd, content.left(1 << 20)));
    QThread::msleep(200);
    ::close(fd);
    qint64 held = 0;
    ASSERT_TRUE(waitUntil([&] {
        const HttpReply r = client->get("/upload-chunk?id=" + kId);
        held = QJsonDocument::fromJson(r.body).object().value("offset").toInteger();
        return held == (1 << 20);
    })) << held;
    EXPECT_FALSE(QFile::exists(lib + "/Takes/Big (1).wav"));

    // A piece that does not start where the held bytes end is refused and says where they end.
    HttpReply r = client->raw(chunkHead(chunkTarget(kId, 0, size, "/Takes", "Big.wav"), 10) + "0123456789");
    EXPECT_EQ(r.status, 409);
    EXPECT_EQ(r.body, "{\"offset\":1048576}");

    // The rest with curl, in two pieces; the last one stores the file under a free name.
    writeFile(tree.path("piece1"), content.mid(held, 2 << 20));
    writeFile(tree.path("piece2"), content.mid(held + (2 << 20)));
    EXPECT_EQ(curlPiece(uploader->port(), chunkTarget(kId, held, size, "/Takes", "Big.wav"), tree.path("piece1")),
              "{\"offset\":3145728}");
    EXPECT_EQ(curlPiece(uploader->port(), chunkTarget(kId, held + (2 << 20), size, "/Takes", "Big.wav"), tree.path("piece2")),
              "{\"offset\":6291456,\"path\":\"/Takes/Big (1).wav\"}");
    EXPECT_EQ(readFile(lib + "/Takes/Big (1).wav"), content);
    EXPECT_EQ(readFile(lib + "/Takes/Big.wav"), "an older take");
    EXPECT_TRUE(waitForCall("upload|" + lib + "/Takes/Big (1).wav"));
    // A client that missed that answer learns it, by asking or by sending the last piece again;
    // the file is not stored twice.
    EXPECT_EQ(client->get("/upload-chunk?id=" + kId).body, "{\"offset\":6291456,\"path\":\"/Takes/Big (1).wav\"}");
    EXPECT_EQ(curlPiece(uploader->port(), chunkTarget(kId, held + (2 << 20), size, "/Takes", "Big.wav"), tree.path("piece2")),
              "{\"offset\":6291456,\"path\":\"/Takes/Big (1).wav\"}");
    EXPECT_FALSE(QFile::exists(lib + "/Takes/Big (2).wav"));
    // Only that answer stays behind, no bytes.
    EXPECT_EQ(leftovers(), QStringList{".resume-" + QString::fromLatin1(kId) + ".done"});
    // The same id for another file is a new upload.
    writeFile(tree.path("other"), "another take");
    EXPECT_EQ(curlPiece(uploader->port(), chunkTarget(kId, 0, 12, "/Takes", "Other.wav"), tree.path("other")),
              "{\"offset\":12,\"path\":\"/Takes/Other.wav\"}");
    EXPECT_EQ(readFile(lib + "/Takes/Other.wav"), "another take");
    // The same file again from its first piece, under the same id, is a new upload too: it is
    // not answered from the record of the first one.
    EXPECT_EQ(curlPiece(uploader->port(), chunkTarget(kId, 0, 12, "/Takes", "Other.wav"), tree.path("other")),
              "{\"offset\":12,\"path\":\"/Takes/Other (1).wav\"}");
    EXPECT_EQ(readFile(lib + "/Takes/Other (1).wav"), "another take");
}

TEST_F(UploaderFixture, ResumableUploadRefusesHostileIdsNamesAndSizes)
{
    writeFile(lib + "/keep.wav", "keep");
    uploader->setUploadQuota(1000);
    start();
    // Ids that could name another file, hidden names, folders outside, more bytes than announced.
    for (const QByteArray& id : {QByteArray("../../keep.wav0000000"), QByteArray("short"), QByteArray("a%2Fb0123456789abcdef")})
        EXPECT_EQ(client->raw(chunkHead(chunkTarget(id, 0, 4, "/", "x.wav"), 4) + "abcd").status, 400) << id.constData();
    EXPECT_EQ(client->get("/upload-chunk?id=..%2F..%2Fkeep.wav").status, 400);
    EXPECT_EQ(client->raw(chunkHead(chunkTarget(kId, 0, 4, "/", ".hidden"), 4) + "abcd").status, 403);
    EXPECT_EQ(client->raw(chunkHead(chunkTarget(kId, 0, 4, "/", "a/b.wav"), 4) + "abcd").status, 400);
    EXPECT_EQ(client->raw(chunkHead(chunkTarget(kId, 0, 4, "/../outside", "x.wav"), 4) + "abcd").status, 400);
    EXPECT_EQ(client->raw(chunkHead(chunkTarget(kId, 0, 4, "/Desktop File Sharing/../..", "x.wav"), 4) + "abcd").status, 400);
    EXPECT_EQ(client->raw(chunkHead(chunkTarget(kId, 0, 5000, "/", "big.wav"), 4) + "abcd").status, 413);
    HttpReply r = client->raw(chunkHead(chunkTarget(kId, 0, 4, "/", "x.wav"), 8) + "abcdefgh");
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(client->get("/upload-chunk?id=" + kId).body, "{\"offset\":4}");
    // The vetoes hold as for "/upload": nothing takes the documents link's name.
    QFile::remove(lib + "/Desktop File Sharing");
    r = client->raw(chunkHead(chunkTarget("fedcba9876543210", 0, 1, "/", "Desktop File Sharing"), 1) + "x");
    EXPECT_EQ(r.status, 403);
    EXPECT_FALSE(QFileInfo::exists(lib + "/Desktop File Sharing"));
    // A link planted under a part's name is never written through.
    QFile::link(lib + "/keep.wav", uploadFolder() + "/.resume-plantedplanted0000");
    r = client->raw(chunkHead(chunkTarget("plantedplanted0000", 0, 4, "/", "p.wav"), 4) + "evil");
    EXPECT_EQ(r.status, 500);
    EXPECT_EQ(readFile(lib + "/keep.wav"), "keep");
}

TEST_F(UploaderFixture, ABodyThatTricklesInIsCutOffWhileOthersAreServed)
{
    uploader->setTransferWindow(2);
    start();
    // One byte every 300 ms: never stalled long enough for a timeout of its own, but far
    // below what a window must bring.
    const int fd = client->connectSocket();
    ASSERT_TRUE(HttpTestClient::sendAll(fd, chunkHead(chunkTarget(kId, 0, 100000, "/", "slow.wav"), 100000)));
    QElapsedTimer timer;
    timer.start();
    bool closed = false;
    int answeredMeanwhile = 0;
    // Within half the default window only the 2 s one set here can end the body.
    while (!closed && timer.elapsed() < platform::HttpServerFront::kTransferWindowSeconds * 1000 / 2) {
        closed = !HttpTestClient::sendAll(fd, "x");
        char reply[512];
        const ssize_t n = ::recv(fd, reply, sizeof reply, MSG_DONTWAIT);
        closed = closed || n == 0 || (n > 0 && QByteArray(reply, n).startsWith("HTTP/1.1 400"));
        // Meanwhile the drive answers others, while the trickle still holds its worker.
        EXPECT_EQ(client->get("/list?path=/").status, 200);
        pollfd p{fd, POLLIN, 0};
        answeredMeanwhile += !closed && ::poll(&p, 1, 0) == 0;
        QThread::msleep(300);
    }
    ::close(fd);
    EXPECT_TRUE(closed);
    EXPECT_GT(answeredMeanwhile, 0);
    EXPECT_FALSE(QFile::exists(lib + "/slow.wav"));
}
