// Hostile pages, foreign host names, links and hidden folders, slow and flooding clients, and
// libraries on file systems of their own, all against the real server on 127.0.0.1.
#include "UploaderFixture.h"
#include "support/SmallMount.h"

#include <QDirIterator>
#include <QRegularExpression>
#include <QSysInfo>
#include <QUrl>
#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace testsupport;

namespace {

QByteArray formBody(const Fields& fields)
{
    QByteArray body;
    for (const auto& [key, value] : fields)
        body += (body.isEmpty() ? "" : "&") + QUrl::toPercentEncoding(key) + '=' + QUrl::toPercentEncoding(value);
    return body;
}

// A POST with chosen Host, Origin and Referer headers (empty ones are left out).
QByteArray post(const QByteArray& path, const QByteArray& body, const QByteArray& type, const QByteArray& host,
                const QByteArray& origin, const QByteArray& referer = {})
{
    QByteArray request = "POST " + path + " HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\nContent-Type: " + type
                         + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n";
    if (!origin.isEmpty())
        request += "Origin: " + origin + "\r\n";
    if (!referer.isEmpty())
        request += "Referer: " + referer + "\r\n";
    return request + "\r\n" + body;
}

QByteArray getWithHost(const QByteArray& target, const QByteArray& host)
{
    return "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\n\r\n";
}

QByteArray multipart(const QByteArray& boundary, const QString& folder, const QList<QPair<QString, QByteArray>>& files)
{
    QByteArray body = "--" + boundary + "\r\nContent-Disposition: form-data; name=\"path\"\r\n\r\n" + folder.toUtf8() + "\r\n";
    for (const auto& [name, content] : files)
        body += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"files[]\"; filename=\"" + name.toUtf8()
                + "\"\r\nContent-Type: application/octet-stream\r\n\r\n" + content + "\r\n";
    return body + "--" + boundary + "--\r\n";
}

const QByteArray kBoundary = "guardboundary42";
const QByteArray kMultipartType = "multipart/form-data; boundary=" + kBoundary;
const QByteArray kFormType = "application/x-www-form-urlencoded";

qint64 residentKiB()
{
    const QByteArray status = readFile(QStringLiteral("/proc/self/status"));
    for (const QByteArray& line : status.split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    return -1;
}

QStringList everything(const QString& folder)
{
    QStringList entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        entries << it.next().mid(folder.size());
    entries.sort();
    return entries;
}

}  // namespace

TEST_F(UploaderFixture, ForeignPagesAndHostNamesAreRefusedOnEveryRoute)
{
    writeFile(lib + "/a.wav", "A");
    writeFile(lib + "/b.wav", "B");
    QDir().mkpath(lib + "/Loops");
    start();
    const QByteArray own = "127.0.0.1:" + QByteArray::number(uploader->port());
    const QByteArray ownOrigin = "http://" + own;
    const QStringList before = everything(lib);

    const QList<QPair<QByteArray, QByteArray>> changes = {
        {"/upload", multipart(kBoundary, "/", {{"evil.wav", "E"}})},
        {"/move", formBody({{"oldPath", "a.wav"}, {"newPath", "moved.wav"}})},
        {"/delete", formBody({{"path", "a.wav"}})},
        {"/create", formBody({{"path", "Evil"}})},
        {"/upload-chunk?id=evilevilevilevil&offset=0&size=1&path=/&name=evil.wav", "E"},
        {"/login", formBody({{"password", ""}})},
    };
    for (const auto& [route, body] : changes) {
        const QByteArray type = route == "/upload" ? kMultipartType : route.startsWith("/upload-chunk") ? "application/octet-stream" : kFormType;
        for (const auto& [origin, referer] : QList<QPair<QByteArray, QByteArray>>{
                 {"http://evil.example", {}},
                 {"null", {}},
                 {"http://127.0.0.1:1", {}},  // another port is another site
                 {"https://" + own, {}},
                 {{}, "http://evil.example/attack.html"},
                 {"http://evil.example", ownOrigin + "/"},  // a Referer does not override the Origin
             }) {
            const HttpReply r = client->raw(post(route, body, type, own, origin, referer));
            EXPECT_EQ(r.status, 403) << route.constData() << " origin " << origin.constData() << " referer " << referer.constData();
            EXPECT_EQ(r.body, "Changes from another web site are not allowed");
        }
        // A page on another name for this machine is refused before anything else.
        const HttpReply rebound = client->raw(post(route, body, type, "evil.example:" + QByteArray::number(uploader->port()),
                                                   "http://evil.example:" + QByteArray::number(uploader->port())));
        EXPECT_EQ(rebound.status, 403) << route.constData();
    }
    for (const QByteArray& target : {QByteArray("/"), QByteArray("/list?path=/"), QByteArray("/download?path=a.wav"),
                                     QByteArray("/index.html")}) {
        for (const QByteArray& host : {QByteArray("evil.example"), "evil.example:" + QByteArray::number(uploader->port()),
                                       QByteArray("127.0.0.1.evil.example"), QByteArray("2130706433"), QByteArray("")}) {
            const HttpReply r = client->raw(getWithHost(target, host));
            EXPECT_EQ(r.status, 403) << target.constData() << " host " << host.constData();
            EXPECT_FALSE(r.body.contains("a.wav")) << target.constData();
        }
    }
    EXPECT_EQ(everything(lib), before);
    EXPECT_TRUE(delegate.calls().filter(QRegularExpression("^(upload|move|delete|create)\\|")).isEmpty());

    // The drive's own page, and the names this machine goes by, still work.
    for (const QByteArray& host : {own, "localhost:" + QByteArray::number(uploader->port()),
                                   "[::1]:" + QByteArray::number(uploader->port()),
                                   QSysInfo::machineHostName().toUtf8() + ".local:" + QByteArray::number(uploader->port())})
        EXPECT_EQ(client->raw(getWithHost("/list?path=/", host)).status, 200) << host.constData();
    EXPECT_EQ(client->raw(post("/create", formBody({{"path", "Mine"}}), kFormType, own, ownOrigin)).status, 200);
    EXPECT_EQ(client->raw(post("/move", formBody({{"oldPath", "b.wav"}, {"newPath", "c.wav"}}), kFormType, own, {},
                               ownOrigin + "/?path=%2F")).status, 200);
    EXPECT_EQ(client->raw(post("/upload", multipart(kBoundary, "/", {{"up.wav", "U"}}), kMultipartType, own, ownOrigin)).status, 200);
    EXPECT_TRUE(QFileInfo(lib + "/Mine").isDir());
    EXPECT_EQ(readFile(lib + "/c.wav"), "B");
    EXPECT_EQ(readFile(lib + "/up.wav"), "U");
}

TEST_F(UploaderFixture, LinksAndHiddenFoldersDoNotOpenAWayAround)
{
    writeFile(lib + "/music/a.wav", "A");
    writeFile(lib + "/.vault/secret.wav", "S");
    QDir().mkpath(lib + "/Trash");
    QDir().mkpath(lib + "/Box");
    QFile::link("..", lib + "/music/linkup");
    QFile::link("../.vault", lib + "/music/vlink");
    ASSERT_TRUE(QFileInfo(lib + "/music/linkup").isSymLink());
    ::mkfifo(QFile::encodeName(lib + "/music/pipe.wav").constData(), 0644);
    start();
    const QString link = lib + "/Desktop File Sharing";

    // The documents link under another name of its folder is still the documents link.
    HttpReply r = client->postForm("/move", {{"oldPath", "music/linkup/Desktop File Sharing"}, {"newPath", "Shared"}});
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Moving \"music/linkup/Desktop File Sharing\" to \"Shared\" is not permitted");
    EXPECT_EQ(client->postForm("/move", {{"oldPath", "music/linkup/Trash"}, {"newPath", "Bin"}}).status, 403);
    EXPECT_EQ(client->postForm("/delete", {{"path", "music/linkup/Desktop File Sharing"}}).status, 403);
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_TRUE(QFileInfo(lib + "/Trash").isDir());

