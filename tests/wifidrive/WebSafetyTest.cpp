// Requests that try to leave the library, uploads that break off, race or fill the disk.
#include "UploaderFixture.h"
#include "support/SmallMount.h"

#include <QDirIterator>
#include <condition_variable>
#include <sys/mount.h>
#include <thread>

using namespace testsupport;

namespace {

// Every entry under folder with its bytes, so "nothing changed" is a comparison.
QMap<QString, QByteArray> snapshot(const QString& folder)
{
    QMap<QString, QByteArray> entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        entries.insert(path.mid(folder.size()), QFileInfo(path).isFile() ? readFile(path) : QByteArray("<dir>"));
    }
    return entries;
}

// Holds the first two uploads at the veto until both are there, so both see the same free name.
class RacingUploader : public MyWebUploader {
public:
    using MyWebUploader::MyWebUploader;
    bool shouldUploadFileAtPath(const QString& path, const QString&) override
    {
        std::unique_lock lock(mMutex);
        destinations << path;
        mArrived.notify_all();
        mArrived.wait_for(lock, std::chrono::seconds(10), [&] { return destinations.size() >= 2; });
        return true;
    }
    QStringList destinations;

private:
    std::mutex mMutex;
    std::condition_variable mArrived;
};

}  // namespace

TEST_F(UploaderFixture, RequestsThatLeaveTheLibraryAreRefusedAndTouchNothing)
{
    const QString outside = tree.path("outside");
    writeFile(outside + "/secret.txt", "secret");
    writeFile(lib + "/a.wav", "A");
    QFile::link(outside, lib + "/Elsewhere");
    QFile::link(outside + "/secret.txt", lib + "/secret.wav");
    const auto outsideBefore = snapshot(outside);
    const auto libraryBefore = snapshot(lib);
    start();

    const QByteArray longName = QByteArray(300, 'n');
    struct Case {
        QByteArray target;
        int status;
    };
    const QList<Case> gets = {
        {"/list?path=..", 400},
        {"/list?path=%2e%2e%2F%2E%2E", 400},
        {"/list?path=/Loops/../../", 400},
        {"/list?path=Elsewhere", 403},
        {"/download?path=..%2Foutside%2Fsecret.txt", 400},
        {"/download?path=Elsewhere/secret.txt", 403},
        {"/download?path=secret.wav", 403},
        {"/download?path=a.wav%00.txt", 400},
        {"/download?path=" + longName, 400},
        {"/download?path=/etc/passwd", 404},
    };
    for (const Case& c : gets)
        EXPECT_EQ(client->get(c.target).status, c.status) << c.target.constData();
    EXPECT_EQ(client->get("/list?path=..").body, "Invalid path \"..\"");
    EXPECT_EQ(client->get("/list?path=Elsewhere").body, "\"Elsewhere\" is outside the shared folder");

    const QList<QPair<QByteArray, Fields>> posts = {
        {"/move", {{"oldPath", "a.wav"}, {"newPath", "../a.wav"}}},
        {"/move", {{"oldPath", "a.wav"}, {"newPath", "Elsewhere/a.wav"}}},
        {"/move", {{"oldPath", "Elsewhere"}, {"newPath", "Inside"}}},
        {"/move", {{"oldPath", "a.wav"}, {"newPath", "/"}}},
        {"/move", {{"oldPath", "/"}, {"newPath", "Root"}}},
        {"/delete", {{"path", "secret.wav"}}},
        {"/delete", {{"path", "%2e%2e/outside/secret.txt"}}},
        {"/delete", {{"path", "../outside/secret.txt"}}},
        {"/delete", {{"path", "/"}}},
        {"/create", {{"path", "../made"}}},
        {"/create", {{"path", "Elsewhere/made"}}},
        {"/create", {{"path", QString(longName)}}},
        {"/create", {{"path", QStringLiteral("bad%1name").arg(QChar(0))}}},
        {"/create", {{"path", "/"}}},
    };
    for (const auto& [route, fields] : posts) {
        const int status = client->postForm(route, fields).status;
        EXPECT_TRUE(status >= 400 && status < 500) << route.constData() << " " << fields.value(0).second.toStdString()
                                                    << " gave " << status;
    }
    EXPECT_EQ(client->upload("../", "x.wav", "x").status, 400);
    EXPECT_EQ(client->upload("Elsewhere", "x.wav", "x").status, 403);
    EXPECT_EQ(client->upload("/", "../x.wav", "x").status, 400);
    EXPECT_EQ(client->upload("/", QString(longName), "x").status, 400);

    EXPECT_EQ(snapshot(outside), outsideBefore);
    EXPECT_EQ(snapshot(lib), libraryBefore);
    EXPECT_TRUE(leftovers().isEmpty());
    EXPECT_FALSE(client->get("/list?path=/").body.contains("Elsewhere"));

    // The file-sharing link leads into our own documents: served, and uploads land there.
    EXPECT_EQ(client->upload("/Desktop File Sharing/", "doc.wav", "D").status, 200);
    EXPECT_EQ(readFile(privateDocs() + "/doc.wav"), "D");
    EXPECT_EQ(client->get("/download?path=/Desktop%20File%20Sharing/doc.wav").body, "D");
}

