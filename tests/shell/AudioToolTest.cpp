#include "audiofiles/ConversionOptions.h"
#include "platform/Settings.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QFileInfo>
#include <gtest/gtest.h>

using namespace testsupport;

TEST(AudioTool, CommandsPrintTheWrittenPathAndExitByOutcome)
{
    TempTree tree;
    const QString src = tree.path("tone.wav");
    ASSERT_TRUE(writeToneWav(src, 2, 44100, 3 * 44100));

    RunResult r = runProgram("wavelocker-tool", {"info", src});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "2 ch WAVE LPCM\n16 bit 44100 Hz\n00:03.000\n");

    r = runProgram("wavelocker-tool", {"trim", src, tree.path("t.wav"), "--start", "1", "--end", "2.5", "--fade-in", "0.1"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out.trimmed(), tree.path("t.wav").toUtf8());
    EXPECT_TRUE(r.err.contains("fade in: 4410 frames, out: 0 frames"));
    EXPECT_EQ(probe(tree.path("t.wav"))["duration_ts"], "66150");

    r = runProgram("wavelocker-tool", {"normalize", src, tree.path("n.wav")});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_TRUE(r.err.contains("Found peak: 0.49"));

    // Unset options come from the stored conversion format.
    ConversionOptions stored;
    stored.format = 2;
    stored.bits = 24;
    stored.samplerate = 22050;
    stored.store();
    platform::Settings::sync();
    r = runProgram("wavelocker-tool", {"convert", src, tree.path("c.caf"), "--channels", "1"});
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    const Probe p = probe(tree.path("c.caf"));
    EXPECT_EQ(p["codec_name"], "pcm_s24le");
    EXPECT_EQ(p["sample_rate"], "22050");
    EXPECT_EQ(p["channels"], "1");

    r = runProgram("wavelocker-tool", {"decode", tree.path("c.caf"), tree.path("d.wav")});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(probe(tree.path("d.wav"))["sample_rate"], "44100");

    // Failures exit 1 with the reason; usage errors exit 2.
    r = runProgram("wavelocker-tool", {"decode", tree.path("missing.wav"), tree.path("x.wav")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("Could not open audio URL " + tree.path("missing.wav").toUtf8()));
    EXPECT_TRUE(r.out.isEmpty());
    r = runProgram("wavelocker-tool", {"convert", src, tree.path("d.wav")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("Could not move "));
    for (const QStringList& args : {QStringList{"trim", src, tree.path("y.wav"), "--start", "1"},
                                    QStringList{"convert", src, tree.path("y.wav"), "--format", "7"},
                                    QStringList{"convert", src, tree.path("y.wav"), "--bits", "x"},
                                    QStringList{"info"}}) {
        r = runProgram("wavelocker-tool", args);
        EXPECT_EQ(r.exitCode, 2) << args.join(' ').toStdString();
    }
    EXPECT_FALSE(QFileInfo::exists(tree.path("x.wav")));
    EXPECT_FALSE(QFileInfo::exists(tree.path("y.wav")));
}