    // Hidden in any part, named directly or reached through a link.
    const QList<QByteArray> gets = {"/list?path=.vault", "/list?path=music/vlink", "/download?path=.vault/secret.wav",
                                    "/download?path=music/vlink/secret.wav", "/download?path=music/linkup/.vault/secret.wav"};
    for (const QByteArray& target : gets) {
        r = client->get(target);
        EXPECT_EQ(r.status, 403) << target.constData();
        EXPECT_NE(r.body, "S");
    }
    EXPECT_FALSE(client->get("/list?path=music").body.contains("vlink"));
    const QList<QPair<QByteArray, Fields>> posts = {
        {"/create", {{"path", ".vault/x"}}},
        {"/create", {{"path", "music/vlink/x"}}},
        {"/move", {{"oldPath", "music"}, {"newPath", ".vault/music"}}},
        {"/move", {{"oldPath", "music/a.wav"}, {"newPath", "music/vlink/a.wav"}}},
        {"/move", {{"oldPath", ".vault/secret.wav"}, {"newPath", "out.wav"}}},
        {"/move", {{"oldPath", "music/vlink/secret.wav"}, {"newPath", "out.wav"}}},
        {"/delete", {{"path", ".vault/secret.wav"}}},
        {"/delete", {{"path", "music/vlink/secret.wav"}}},
    };
    for (const auto& [route, fields] : posts)
        EXPECT_EQ(client->postForm(route, fields).status, 403) << route.constData() << " " << fields.value(0).second.toStdString();
    EXPECT_EQ(client->upload(".vault", "x.wav", "x").status, 403);
    EXPECT_EQ(client->upload("music/vlink", "x.wav", "x").status, 403);
    EXPECT_EQ(everything(lib + "/.vault"), QStringList{"/secret.wav"});
    EXPECT_TRUE(QFileInfo(lib + "/music/a.wav").isFile());

