// The page in headless Chromium against a real server; then the library is checked on disk.
#include "UploaderFixture.h"

#include <QProcess>
#include <QTemporaryDir>

using namespace testsupport;

namespace {
const QString kBrowserDir = QStringLiteral(WL_SOURCE_DIR "/tests/wifidrive/browser");
constexpr int kBrowserTimeoutMs = 120000;
}  // namespace

TEST_F(UploaderFixture, PageUploadsListsMovesDownloadsAndDeletesInChromium)
{
    ASSERT_TRUE(QFile::exists(kBrowserDir + "/node_modules/playwright-core/package.json"))
        << "run scripts/install-deps.sh: it installs the browser test's npm packages";
    writeFile(lib + "/Seed.wav", "seed");
    start();
    QTemporaryDir downloads;
    QProcess node;
    node.setProcessChannelMode(QProcess::MergedChannels);
    node.setWorkingDirectory(kBrowserDir);
    node.start(QStringLiteral("node"), {kBrowserDir + "/uploader-page.js",
                                        QStringLiteral("http://127.0.0.1:%1/").arg(uploader->port()), downloads.path()});
    // The server answers on its own threads; the main thread only waits here.
    ASSERT_TRUE(node.waitForFinished(kBrowserTimeoutMs)) << node.readAll().toStdString();
    const QByteArray output = node.readAll();
    ASSERT_EQ(node.exitCode(), 0) << output.toStdString();

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
