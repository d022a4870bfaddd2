#include "library/FileSort.h"
#include "library/FolderListing.h"
#include "library/RowTexts.h"
#include "support/AudioFixtures.h"
#include "support/BuildPaths.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {
QStringList lines(const QByteArray& out)
{
    QStringList list = QString::fromUtf8(out).split(QLatin1Char('\n'));
    if (!list.isEmpty() && list.last().isEmpty())
        list.removeLast();
    return list;
}
}  // namespace

TEST(ToolLs, PrintsTheBrowsersHeaderAndRows)
{
    TempTree tree;
    const QString lib = tree.library();
    writeFile(lib + "/Take 10.wav", QByteArray(4000, 'x'));
    writeFile(lib + "/Take 9.wav", QByteArray(10, 'x'));
    writeFile(lib + "/a\nb\tc.wav", "x");
    QDir().mkpath(lib + "/Trash");
    QDir().mkpath(lib + "/Loops");
    const QStringList env = {"XDG_DATA_HOME=" + tree.path("data"), "XDG_CONFIG_HOME=" + tree.path("config"),
                             "XDG_CACHE_HOME=" + tree.path("cache")};

    const RunResult byName = runProgram("wavelocker-tool", {"ls"}, env);
    ASSERT_EQ(byName.exitCode, 0) << byName.err.constData();
    LibraryItemList items = listFolder(lib).value();
    FileSort::sortFileList(items, FileSort::kByName);
    QStringList expected = {"5 ITEMS"};
    for (const LibraryItem& item : items) {
        const RowTexts::Row row = RowTexts::rowForItem(item);
        expected << row.title + "\t" + row.subtitle;
    }
    EXPECT_EQ(lines(byName.out), expected);
    EXPECT_TRUE(lines(byName.out)[1].startsWith("Loops\t"));
    EXPECT_TRUE(lines(byName.out)[2].startsWith("a?b?c.wav\t"));
    EXPECT_TRUE(lines(byName.out)[3].startsWith("Take 9.wav\t"));
    EXPECT_TRUE(lines(byName.out)[5].startsWith("Trash\tDeleted items"));

    const RunResult bySize = runProgram("wavelocker-tool", {"--library", lib, "ls", lib, "--sort", "size"}, env);
    ASSERT_EQ(bySize.exitCode, 0);
    EXPECT_TRUE(lines(bySize.out)[2].startsWith("Take 10.wav\t"));
    EXPECT_TRUE(lines(bySize.out)[2].endsWith(" \u2022 3.9 KiB"));

    // A search shows no count, like the browser.
    const RunResult search = runProgram("wavelocker-tool", {"ls", "--search", "TAKE"}, env);
    ASSERT_EQ(search.exitCode, 0);
    ASSERT_EQ(lines(search.out).size(), 2);
    EXPECT_TRUE(lines(search.out)[0].startsWith("Take 9.wav\t"));

    const RunResult empty = runProgram("wavelocker-tool", {"ls", lib + "/Loops"}, env);
    EXPECT_EQ(lines(empty.out), QStringList({"NO ITEMS"}));
    EXPECT_EQ(runProgram("wavelocker-tool", {"ls", lib + "/none"}, env).exitCode, 1);
    EXPECT_EQ(runProgram("wavelocker-tool", {"ls", "--sort", "colour"}, env).exitCode, 2);
}

// Listing and describing run in the small front program: it loads none of the audio server,
// plugin, network or codec libraries, loads the codec module only for a compressed file, and
// hands every other command, with its exit code, to the whole tool.
TEST(ToolFront, ListsAndDescribesWithoutTheLibrariesItDoesNotUse)
{
    TempTree tree;
    const QString lib = tree.library();
    const QString wav = lib + "/tone.wav";
    const QString mp3 = lib + "/tone.mp3";
    ASSERT_TRUE(writeToneWav(wav, 2, 44100, 44100));
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", wav, "-c:a", "libmp3lame", "-b:a", "128k", mp3}));
    const QStringList env = {"XDG_DATA_HOME=" + tree.path("data"), "XDG_CONFIG_HOME=" + tree.path("config"),
                             "XDG_CACHE_HOME=" + tree.path("cache"), "LD_DEBUG=files"};
    const QStringList unused = {"libjack", "liblilv", "libasound", "libfluidsynth", "libavcodec", "libavformat",
                                "libswresample", "libQt6Network", "libQt6DBus", "libssl", "libcrypto", "libavahi",
                                "libcpp-httplib", "libqt6keychain", "libQt6Gui", "wavelocker-ffmpeg"};
    auto loaded = [](const RunResult& r, const QString& name) { return r.err.contains(("file=" + name).toUtf8()) ||
                                                                       r.err.contains(("/" + name).toUtf8()); };

    const RunResult ls = runProgram("wavelocker-tool", {"--library", lib, "ls"}, env);
    ASSERT_EQ(ls.exitCode, 0);
    EXPECT_EQ(lines(ls.out).value(0), "2 ITEMS");
    const RunResult wavInfo = runProgram("wavelocker-tool", {"info", wav}, env);
    ASSERT_EQ(wavInfo.exitCode, 0);
    EXPECT_EQ(lines(wavInfo.out), QStringList({"2 ch WAVE LPCM", "16 bit 44100 Hz", "00:01.000"}));
    for (const RunResult* r : {&ls, &wavInfo}) {
        EXPECT_FALSE(r->err.contains("initialize program: " + binDir().toUtf8() + "/wavelocker-tool-all"));
        for (const QString& name : unused)
            EXPECT_FALSE(loaded(*r, name)) << name.toStdString();
    }

    // The module, with FFmpeg, only for a compressed file; what it says is the whole tool's.
    const RunResult mp3Info = runProgram("wavelocker-tool", {"info", mp3}, env);
    ASSERT_EQ(mp3Info.exitCode, 0) << mp3Info.err.constData();
    EXPECT_TRUE(loaded(mp3Info, "wavelocker-ffmpeg.so"));
    EXPECT_TRUE(loaded(mp3Info, "libavcodec"));
    EXPECT_FALSE(loaded(mp3Info, "libjack"));
    const RunResult wholeInfo = runProgram("wavelocker-tool-all", {"info", mp3});
    ASSERT_EQ(wholeInfo.exitCode, 0);
    EXPECT_EQ(mp3Info.out, wholeInfo.out);
    EXPECT_EQ(lines(mp3Info.out).value(0), "2 ch MP3");

    // Other commands, help and mistakes reach the whole tool with their arguments.
    const RunResult zip = runProgram("wavelocker-tool", {"--library", lib, "zip", wav}, env);
    EXPECT_EQ(zip.exitCode, 0) << zip.err.constData();
    EXPECT_TRUE(zip.err.contains("initialize program: " + binDir().toUtf8() + "/wavelocker-tool-all"));
    EXPECT_TRUE(QFileInfo::exists(lib + "/tone.zip"));
    const RunResult help = runProgram("wavelocker-tool", {});
    EXPECT_EQ(help.exitCode, 2);
    EXPECT_TRUE(help.err.contains("  units "));
    EXPECT_EQ(runProgram("wavelocker-tool", {"--library"}).exitCode, 2);
    EXPECT_EQ(runProgram("wavelocker-tool", {"--colour", "ls"}).exitCode, 2);
    EXPECT_EQ(runProgram("wavelocker-tool", {"lsx"}).exitCode, 2);
    EXPECT_EQ(runProgram("wavelocker-tool", {"info"}).exitCode, 2);
}
