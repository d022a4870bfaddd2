// The page in headless Chromium against a real server; then the library is checked on disk.
#include "UploaderFixture.h"
#include "support/BuildPaths.h"

#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>

using namespace testsupport;

namespace {
const QString kBrowserDir = (testsupport::sourceDir() + QStringLiteral("/tests/wifidrive/browser"));
constexpr int kBrowserTimeoutMs = 240000;  // the whole script; below the test's own time limit

// Runs one page script against the started uploader; its output when it fails.
QString runPageScript(const QString& script, int port, const QString& workDir, const QStringList& more = {})
{
    QProcess node;
    node.setProcessChannelMode(QProcess::MergedChannels);
    node.setWorkingDirectory(kBrowserDir);
    QStringList arguments = QStringList{kBrowserDir + "/" + script, QStringLiteral("http://127.0.0.1:%1/").arg(port), workDir} + more;
    // Screenshots for a person to look at, when asked for.
    if (const QByteArray shots = qgetenv("WL_PAGE_SCREENSHOTS"); !shots.isEmpty())
        arguments << QString::fromLocal8Bit(shots);
    node.start(QStringLiteral("node"), arguments);
    // The server answers on its own threads; the main thread only waits here.
    if (!node.waitForFinished(kBrowserTimeoutMs))
        return QStringLiteral("timed out: ") + QString::fromUtf8(node.readAll());
    const QByteArray output = node.readAll();
    return node.exitCode() == 0 ? QString() : QString::fromUtf8(output);
}
}  // namespace

TEST_F(UploaderFixture, PageUploadsListsMovesDownloadsAndDeletesInChromium)
{
    ASSERT_TRUE(QFile::exists(kBrowserDir + "/node_modules/playwright-core/package.json"))
        << "run scripts/install-deps.sh: it installs the browser test's npm packages";
    writeFile(lib + "/Seed.wav", "seed");
    start();
    QTemporaryDir downloads;
    const QString failure = runPageScript(QStringLiteral("uploader-page.js"), uploader->port(), downloads.path());
    ASSERT_TRUE(failure.isEmpty()) << failure.toStdString();

    EXPECT_EQ(readFile(lib + "/two.wav"), QByteArray("RIFF two take ").repeated(300));
    EXPECT_TRUE(QFileInfo(lib + "/Samples").isDir());
    EXPECT_FALSE(QFile::exists(lib + "/one.wav"));
    EXPECT_FALSE(QFile::exists(lib + "/Samples/renamed.wav"));
    EXPECT_FALSE(QFile::exists(lib + "/Samples/.hidden"));
    EXPECT_TRUE(waitForCall("move|" + lib + "/one.wav|" + lib + "/Samples/renamed.wav"));
    EXPECT_TRUE(waitForCall("download|" + lib + "/Samples/renamed.wav"));
    EXPECT_TRUE(waitForCall("delete|" + lib + "/Samples/renamed.wav"));
    EXPECT_TRUE(leftovers().isEmpty());
}

TEST_F(UploaderFixture, PageShowsOverlayOnlyWhileDraggingKeepsFolderInAddressPlaysAndFitsAPhone)
{
    ASSERT_TRUE(QFile::exists(kBrowserDir + "/node_modules/playwright-core/package.json"));
    writeFile(lib + "/Seed.wav", "seed");
    start();
    QTemporaryDir work;
    const QString failure = runPageScript(QStringLiteral("page-features.js"), uploader->port(), work.path());
    ASSERT_TRUE(failure.isEmpty()) << failure.toStdString();

    // What the page showed is what the library holds.
    EXPECT_EQ(readFile(lib + "/Dropped.wav"), QByteArray("dropped take"));
    for (const QString& kit : {QStringLiteral("/Kit"), QStringLiteral("/Kit (1)")}) {
        EXPECT_EQ(readFile(lib + kit + "/drums/kick.wav"), QByteArray(3 * 1024 * 1024, 7)) << kit.toStdString();
        EXPECT_EQ(readFile(lib + kit + "/snare.wav"), QByteArray("snare")) << kit.toStdString();
        EXPECT_EQ(QDir(lib + kit).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).join(','), "drums,snare.wav");
        EXPECT_EQ(QDir(lib + kit + "/drums").entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).join(','), "kick.wav");
    }
    EXPECT_FALSE(QFile::exists(lib + "/Kit (2)"));
    EXPECT_EQ(QFileInfo(lib + "/Tone.wav").size(), 44 + 2 * 44100 * 2);
    EXPECT_TRUE(leftovers().isEmpty());
}