TEST_F(UploaderFixture, UploadCutOffMidBodyLeavesNothingBehind)
{
    start();
    const QByteArray boundary = "cutoffboundary";
    const QByteArray body = HttpTestClient::multipartBody(boundary, "/", "big.wav", QByteArray(8 << 20, 'b'));
    const int fd = client->connectSocket();
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(HttpTestClient::sendAll(fd, HttpTestClient::uploadHead(boundary, body.size(), "application/json")));
    ASSERT_TRUE(HttpTestClient::sendAll(fd, body.left(2 << 20)));
    // The part is being received into a file of no name on the library's file system, which
    // nothing in the spool folder shows...
    EXPECT_TRUE(waitUntil([&] { return receiving() >= (2 << 20) - (64 << 10); }));
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(",").toStdString();
    ::close(fd);
    // ...and which goes away with the connection; nothing reaches the library.
    EXPECT_TRUE(waitUntil([&] { return receiving() < 0; }));
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(",").toStdString();
    EXPECT_FALSE(QFile::exists(lib + "/big.wav"));
    EXPECT_TRUE(delegate.calls().filter("upload|").isEmpty());
}

using RacingFixture = UploaderFixtureT<RacingUploader>;

TEST_F(RacingFixture, SameNameUploadsAtOnceBothArrive)
{
    start();
    HttpReply first, second;
    std::thread a([&] { first = client->upload("/", "Take.wav", "take A"); });
    std::thread b([&] { second = client->upload("/", "Take.wav", "take B"); });
    a.join();
    b.join();
    EXPECT_EQ(first.status, 200);
    EXPECT_EQ(second.status, 200);
    // Both saw the same free name; the second to land got the next one.
    EXPECT_EQ(uploader->destinations, QStringList({lib + "/Take.wav", lib + "/Take.wav"}));
    const QSet<QByteArray> contents{readFile(lib + "/Take.wav"), readFile(lib + "/Take (1).wav")};
    EXPECT_EQ(contents, QSet<QByteArray>({"take A", "take B"}));
    EXPECT_TRUE(leftovers().isEmpty());
}

TEST(WebUploaderDisk, FullDiskGives500AndLosesNothing)
{
    TempTree tree;
    testsupport::SmallMount disk(tree.path("small"), "1m");
    if (!disk.mounted())
        GTEST_SKIP() << "mounting a small tmpfs needs CAP_SYS_ADMIN";
    const QString lib = tree.path("small/library");
    writeFile(lib + "/keep.wav", QByteArray(100000, 'k'));
    GCDWebUploader uploader(lib);
    uploader.setBindAddress(QStringLiteral("127.0.0.1"));
    ASSERT_TRUE(uploader.startWithPort(0, QString()));
    HttpTestClient client(uploader.port());

    const HttpReply full = client.upload("/", "big.wav", QByteArray(2 << 20, 'b'));
    EXPECT_EQ(full.status, 500);
    EXPECT_TRUE(full.body.startsWith("Failed moving uploaded file to \"/\" (")) << full.body.constData();
    EXPECT_TRUE(full.body.contains("No space left on device")) << full.body.constData();
    EXPECT_EQ(QDir(lib).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList{"keep.wav"});
    EXPECT_EQ(readFile(lib + "/keep.wav"), QByteArray(100000, 'k'));
    EXPECT_TRUE(QDir(tree.path("small/.wavelocker-uploads")).entryList(QDir::Files | QDir::Hidden).isEmpty());

    // The space the failed upload took is free again.
    EXPECT_EQ(client.upload("/", "small.wav", QByteArray(10000, 's')).status, 200);
    EXPECT_EQ(readFile(lib + "/small.wav"), QByteArray(10000, 's'));
}
