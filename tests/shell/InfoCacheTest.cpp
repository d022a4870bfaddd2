// `wavelocker-tool info` describes a compressed file again from the information cache, without
// loading the codecs, and never describes a file from an entry made for another version of it.
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <fcntl.h>

using namespace testsupport;

namespace {

struct Described {
    QByteArray text;
    bool loadedCodecs = false;
    int exitCode = -1;
};

Described describe(const TempTree& tree, const QString& file)
{
    const RunResult r = runProgram("wavelocker-tool", {"info", file},
                                   {"XDG_CACHE_HOME=" + tree.path("cache"), "XDG_CONFIG_HOME=" + tree.path("config"),
                                    "XDG_DATA_HOME=" + tree.path("data"), "LD_DEBUG=files"});
    return {r.out, r.err.contains("wavelocker-ffmpeg.so"), r.exitCode};
}

QStringList entries(const TempTree& tree)
{
    return QDir(tree.path("cache/com.orvenic.Wavelocker/file-info")).entryList(QDir::Files | QDir::Hidden);
}

}  // namespace

TEST(InformationCache, DescribesAgainWithoutTheCodecsAndNeverFromAnOldVersion)
{
    TempTree tree;
    const QString wav = tree.path("tone.wav");
    const QString longWav = tree.path("long.wav");
    ASSERT_TRUE(writeToneWav(wav, 2, 44100, 44100));
    ASSERT_TRUE(writeToneWav(longWav, 1, 48000, 48000 * 3));
    const QString one = tree.path("one.mp3");
    const QString three = tree.path("three.mp3");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", wav, "-c:a", "libmp3lame", "-b:a", "128k", one}));
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", longWav, "-c:a", "libmp3lame", "-b:a", "64k", three}));

    // A PCM file is read without the codecs and leaves no entry.
    const Described pcm = describe(tree, wav);
    ASSERT_EQ(pcm.exitCode, 0);
    EXPECT_FALSE(pcm.loadedCodecs);
    EXPECT_TRUE(entries(tree).isEmpty());

    const Described threeFresh = describe(tree, three);
    ASSERT_EQ(threeFresh.exitCode, 0);
    EXPECT_TRUE(threeFresh.text.startsWith("1 ch MP3\n"));
    EXPECT_TRUE(threeFresh.text.endsWith("00:03.000\n")) << threeFresh.text.constData();

    const QString take = tree.path("take.mp3");
    ASSERT_TRUE(QFile::copy(one, take));
    const Described first = describe(tree, take);
    ASSERT_EQ(first.exitCode, 0);
    EXPECT_TRUE(first.loadedCodecs);
    EXPECT_TRUE(first.text.startsWith("2 ch MP3\n"));
    EXPECT_TRUE(first.text.endsWith("00:01.000\n")) << first.text.constData();
    EXPECT_EQ(entries(tree).size(), 2);
    const Described again = describe(tree, take);
    EXPECT_FALSE(again.loadedCodecs);
    EXPECT_EQ(again.text, first.text);

    // Another file renamed into its place.
    const QString incoming = tree.path("incoming.mp3");
    ASSERT_TRUE(QFile::copy(three, incoming));
    ASSERT_EQ(::rename(QFile::encodeName(incoming).constData(), QFile::encodeName(take).constData()), 0);
    const Described replaced = describe(tree, take);
    EXPECT_TRUE(replaced.loadedCodecs);
    EXPECT_EQ(replaced.text, threeFresh.text);
    EXPECT_FALSE(describe(tree, take).loadedCodecs);

    // Rewritten in place, then its modification time put back: only the change time tells.
    struct stat before {};
    ASSERT_EQ(::stat(QFile::encodeName(take).constData(), &before), 0);
    const QByteArray bytes = readFile(take);
    {
        QFile rewrite(take);
        ASSERT_TRUE(rewrite.open(QIODevice::ReadWrite));
        ASSERT_EQ(rewrite.write(bytes), bytes.size());
    }
    const struct timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(take).constData(), times, 0), 0);
    const Described touched = describe(tree, take);
    EXPECT_TRUE(touched.loadedCodecs);
    EXPECT_EQ(touched.text, threeFresh.text);

    // A damaged entry is read afresh, and written anew.
    for (const QString& name : entries(tree)) {
        QFile entry(tree.path("cache/com.orvenic.Wavelocker/file-info/" + name));
        ASSERT_TRUE(entry.resize(entry.size() / 2));
    }
    const Described damaged = describe(tree, take);
    EXPECT_TRUE(damaged.loadedCodecs);
    EXPECT_EQ(damaged.text, threeFresh.text);
    EXPECT_FALSE(describe(tree, take).loadedCodecs);

    // A file that is gone is described by nobody.
    ASSERT_TRUE(QFile::remove(take));
    EXPECT_EQ(describe(tree, take).exitCode, 1);
}
