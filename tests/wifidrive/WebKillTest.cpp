// The drive's process killed in the middle of an upload, and items moved across file systems
// by the web routes.
#include "UploaderFixture.h"
#include "support/BuildPaths.h"
#include "support/SmallMount.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QThread>
#include <csignal>
#include <sys/socket.h>
#include <sys/mount.h>
#include <thread>
#include <unistd.h>

using namespace testsupport;

namespace {

constexpr int kKills = 4;

QMap<QString, QByteArray> files(const QString& folder)
{
    QMap<QString, QByteArray> found;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        found.insert(path.mid(folder.size() + 1), readFile(path));
    }
    return found;
}

QByteArray randomBytes(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}

// `wavelocker --serve` on a free port; the port once it said so.
int startServer(QProcess& serve, const QString& lib)
{
    serve.start((testsupport::binDir() + QStringLiteral("/wavelocker")), {"--serve", "--library", lib, "--port", "0"});
    QByteArray log;
    const QRegularExpression started(QStringLiteral("Web server started on port (\\d+)"));
    QRegularExpressionMatch match;
    waitUntil([&] {
        serve.waitForReadyRead(50);
        log += serve.readAllStandardError();
        match = started.match(QString::fromUtf8(log));
        return match.hasMatch();
    }, 20000);
    return match.hasMatch() ? match.captured(1).toInt() : 0;
}

// Sends an upload in pieces, slowly enough that a kill lands somewhere inside it.
void sendUpload(int port, const QByteArray& content)
{
    const HttpTestClient client(port);
    const QByteArray boundary = "killboundary";
    const QByteArray body = HttpTestClient::multipartBody(boundary, "/", "big.wav", content);
    const int fd = client.connectSocket();
    if (fd < 0)
        return;
    bool sent = HttpTestClient::sendAll(fd, HttpTestClient::uploadHead(boundary, body.size(), "application/json"));
    for (qsizetype at = 0; sent && at < body.size(); at += 1 << 20) {
        sent = HttpTestClient::sendAll(fd, body.mid(at, 1 << 20));
        QThread::msleep(20);
    }
    char reply[256];
    while (sent && ::recv(fd, reply, sizeof reply, 0) > 0) {
    }
    ::close(fd);
}

}  // namespace

TEST(WebKill, ServerKilledMidUploadLeavesTheLibraryWholeAndTheNextStartCleansUp)
{
    TempTree tree;
    const QString lib = tree.path("lib");
    writeFile(lib + "/keep.wav", "kept");
    const QString spool = tree.path(".wavelocker-uploads");
    const QByteArray content = randomBytes(24 << 20);
    const QMap<QString, QByteArray> before = files(lib);

    // One whole run gives the upload's duration and its result.
    QProcess serve;
    const int port = startServer(serve, lib);
    ASSERT_GT(port, 0);
    QElapsedTimer timer;
    timer.start();
    sendUpload(port, content);
    const qint64 duration = std::max<qint64>(timer.elapsed(), 50);
    QMap<QString, QByteArray> complete = before;
    complete.insert("big.wav", content);
    ASSERT_EQ(files(lib), complete);
    serve.kill();
    serve.waitForFinished();

    for (int kill = 0; kill < kKills; ++kill) {
        SCOPED_TRACE(kill);
        QFile::remove(lib + "/big.wav");
        QProcess server;
        const int p = startServer(server, lib);
        ASSERT_GT(p, 0);
        const int delay = int(QRandomGenerator::global()->bounded(duration));
        std::thread killer([&server, delay] {
            QThread::msleep(delay);
            ::kill(pid_t(server.processId()), SIGKILL);
        });
        sendUpload(p, content);
        killer.join();
        server.waitForFinished();
        const QMap<QString, QByteArray> after = files(lib);
        EXPECT_TRUE(after == before || after == complete) << after.keys().join(' ').toStdString();

        // What the killed server was receiving goes at the next start, of the tool or the app.
        ASSERT_EQ(runProgram("wavelocker-tool", {"--library", lib, "ls"}).exitCode, 0);
        EXPECT_TRUE(QDir(spool).entryList(QDir::Files | QDir::Hidden | QDir::System).isEmpty())
            << QDir(spool).entryList(QDir::Files | QDir::Hidden).join(' ').toStdString();
        EXPECT_EQ(files(lib), after);
    }
}

TEST_F(UploaderFixture, MovesAndUploadsReachAnotherFileSystemInsideTheLibrary)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "mounting a tmpfs needs root";
    testsupport::SmallMount disk(lib + "/Card", "4m");
    ASSERT_TRUE(disk.mounted());
    writeFile(lib + "/Loops/a.wav", "loop a");
    writeFile(lib + "/Loops/Deep/b.wav", "loop b");
    QFile::link("a.wav", lib + "/Loops/link.wav");
    const QMap<QString, QByteArray> loops = files(lib + "/Loops");
    start();

    // A whole folder crosses over: copied, checked, then the original goes.
    HttpReply r = client->postForm("/move", {{"oldPath", "/Loops"}, {"newPath", "/Card/Loops"}});
    ASSERT_EQ(r.status, 200) << r.body.constData();
    EXPECT_FALSE(QFileInfo::exists(lib + "/Loops"));
    EXPECT_EQ(files(lib + "/Card/Loops"), loops);
    EXPECT_EQ(QFileInfo(lib + "/Card/Loops/link.wav").symLinkTarget(), lib + "/Card/Loops/a.wav");

    // A name taken on the other side gets the next free one; nothing is replaced.
    writeFile(lib + "/a.wav", "top a");
    r = client->postForm("/move", {{"oldPath", "/a.wav"}, {"newPath", "/Card/Loops/a.wav"}});
    ASSERT_EQ(r.status, 200) << r.body.constData();
    EXPECT_EQ(readFile(lib + "/Card/Loops/a.wav"), "loop a");
    EXPECT_EQ(readFile(lib + "/Card/Loops/a (1).wav"), "top a");

    // Uploads land there too, and a move that does not fit leaves the source whole.
    EXPECT_EQ(client->upload("/Card", "up.wav", "uploaded").status, 200);
    EXPECT_EQ(readFile(lib + "/Card/up.wav"), "uploaded");
    const QByteArray big = randomBytes(5 << 20);
    writeFile(lib + "/big.wav", big);
    r = client->postForm("/move", {{"oldPath", "/big.wav"}, {"newPath", "/Card/big.wav"}});
    EXPECT_EQ(r.status, 500);
    EXPECT_TRUE(r.body.startsWith("Failed moving \"/big.wav\" to \"/Card/big.wav\" (")) << r.body.constData();
    EXPECT_EQ(readFile(lib + "/big.wav"), big);
    EXPECT_EQ(QDir(lib + "/Card").entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList({"Loops", "up.wav"}));
}
