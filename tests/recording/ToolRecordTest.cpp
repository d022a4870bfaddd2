#include "support/BuildPaths.h"
#include "support/DecodedAudio.h"
#include "support/JackServer.h"
#include "support/KnownSignal.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QFile>
#include <QProcess>
#include <gtest/gtest.h>
#include <csignal>

// The command line's recorder: the player as source ends with the file and holds it exactly;
// SIGTERM ends a take from the input and still delivers it; OUT is never replaced.
TEST(ToolRecord, PlayerSourceToItsEndAndInputUntilSigterm)
{
    testsupport::TempTree tree;
    testsupport::JackServer server;
    ASSERT_TRUE(server.start());
    const int64_t fileFrames = 30000;
    const QString file = tree.path(QStringLiteral("source.wav"));
    ASSERT_TRUE(testsupport::writeKnownSignalWav(file, fileFrames));

    const QString out = tree.path(QStringLiteral("take.caf"));
    auto run = testsupport::runProgram(QStringLiteral("wavelocker-tool"),
                                       {"record", out, "--format", "2", "--bits", "24", "--source", "player", file}, {}, 60000);
    ASSERT_EQ(run.exitCode, 0) << run.err.constData();
    const QStringList lines = QString::fromUtf8(run.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_TRUE(lines[0].endsWith(QStringLiteral("/recording.caf")));
    EXPECT_EQ(lines[1], out);
    EXPECT_TRUE(lines[2].startsWith(QStringLiteral("frames: ")));
    const auto audio = testsupport::decodeFile(out);
    EXPECT_EQ(audio.bits, 24);
    int64_t start = 0;
    while (start < audio.frames() && audio.at(start, 0) == 0)
        ++start;
    const std::vector<float> heard(audio.samples.begin() + start * 2, audio.samples.end());
    const auto m = testsupport::matchKnownSignal(heard, 2, 1);
    ASSERT_TRUE(m.found);
    EXPECT_EQ(m.start, 0u);
    EXPECT_EQ(m.jumps + m.repeats, 0);
    EXPECT_GE(m.mismatchAt < 0 ? m.frames : m.mismatchAt, fileFrames);  // all of the file, then silence

    // An existing OUT is refused before anything is recorded.
    run = testsupport::runProgram(QStringLiteral("wavelocker-tool"), {"record", out, "--seconds", "1"}, {}, 60000);
    EXPECT_NE(run.exitCode, 0);
    EXPECT_TRUE(run.err.contains("already exists"));

    QProcess tool;
    const QString mono = tree.path(QStringLiteral("mono.m4a"));
    tool.start(testsupport::binDir() + QStringLiteral("/wavelocker-tool"),
               {"record", mono, "--format", "4", "--channels", "1", "--samplerate", "22050"});
    ASSERT_TRUE(tool.waitForStarted());
    ASSERT_TRUE(testsupport::waitUntil([&] { return tool.canReadLine(); }, 60000));
    // Half a second on disk, however slowly the loaded machine gets there.
    const QString growing = QString::fromUtf8(tool.readLine()).trimmed();
    const QString scratch = tree.path(QStringLiteral("scratch.m4a"));
    ASSERT_GE(testsupport::waitForFramesOnDisk(growing, scratch, 22050 / 2, testsupport::kPatienceMs), 22050 / 2);
    ::kill(pid_t(tool.processId()), SIGTERM);
    ASSERT_TRUE(tool.waitForFinished(30000));
    EXPECT_EQ(tool.exitCode(), 0);
    const auto take = testsupport::decodeFile(mono);
    EXPECT_EQ(take.channels, 1);
    EXPECT_EQ(take.rate, 22050);
    EXPECT_GT(take.frames(), 22050 / 2);
    EXPECT_FALSE(testsupport::readFile(mono).contains("moof"));  // a plain M4A
}