    // Nothing may take the documents link's name while it is away: the next start would put
    // the link back over it.
    ASSERT_TRUE(QFile::remove(link));
    EXPECT_EQ(client->postForm("/move", {{"oldPath", "Box"}, {"newPath", "music/linkup/Desktop File Sharing"}}).status, 403);
    EXPECT_EQ(client->postForm("/create", {{"path", "Desktop File Sharing"}}).status, 403);
    EXPECT_EQ(client->upload("/", "Desktop File Sharing", "x").status, 403);
    EXPECT_FALSE(QFileInfo::exists(link));
    EXPECT_TRUE(QFileInfo(lib + "/Box").isDir());

    // A FIFO is not served, and does not hold a worker: the next request is answered.
    EXPECT_EQ(client->get("/download?path=music/pipe.wav").status, 404);
    EXPECT_EQ(client->get("/download?path=music/a.wav").body, "A");
}

TEST_F(UploaderFixture, SlowAndIdleClientsDoNotLockOthersOut)
{
    writeFile(lib + "/a.wav", "A");
    start();
    // 200 clients that send a header line now and then and never finish.
    std::vector<int> slow;
    for (int i = 0; i < 200; ++i) {
        const int fd = client->connectSocket();
        ASSERT_GE(fd, 0);
        HttpTestClient::sendAll(fd, "GET /list?path=/ HTTP/1.1\r\nHost: 127.0.0.1\r\n");
        slow.push_back(fd);
    }
    // Still connected: the server has not given up on the slow header yet.
    auto waiting = [](int fd) {
        pollfd p{fd, POLLIN, 0};
        return ::poll(&p, 1, 0) == 0;
    };
    for (int round = 0; round < 6; ++round) {
        for (const int fd : slow)
            HttpTestClient::sendAll(fd, "X-Slow: 1\r\n");
        const HttpReply r = client->get("/download?path=a.wav");
        EXPECT_EQ(r.body, "A") << "round " << round;
        // Answered while every slow client still holds its connection, so not by waiting for
        // the server to drop them (which it does only at the header time limit, many seconds on).
        EXPECT_TRUE(std::all_of(slow.begin(), slow.end(), waiting)) << "round " << round;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    // A header that never ends is given up after a while: the server closes the connection.
    pollfd p{slow.front(), POLLIN, 0};
    ASSERT_EQ(::poll(&p, 1, kPatienceMs), 1);
    char byte;
    EXPECT_LE(::recv(slow.front(), &byte, 1, 0), 0);
    for (const int fd : slow)
        ::close(fd);

    // A body without a length cannot hold a worker until the client goes away.
    const int fd = client->connectSocket();
    HttpTestClient::sendAll(fd, "POST /create HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: " + kFormType + "\r\n\r\npath=X");
    pollfd answer{fd, POLLIN, 0};
    ASSERT_EQ(::poll(&answer, 1, kPatienceMs), 1);
    char reply[256] = {};
    EXPECT_TRUE(QByteArray(reply, int(::recv(fd, reply, sizeof reply - 1, 0))).startsWith("HTTP/1.1 411"));
    ::close(fd);
    EXPECT_FALSE(QFileInfo::exists(lib + "/X"));
}

TEST_F(UploaderFixture, HeaderFloodIsRefusedWithoutMemoryGrowth)
{
    start();
    // Repeated headers within the limits are fine.
    QByteArray repeated = "GET /list?path=/ HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n";
    for (int i = 0; i < 150; ++i)
        repeated += "X-Repeat: value\r\n";
    EXPECT_EQ(client->raw(repeated + "\r\n").status, 200);

    const qint64 before = residentKiB();
    const int fd = client->connectSocket();
    ASSERT_GE(fd, 0);
    HttpTestClient::sendAll(fd, "GET /list?path=/ HTTP/1.1\r\nHost: 127.0.0.1\r\n");
    const QByteArray lines = QByteArray("X-Flood: a\r\n").repeated(10000);
    int sentLines = 0;
    while (sentLines < 1000000 && HttpTestClient::sendAll(fd, lines))
        sentLines += 10000;
    QByteArray received;
    char buffer[4096];
    ssize_t n;
    while ((n = ::recv(fd, buffer, sizeof buffer, 0)) > 0)
        received.append(buffer, n);
    ::close(fd);
    EXPECT_TRUE(received.startsWith("HTTP/1.1 431")) << received.left(100).constData();
    EXPECT_LT(residentKiB() - before, 16 * 1024);
    EXPECT_EQ(client->get("/list?path=/").status, 200);
}

TEST_F(UploaderFixture, EveryFileOfAnUploadIsStoredAndTheQuotaStopsBigOnes)
{
    QDir().mkpath(lib + "/In");
    start();
    QList<QPair<QString, QByteArray>> files;
    for (int i = 1; i <= 5; ++i)
        files.append({QStringLiteral("take%1.wav").arg(i), QByteArray(1000 * i, char('0' + i))});
    files.append({QStringLiteral("take1.wav"), QByteArray("again")});
    const QByteArray own = "127.0.0.1:" + QByteArray::number(uploader->port());
    HttpReply r = client->raw(post("/upload", multipart(kBoundary, "In", files), kMultipartType, own, "http://" + own));
    EXPECT_EQ(r.status, 200) << r.body.constData();
    for (int i = 1; i <= 5; ++i)
        EXPECT_EQ(readFile(lib + QStringLiteral("/In/take%1.wav").arg(i)), QByteArray(1000 * i, char('0' + i)));
    EXPECT_EQ(readFile(lib + "/In/take1 (1).wav"), "again");
    EXPECT_TRUE(waitUntil([&] { return delegate.calls().filter("upload|").size() == 6; }));

    // One refused file does not lose the others; the answer names it.
    r = client->raw(post("/upload", multipart(kBoundary, "In", {{"ok.wav", "O"}, {".hidden.wav", "H"}}), kMultipartType, own, {}));
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Uploaded file name \".hidden.wav\" is not allowed");
    EXPECT_EQ(readFile(lib + "/In/ok.wav"), "O");
    EXPECT_FALSE(QFileInfo::exists(lib + "/In/.hidden.wav"));

    uploader->setUploadQuota(10000);
    r = client->upload("In", "big.wav", QByteArray(20000, 'b'));
    EXPECT_EQ(r.status, 413);
    EXPECT_EQ(r.body, "Upload larger than the allowed 10000 bytes");
    // Past the quota while the body streams in, without a length said up front.
    const QByteArray body = multipart(kBoundary, "In", {{"a.wav", QByteArray(6000, 'a')}, {"b.wav", QByteArray(6000, 'b')}});
    QByteArray chunked = "POST /upload HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\nTransfer-Encoding: chunked\r\n"
                         "Content-Type: " + kMultipartType + "\r\n\r\n";
    chunked += QByteArray::number(body.size(), 16) + "\r\n" + body + "\r\n0\r\n\r\n";
    r = client->raw(chunked);
    EXPECT_EQ(r.status, 413);
    EXPECT_FALSE(QFileInfo::exists(lib + "/In/big.wav"));
    EXPECT_FALSE(QFileInfo::exists(lib + "/In/a.wav"));
    EXPECT_FALSE(QFileInfo::exists(lib + "/In/b.wav"));
    EXPECT_TRUE(leftovers().isEmpty());
    EXPECT_EQ(client->upload("In", "small.wav", QByteArray(5000, 's')).status, 200);
}