TEST_F(UploaderFixture, PageShowsDownloadsUploadsRenamesAndZipsOddNamesAsTheyAre)
{
    ASSERT_TRUE(QFile::exists(kBrowserDir + "/node_modules/playwright-core/package.json"));
    const QString oddFolder = QStringLiteral("#hash & <b>bold<b> ?x=1");
    const QStringList oddFiles{"a#b.wav", "what?.wav", "100%.wav", "A & B.wav", "c+d.wav", "quote'\"s.wav", "new\nline.wav",
                               QStringLiteral("ünïcødé 日本.wav"), "<img src=x onerror=alert(1)>.wav", QString(240, 'L') + ".wav"};
    for (const QString& name : oddFiles)
        writeFile(lib + "/" + name, "bytes of " + name.toUtf8());
    QDir().mkpath(lib + "/" + oddFolder);
    writeFile(lib + "/" + oddFolder + "/in it.wav", QByteArray(100000, 'z'));
    start();
    QTemporaryDir work;
    const QString failure = runPageScript(QStringLiteral("names.js"), uploader->port(), work.path(), {lib});
    ASSERT_TRUE(failure.isEmpty()) << failure.toStdString();

    // Uploaded names arrive whole: a quote or a line break in them is not left escaped.
    const QStringList uploaded{"up #1.wav", "up?.wav", "up 100%.wav", "up & co.wav", "up+plus.wav", "say \"hi\".wav", "two\nlines.wav",
                               "<script>alert(2)<script>.wav", QStringLiteral("ü日本.wav"), QString(250, 'M') + ".wav"};
    for (int i = 0; i < uploaded.size(); ++i)
        EXPECT_EQ(readFile(lib + "/" + uploaded[i]), "upload " + QByteArray::number(i)) << uploaded[i].toStdString();
    EXPECT_FALSE(QFile::exists(lib + "/say %22hi%22.wav"));
    EXPECT_EQ(readFile(lib + "/" + oddFolder + "/moved #?%&+'\" x.wav"), "bytes of c+d.wav");
    EXPECT_EQ(readFile(lib + "/renamed <i>100%<i> & more?.wav"), "bytes of what?.wav");
    EXPECT_TRUE(QFileInfo(lib + "/New #?% & 'q' <u>folder<u>").isDir());
    EXPECT_FALSE(QFile::exists(lib + "/new\nline.wav"));
    EXPECT_TRUE(QFileInfo(lib + "/" + oddFolder).isDir());
    EXPECT_TRUE(leftovers().isEmpty());
}

TEST_F(UploaderFixture, HostilePagesInTheSameBrowserChangeNothing)
{
    ASSERT_TRUE(QFile::exists(kBrowserDir + "/node_modules/playwright-core/package.json"));
    writeFile(lib + "/Seed.wav", "seed");
    writeFile(lib + "/Loops/loop.wav", "loop");
    const QString password = QStringLiteral("cat pictures");
    uploader->setPassword(password);
    const auto snapshot = [&] {
        QStringList items;
        QDirIterator it(lib, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            items << path + "|" + (it.fileInfo().isFile() ? QString::fromLatin1(readFile(path).toHex()) : QString());
        }
        items.sort();
        return items.join('\n').toStdString();
    };
    const std::string before = snapshot();
    LogCapture log;
    start();
    QTemporaryDir work;
    const QString failure = runPageScript(QStringLiteral("hostile-page.js"), uploader->port(), work.path(), {password});
    ASSERT_TRUE(failure.isEmpty()) << failure.toStdString();

    EXPECT_EQ(snapshot(), before);
    EXPECT_TRUE(leftovers().filter(QStringLiteral("resume")).isEmpty()) << leftovers().join(",").toStdString();
    // The requests did reach the drive and were refused there: 7 routes, each by 4 fetches, an XHR
    // and 3 forms, then the form without a referrer and the sandboxed one; then the rebound
    // page's 11 requests for an unknown host.
    const QStringList lines = log.lines();
    EXPECT_GE(lines.filter(QStringLiteral("Changes from another web site are not allowed")).size(), 7 * 8 + 2)
        << lines.join('\n').toStdString();
    EXPECT_GE(lines.filter(QStringLiteral("Unknown host \"rebound.example")).size(), 11);
}
