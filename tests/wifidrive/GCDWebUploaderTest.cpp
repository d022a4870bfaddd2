// The uploader's routes over real HTTP: statuses, texts, JSON shapes, names and delegate calls.
#include "UploaderFixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

using namespace testsupport;

namespace {

QByteArray json(const QString& text) { return text.toUtf8(); }

// The listing with each item's modification time (seconds since 1970, checked against the
// disk) taken out, so the rest compares as a whole.
QJsonArray withoutDates(const QByteArray& body, const QString& root)
{
    QJsonArray items;
    for (const QJsonValue& value : QJsonDocument::fromJson(body).array()) {
        QJsonObject item = value.toObject();
        const QString path = root + item.value("path").toString();
        EXPECT_EQ(item.value("date").toInteger(-1), QFileInfo(path).lastModified().toSecsSinceEpoch()) << path.toStdString();
        item.remove("date");
        items.append(item);
    }
    return items;
}

class VetoingUploader : public GCDWebUploader {
public:
    using GCDWebUploader::GCDWebUploader;
    bool shouldUploadFileAtPath(const QString&, const QString&) override { return false; }
    bool shouldCreateDirectoryAtPath(const QString&) override { return false; }
};

}  // namespace

TEST_F(UploaderFixture, ListShowsFilesAndFoldersAndAnswersFailures)
{
    writeFile(lib + "/Take.wav", QByteArray(1234, 'x'));
    writeFile(lib + "/.DS_Store", "junk");
    writeFile(lib + "/Loops/Beat 120bpm.aif", "abc");
    writeFile(lib + "/.secret/inner.wav", "abc");
    start();

    HttpReply r = client->get("/list?path=%2F");
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.header("content-type"), "application/json");
    EXPECT_EQ(withoutDates(r.body, lib), QJsonDocument::fromJson(json(R"([
        {"path":"/Desktop File Sharing/","name":"Desktop File Sharing"},
        {"path":"/Loops/","name":"Loops"},
        {"path":"/Take.wav","name":"Take.wav","size":1234}])")).array());

    r = client->get("/list?path=/Loops/");
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(withoutDates(r.body, lib),
              QJsonDocument::fromJson(json(R"([{"path":"/Loops/Beat 120bpm.aif","name":"Beat 120bpm.aif","size":3}])")).array());

    // Names that need escaping in JSON come back as they are on disk.
    const QString odd = QStringLiteral("q\"uo\\te\n\x01 \u00e9.wav");
    writeFile(lib + "/Odd/" + odd, "o");
    r = client->get("/list?path=Odd");
    const QJsonArray oddListing = QJsonDocument::fromJson(r.body).array();
    ASSERT_EQ(oddListing.size(), 1) << r.body.constData();
    EXPECT_EQ(oddListing[0].toObject().value("name").toString(), odd);
    EXPECT_EQ(oddListing[0].toObject().value("path").toString(), "Odd/" + odd);

    r = client->get("/list?path=Missing");
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(r.body, "\"Missing\" does not exist");
    r = client->get("/list?path=/Take.wav");
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(r.body, "\"/Take.wav\" is not a directory");
    r = client->get("/list?path=/.secret");
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Listing directory name \"/.secret\" is not allowed");
}

TEST_F(UploaderFixture, DownloadStreamsBytesRangesAndGzip)
{
    QByteArray audio(300000, '\0');
    for (int i = 0; i < audio.size(); ++i)
        audio[i] = char(i * 7 % 251);
    writeFile(lib + "/Loops/Take.wav", audio);
    writeFile(lib + "/notes.txt", QByteArray("la la la ").repeated(2000));
    writeFile(lib + "/.DS_Store", "junk");
    start();

    HttpReply r = client->get("/download?path=/Loops/Take.wav");
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.body, audio);
    EXPECT_EQ(r.header("content-type"), "audio/wav");
    EXPECT_TRUE(r.header("content-disposition").startsWith("attachment;"));
    EXPECT_TRUE(waitForCall("download|" + lib + "/Loops/Take.wav"));

    r = client->get("/download?path=/Loops/Take.wav", {{"Range", "bytes=1000-1999"}});
    EXPECT_EQ(r.status, 206);
    EXPECT_EQ(r.header("content-range"), "bytes 1000-1999/300000");
    EXPECT_EQ(r.body, audio.mid(1000, 1000));
    r = client->get("/download?path=/Loops/Take.wav", {{"Range", "bytes=-10"}});
    EXPECT_EQ(r.status, 206);
    EXPECT_EQ(r.body, audio.right(10));
    r = client->get("/download?path=/Loops/Take.wav", {{"Range", "bytes=400000-"}});
    EXPECT_EQ(r.status, 416);
    EXPECT_EQ(r.header("content-range"), "bytes */300000");

    // Text is compressed for a client that accepts it, and only then.
    r = client->get("/download?path=notes.txt", {{"Accept-Encoding", "gzip, deflate"}});
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.header("content-encoding"), "gzip");
    EXPECT_TRUE(r.body.startsWith("\x1f\x8b"));
    EXPECT_LT(r.body.size(), 2000);
    r = client->get("/download?path=notes.txt");
    EXPECT_EQ(r.header("content-encoding"), "");
    EXPECT_EQ(r.body, QByteArray("la la la ").repeated(2000));
    // Browsers over HTTPS accept brotli too, which the HTTP library makes at its slowest setting
    // (seconds for a large folder's listing): listings go gzipped, files as they are.
    const QList<QPair<QByteArray, QByteArray>> browser{{"Accept-Encoding", "gzip, deflate, br, zstd"}};
    const QByteArray listing = client->get("/list?path=/Loops").body;
    r = client->get("/list?path=/Loops", browser);
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.header("content-encoding"), "gzip");
    EXPECT_EQ(r.header("content-type"), "application/json");
    QProcess gunzip;
    gunzip.start(QStringLiteral("gunzip"), {QStringLiteral("-c")});
    gunzip.write(r.body);
    gunzip.closeWriteChannel();
    ASSERT_TRUE(gunzip.waitForFinished(10000));
    EXPECT_EQ(gunzip.readAllStandardOutput(), listing);
    r = client->get("/download?path=notes.txt", browser);
    EXPECT_EQ(r.header("content-encoding"), "");
    EXPECT_EQ(r.body, QByteArray("la la la ").repeated(2000));

    r = client->get("/download?path=/nothing.wav");
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(r.body, "\"/nothing.wav\" does not exist");
    r = client->get("/download?path=/Loops");
    EXPECT_EQ(r.status, 400);
    EXPECT_EQ(r.body, "\"/Loops\" is a directory");
    r = client->get("/download?path=/.DS_Store");
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Downlading file name \"/.DS_Store\" is not allowed");
}