TEST(WebUploaderMounts, LibraryOnItsOwnFileSystemOrBehindALinkAcceptsUploads)
{
    TempTree tree;
    testsupport::SmallMount disk(tree.path("disk"), "4m");
    if (!disk.mounted())
        GTEST_SKIP() << "mounting a tmpfs needs CAP_SYS_ADMIN";
    // The library is the mount point itself; a planted link must not carry uploads elsewhere.
    const QString outside = tree.path("outside");
    QDir().mkpath(outside);
    QFile::link(outside, tree.path(".wavelocker-uploads"));
    QFile::link(outside, tree.path("disk/.wavelocker-uploads"));
    for (const QString& lib : {tree.path("disk"), tree.path("linked")}) {
        if (lib.endsWith("linked")) {
            ASSERT_TRUE(QFile::link(tree.path("disk/sub"), lib) && QDir().mkpath(tree.path("disk/sub")));
        }
        GCDWebUploader uploader(lib);
        uploader.setBindAddress(QStringLiteral("127.0.0.1"));
        ASSERT_TRUE(uploader.startWithPort(0, QString()));
        HttpTestClient client(uploader.port());
        const HttpReply r = client.upload("/", "take.wav", QByteArray(300000, 't'));
        EXPECT_EQ(r.status, 200) << lib.toStdString() << ": " << r.body.constData();
        EXPECT_EQ(readFile(lib + "/take.wav"), QByteArray(300000, 't'));
        // The listing without its modification time, which the clock decides.
        QByteArray listing = client.get("/list?path=/").body;
        listing.replace(QRegularExpression(QStringLiteral(",\"date\":[0-9]+")).match(QString::fromUtf8(listing)).captured().toUtf8(), "");
        EXPECT_EQ(listing, "[{\"path\":\"/take.wav\",\"name\":\"take.wav\",\"size\":300000}]");
    }
    EXPECT_TRUE(everything(outside).isEmpty());
    EXPECT_TRUE(QDir(tree.path("disk/.wavelocker-uploads")).entryList(QDir::Files | QDir::Hidden).isEmpty());
}

