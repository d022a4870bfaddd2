// "/search" and "/zip" over real HTTP: what they find and pack, what they leave out (hidden
// names, links out of the library, loops), and archives that unzip checks and unpacks intact.
#include "UploaderFixture.h"
#include "platform/ZipStream.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

using namespace testsupport;

namespace {

QByteArray randomBytes(qsizetype size, quint32 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(seed);
    for (char& c : bytes)
        c = char(generator.generate());
    return bytes;
}

// Runs a tool and gives its exit code; its output goes to *output.
int run(const QString& program, const QStringList& arguments, QByteArray* output = nullptr)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, arguments);
    p.waitForFinished(60000);
    if (output)
        *output = p.readAll();
    return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
}

QStringList foundPaths(const QByteArray& body, bool* truncated)
{
    const QJsonObject result = QJsonDocument::fromJson(body).object();
    *truncated = result.value("truncated").toBool(true);
    QStringList paths;
    for (const QJsonValue& item : result.value("items").toArray())
        paths << item.toObject().value("path").toString();
    paths.sort();
    return paths;
}

}  // namespace

TEST_F(UploaderFixture, SearchFindsNamesBelowTheFolderOnlyWhereTheLibraryReaches)
{
    writeFile(lib + "/Loops/Kick Take.wav", "k");
    writeFile(lib + "/Loops/Deep/Café take.aif", "c");
    writeFile(lib + "/Loops/.hidden take.wav", "h");
    writeFile(lib + "/Loops/.secret/take.wav", "s");
    writeFile(lib + "/Other take.wav", "o");
    writeFile(tree.path("outside/take outside.wav"), "x");
    writeFile(privateDocs() + "/Shared take.wav", "d");
    QFile::link(tree.path("outside"), lib + "/Loops/away");
    QFile::link(lib + "/Loops", lib + "/Loops/Deep/loop");  // a way back up
    start();

    bool truncated = true;
    HttpReply r = client->get("/search?path=/Loops&query=TAKE");
    ASSERT_EQ(r.status, 200) << r.body.constData();
    EXPECT_EQ(r.header("content-type"), "application/json");
    EXPECT_EQ(foundPaths(r.body, &truncated), QStringList({"/Loops/Deep/Café take.aif", "/Loops/Kick Take.wav"}));
    EXPECT_FALSE(truncated);

    // Accents and case do not matter; the shared documents link is searched like a folder.
    r = client->get("/search?path=/&query=cafe%20TAKE");
    EXPECT_EQ(foundPaths(r.body, &truncated), QStringList({"/Loops/Deep/Café take.aif"}));
    r = client->get("/search?path=/&query=shared");
    EXPECT_EQ(foundPaths(r.body, &truncated), QStringList({"/Desktop File Sharing/Shared take.wav"}));
    r = client->get("/search?path=/&query=deep");
    const QJsonObject folder = QJsonDocument::fromJson(r.body).object().value("items").toArray().at(0).toObject();
    EXPECT_EQ(folder.value("path").toString(), "/Loops/Deep/");
    EXPECT_FALSE(folder.contains("size"));

    EXPECT_EQ(client->get("/search?path=/Loops&query=").status, 400);
    EXPECT_EQ(client->get("/search?path=/Nope&query=take").status, 404);
    EXPECT_EQ(client->get("/search?path=/Other%20take.wav&query=take").status, 400);
    EXPECT_EQ(client->get("/search?path=/Loops/.secret&query=take").status, 403);
    EXPECT_EQ(client->get("/search?path=/Loops/away&query=take").status, 403);
    EXPECT_EQ(client->get("/search?path=/../outside&query=take").status, 400);

    // A huge folder answers with the first results and says so.
    for (int i = 0; i < 600; ++i)
        writeFile(lib + QStringLiteral("/Many/take %1.wav").arg(i), "");
    r = client->get("/search?path=/Many&query=take");
    EXPECT_EQ(foundPaths(r.body, &truncated).size(), 500);
    EXPECT_TRUE(truncated);
}

