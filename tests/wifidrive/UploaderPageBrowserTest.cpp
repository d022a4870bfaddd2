// The page in headless Chromium against a real server; then the library is checked on disk.
#include "UploaderFixture.h"
#include "support/BuildPaths.h"

#include <QProcess>
#include <QTemporaryDir>

using namespace testsupport;

namespace {
const QString kBrowserDir = (testsupport::sourceDir() + QStringLiteral("/tests/wifidrive/browser"));
constexpr int kBrowserTimeoutMs = 240000;  // the whole script; below the test's own time limit

// Runs one page script against the started uploader; its output when it fails.
QString runPageScript(const QString& script, int port, const QString& workDir)
{
    QProcess node;
    node.setProcessChannelMode(QProcess::MergedChannels);
    node.setWorkingDirectory(kBrowserDir);
    QStringList arguments{kBrowserDir + "/" + script, QStringLiteral("http://127.0.0.1:%1/").arg(port), workDir};
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
    }
    EXPECT_FALSE(QFile::exists(lib + "/Kit (2)"));
    EXPECT_EQ(QFileInfo(lib + "/Tone.wav").size(), 44 + 2 * 44100 * 2);
    EXPECT_TRUE(leftovers().isEmpty());
}