TEST(WebUploaderLinks, LinksSwappedBetweenRequestsLeadOnlyWhereTheyLeadNow)
{
    // The library is a link; its new target holds a link back into the old one, which is then
    // outside. What earlier requests resolved must not let later ones through.
    TempTree tree;
    const QString a = tree.path("A");
    const QString b = tree.path("B");
    const QString lib = tree.path("lib");
    writeFile(a + "/old.wav", "old");
    writeFile(b + "/new.wav", "new");
    writeFile(b + "/sub/in.wav", "in");
    ASSERT_TRUE(QFile::link(a, b + "/back") && QFile::link(a, lib));
    GCDWebUploader uploader(lib);
    uploader.setBindAddress(QStringLiteral("127.0.0.1"));
    ASSERT_TRUE(uploader.startWithPort(0, QString()));
    HttpTestClient client(uploader.port());
    EXPECT_EQ(client.get("/download?path=/old.wav").body, "old");
    EXPECT_EQ(client.upload("/", "up.wav", "up").status, 200);

    ASSERT_TRUE(QFile::remove(lib) && QFile::link(b, lib));
    EXPECT_EQ(client.get("/download?path=/new.wav").body, "new");
    EXPECT_EQ(client.get("/download?path=/back/old.wav").status, 403);
    EXPECT_EQ(client.get("/list?path=/back").status, 403);
    EXPECT_EQ(client.upload("/back", "x.wav", "x").status, 403);
    EXPECT_EQ(client.get("/download?path=/sub/in.wav").body, "in");

    // A folder inside, served a moment ago, swapped for a link out of the library.
    ASSERT_TRUE(QDir(b + "/sub").removeRecursively() && QFile::link(a, b + "/sub"));
    EXPECT_EQ(client.get("/download?path=/sub/old.wav").status, 403);
    EXPECT_EQ(client.upload("/sub", "y.wav", "y").status, 403);
    EXPECT_EQ(everything(a), QStringList({"/old.wav", "/up.wav"}));
}

TEST_F(UploaderFixture, PasswordGuardsEveryRouteWhenSet)
{
    writeFile(lib + "/a.wav", "A");
    uploader->setPassword(QStringLiteral("s\u00e9same"));
    start();
    const QByteArray good = "Basic " + QByteArray("anyone:s\xc3\xa9same").toBase64();
    for (const QByteArray& target : {QByteArray("/"), QByteArray("/list?path=/"), QByteArray("/download?path=a.wav")}) {
        for (const QByteArray& wrong : {QByteArray(), "Basic " + QByteArray("anyone:sesame").toBase64(),
                                        "Basic " + QByteArray("anyone:s\xc3\xa9same!").toBase64(), QByteArray("Bearer x")}) {
            const HttpReply r = client->get(target, wrong.isEmpty() ? QList<QPair<QByteArray, QByteArray>>{}
                                                                   : QList<QPair<QByteArray, QByteArray>>{{"Authorization", wrong}});
            EXPECT_EQ(r.status, 401) << target.constData() << " " << wrong.constData();
            EXPECT_TRUE(r.header("www-authenticate").startsWith("Basic realm="));
            EXPECT_NE(r.body, "A");
        }
        EXPECT_EQ(client->get(target, {{"Authorization", good}}).status, 200) << target.constData();
    }
    const QByteArray own = "127.0.0.1:" + QByteArray::number(uploader->port());
    EXPECT_EQ(client->raw(post("/delete", formBody({{"path", "a.wav"}}), kFormType, own, "http://" + own)).status, 401);
    EXPECT_TRUE(QFileInfo::exists(lib + "/a.wav"));
}