TEST_F(UploaderFixture, UploadStoresUniqueNamesAndAnswersFailures)
{
    writeFile(lib + "/Loops/keep.txt", "k");
    start();

    HttpReply r = client->upload("/Loops/", "Take.wav", "first take");
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.header("content-type"), "application/json");
    EXPECT_EQ(r.body, "{}");
    r = client->upload("/Loops/", "Take.wav", "second take", "text/html,*/*");
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.header("content-type"), "text/plain; charset=utf-8");
    EXPECT_EQ(readFile(lib + "/Loops/Take.wav"), "first take");
    EXPECT_EQ(readFile(lib + "/Loops/Take (1).wav"), "second take");
    EXPECT_TRUE(waitForCall("upload|" + lib + "/Loops/Take (1).wav"));
    EXPECT_EQ(QFileInfo(lib + "/Loops/Take.wav").permissions() & QFile::ReadOther, QFile::ReadOther);
    // Browsers and curl write '"', CR and LF of a file name as "%22", "%0D" and "%0A", and
    // nothing else: a "%25" stays as it came.
    ASSERT_EQ(client->upload("/", "say %22hi%22%0D%0Anow %2522.wav", "quoted").status, 200);
    EXPECT_EQ(readFile(lib + "/say \"hi\"\r\nnow %2522.wav"), "quoted");

    r = client->upload("/", ".hidden.wav", "x");
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Uploaded file name \".hidden.wav\" is not allowed");
    r = client->upload("/No Such Folder/", "a.wav", "x");
    EXPECT_EQ(r.status, 500);
    EXPECT_TRUE(r.body.startsWith("Failed moving uploaded file to \"/No Such Folder/\" ("));
    EXPECT_FALSE(QFile::exists(lib + "/No Such Folder"));
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(",").toStdString();
}

TEST_F(UploaderFixture, MoveRenamesAndRefuses)
{
    writeFile(lib + "/a.wav", "A");
    writeFile(lib + "/b.wav", "B");
    writeFile(lib + "/.hidden", "H");
    QDir().mkpath(lib + "/Loops");
    start();

    HttpReply r = client->postForm("/move", {{"oldPath", "/a.wav"}, {"newPath", "/Loops/c.wav"}});
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.body, "{}");
    EXPECT_EQ(readFile(lib + "/Loops/c.wav"), "A");
    EXPECT_FALSE(QFile::exists(lib + "/a.wav"));
    EXPECT_TRUE(waitForCall("move|" + lib + "/a.wav|" + lib + "/Loops/c.wav"));

    // A taken name is never replaced.
    r = client->postForm("/move", {{"oldPath", "/b.wav"}, {"newPath", "/Loops/c.wav"}});
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(readFile(lib + "/Loops/c.wav"), "A");
    EXPECT_EQ(readFile(lib + "/Loops/c (1).wav"), "B");

    r = client->postForm("/move", {{"oldPath", "/gone.wav"}, {"newPath", "/x.wav"}});
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(r.body, "\"/gone.wav\" does not exist");
    r = client->postForm("/move", {{"oldPath", "/.hidden"}, {"newPath", "/visible"}});
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Moving from item name \"/.hidden\" is not allowed");
    r = client->postForm("/move", {{"oldPath", "/Loops/c.wav"}, {"newPath", "/.c.wav"}});
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Moving to item name \"/.c.wav\" is not allowed");
    r = client->postForm("/move", {{"oldPath", "/Desktop File Sharing"}, {"newPath", "/Shared"}});
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Moving \"/Desktop File Sharing\" to \"/Shared\" is not permitted");
    EXPECT_TRUE(QFileInfo(lib + "/Desktop File Sharing").isSymLink());
    r = client->postForm("/move", {{"oldPath", "/Loops"}, {"newPath", "/Loops/Inner"}});
    EXPECT_EQ(r.status, 500);
    EXPECT_TRUE(r.body.startsWith("Failed moving \"/Loops\" to \"/Loops/Inner\" ("));
    EXPECT_TRUE(QFileInfo(lib + "/Loops/c.wav").isFile());
}