TEST_F(UploaderFixture, ZipOfAFolderStreamsAnArchiveThatUnpacksToTheSameBytes)
{
    const QByteArray big = randomBytes(5 * 1024 * 1024 + 17, 1);
    const QByteArray small = randomBytes(1000, 2);
    writeFile(lib + "/Loops/Big take.wav", big);
    writeFile(lib + "/Loops/Deep/Café.aif", small);
    writeFile(lib + "/Loops/Deep/empty.txt", "");
    QDir().mkpath(lib + "/Loops/Nothing here");
    writeFile(lib + "/Loops/.hidden.wav", "h");
    writeFile(tree.path("outside/secret.wav"), "secret");
    QFile::link(tree.path("outside/secret.wav"), lib + "/Loops/away.wav");
    QFile::link(lib + "/Loops", lib + "/Loops/Deep/loop");
    ::mkfifo(QFile::encodeName(lib + "/Loops/pipe.wav").constData(), 0600);
    start();

    const HttpReply r = client->get("/zip?path=/Loops");
    ASSERT_EQ(r.status, 200);
    EXPECT_EQ(r.header("content-type"), "application/zip");
    EXPECT_EQ(r.header("transfer-encoding"), "chunked");
    EXPECT_TRUE(r.header("content-disposition").contains("Loops.zip"));
    QTemporaryDir out;
    const QString archive = out.path() + "/Loops.zip";
    ASSERT_TRUE(writeFile(archive, r.body));

    QByteArray output;
    EXPECT_EQ(run("unzip", {"-t", archive}, &output), 0) << output.constData();
    EXPECT_EQ(run("unzip", {"-Z1", archive}, &output), 0);
    EXPECT_EQ(QString::fromUtf8(output).split('\n', Qt::SkipEmptyParts),
              QStringList({"Loops/", "Loops/Big take.wav", "Loops/Deep/", "Loops/Deep/Café.aif", "Loops/Deep/empty.txt",
                           "Loops/Nothing here/"}));
    ASSERT_EQ(run("unzip", {"-q", archive, "-d", out.path() + "/x"}, &output), 0) << output.constData();
    EXPECT_EQ(readFile(out.path() + "/x/Loops/Big take.wav"), big);
    EXPECT_EQ(readFile(out.path() + "/x/Loops/Deep/Café.aif"), small);
    EXPECT_TRUE(QFileInfo(out.path() + "/x/Loops/Nothing here").isDir());

    // The library itself, named after the drive; refusals as the other routes give them.
    const HttpReply whole = client->get("/zip?path=/");
    EXPECT_TRUE(whole.header("content-disposition").contains("Wavelocker.zip"));
    ASSERT_TRUE(writeFile(out.path() + "/all.zip", whole.body));
    EXPECT_EQ(run("unzip", {"-t", out.path() + "/all.zip"}, &output), 0) << output.constData();
    EXPECT_EQ(client->get("/zip?path=/Loops/Big%20take.wav").status, 400);
    EXPECT_EQ(client->get("/zip?path=/Missing").status, 404);
    EXPECT_EQ(client->get("/zip?path=/Loops/..%2F..%2Foutside").status, 400);
}

TEST(ZipStream, ManyEntriesGetTheLargeArchiveEndThatUnzipReads)
{
    // More entries than the classic end record can count.
    QTemporaryDir dir;
    QFile file(dir.path() + "/many.zip");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ZipStream zip([&](const char* data, size_t length) { return file.write(data, qint64(length)) == qint64(length); });
    const QDateTime when(QDate(2024, 5, 6), QTime(7, 8, 10));
    for (int i = 0; i < 70000; ++i) {
        ASSERT_TRUE(zip.beginFile(QStringLiteral("f/%1.txt").arg(i), when));
        const QByteArray content = QByteArray::number(i);
        ASSERT_TRUE(zip.write(content));
        ASSERT_TRUE(zip.endFile());
    }
    ASSERT_TRUE(zip.finish());
    file.close();
    QByteArray output;
    ASSERT_EQ(run("unzip", {"-t", file.fileName()}, &output), 0) << output.right(500).constData();
    EXPECT_TRUE(output.contains("No errors detected")) << output.right(500).constData();
    ASSERT_EQ(run("unzip", {"-p", file.fileName(), "f/69999.txt"}, &output), 0);
    EXPECT_EQ(output, "69999");
    EXPECT_EQ(run("unzip", {"-Zl", file.fileName(), "f/12.txt"}, &output), 0);
    EXPECT_TRUE(output.contains("24-May-06 07:08")) << output.constData();

    // A reader that goes away stops the archive at once.
    int calls = 0;
    ZipStream cut([&](const char*, size_t) { return ++calls < 2; });
    EXPECT_TRUE(cut.beginFile("a", when));
    EXPECT_FALSE(cut.write(QByteArray("x")));
    EXPECT_FALSE(cut.endFile() && cut.finish());
    EXPECT_EQ(calls, 2);
}