TEST_F(UploaderFixture, DeleteRemovesFilesButNoFolders)
{
    writeFile(lib + "/a.wav", "A");
    writeFile(lib + "/Loops/b.wav", "B");
    writeFile(lib + "/.hidden", "H");
    writeFile(privateDocs() + "/doc.wav", "D");
    start();

    HttpReply r = client->postForm("/delete", {{"path", "/a.wav"}});
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.body, "{}");
    EXPECT_FALSE(QFile::exists(lib + "/a.wav"));
    EXPECT_TRUE(waitForCall("delete|" + lib + "/a.wav"));

    r = client->postForm("/delete", {{"path", "/Loops"}});
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Deleting \"/Loops\" is not permitted");
    EXPECT_EQ(readFile(lib + "/Loops/b.wav"), "B");
    r = client->postForm("/delete", {{"path", "/Desktop File Sharing"}});
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Deleting \"/Desktop File Sharing\" is not permitted");
    r = client->postForm("/delete", {{"path", "/a.wav"}});
    EXPECT_EQ(r.status, 404);
    EXPECT_EQ(r.body, "\"/a.wav\" does not exist");
    r = client->postForm("/delete", {{"path", "/.hidden"}});
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Deleting item name \"/.hidden\" is not allowed");
    // Files behind the file-sharing link are served like the rest of the library.
    r = client->postForm("/delete", {{"path", "/Desktop File Sharing/doc.wav"}});
    EXPECT_EQ(r.status, 200);
    EXPECT_FALSE(QFile::exists(privateDocs() + "/doc.wav"));
}

TEST_F(UploaderFixture, CreateMakesUniqueFoldersWithParents)
{
    start();
    HttpReply r = client->postForm("/create", {{"path", "/Loops"}});
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.body, "{}");
    r = client->postForm("/create", {{"path", "/Loops"}});
    ASSERT_EQ(r.status, 200);
    EXPECT_TRUE(QFileInfo(lib + "/Loops").isDir());
    EXPECT_TRUE(QFileInfo(lib + "/Loops (1)").isDir());
    EXPECT_TRUE(waitForCall("create|" + lib + "/Loops (1)"));
    r = client->postForm("/create", {{"path", "/Sets/2024/Live"}});
    ASSERT_EQ(r.status, 200);
    EXPECT_TRUE(QFileInfo(lib + "/Sets/2024/Live").isDir());
    r = client->postForm("/create", {{"path", "/.cache"}});
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Creating directory name \"/.cache\" is not allowed");
    EXPECT_FALSE(QFile::exists(lib + "/.cache"));
}

using VetoFixture = UploaderFixtureT<VetoingUploader>;

TEST_F(VetoFixture, VetoedChangesAnswer403AndChangeNothing)
{
    start();
    HttpReply r = client->upload("/", "Take.wav", "data");
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Uploading file \"Take.wav\" to \"/\" is not permitted");
    EXPECT_FALSE(QFile::exists(lib + "/Take.wav"));
    EXPECT_TRUE(leftovers().isEmpty());
    r = client->postForm("/create", {{"path", "/New"}});
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.body, "Creating directory \"/New\" is not permitted");
    EXPECT_FALSE(QFile::exists(lib + "/New"));
    EXPECT_TRUE(delegate.calls().filter("|").isEmpty());
}

TEST_F(UploaderFixture, PageIsFilledTemplateWithItsScripts)
{
    uploader->setHeader(QStringLiteral("Studio <Drive>"));
    start();
    HttpReply r = client->get("/");
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.header("content-type"), "text/html; charset=utf-8");
    EXPECT_TRUE(r.body.contains("<title>Wavelocker</title>"));
    EXPECT_TRUE(r.body.contains("Studio &lt;Drive&gt;"));
    EXPECT_TRUE(r.body.contains("<footer class=\"footer\">Wavelocker "));
    EXPECT_TRUE(r.body.contains("Upload Files"));
    EXPECT_FALSE(r.body.contains("%title%") || r.body.contains("%device%") || r.body.contains("%footer%"));
    r = client->get("/", {{"Accept-Encoding", "gzip"}});
    EXPECT_EQ(r.header("content-encoding"), "gzip");

    r = client->get("/uploader.js");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.header("content-type"), "application/javascript; charset=utf-8");
    EXPECT_TRUE(r.body.contains("\"/list?path=\""));
    EXPECT_EQ(client->get("/uploader.css").status, 200);
    EXPECT_EQ(client->get("/missing.js").status, 404);
}
