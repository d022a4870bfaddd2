#include "support/JackServer.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <gtest/gtest.h>

TEST(ToolPlay, PlaysAudioAndMidiToTheirEndThroughTheEngine)
{
    testsupport::TempTree tree;
    testsupport::JackServer server;
    ASSERT_TRUE(server.start());
    const QStringList env = {QStringLiteral("JACK_DEFAULT_SERVER=") + server.name()};
    const QString wav = tree.path(QStringLiteral("short.wav"));
    ASSERT_TRUE(testsupport::writeFloatWav(wav, 44100, 1, std::vector<float>(44100 / 4, 0.1f)));
    auto played = testsupport::runProgram(QStringLiteral("wavelocker-tool"), {QStringLiteral("play"), wav}, env, 20000);
    EXPECT_EQ(played.exitCode, 0) << played.err.constData();
    EXPECT_TRUE(played.out.startsWith("xruns: ")) << played.out.constData();
    EXPECT_TRUE(played.err.contains("FilePlayer callback: 512 frames"));

    const QString mid = tree.path(QStringLiteral("short.mid"));
    ASSERT_TRUE(testsupport::writeFile(mid, testsupport::midiFileBytes({{0, 0.5, 60}})));
    played = testsupport::runProgram(QStringLiteral("wavelocker-tool"), {QStringLiteral("play"), mid}, env, 20000);
    EXPECT_EQ(played.exitCode, 0) << played.err.constData();
    EXPECT_TRUE(played.err.contains("Starting midi at 0"));

    // Unreadable input and a missing server both fail with a reason.
    const QString junk = tree.path(QStringLiteral("junk.wav"));
    ASSERT_TRUE(testsupport::writeFile(junk, QByteArray(100, 'x')));
    played = testsupport::runProgram(QStringLiteral("wavelocker-tool"), {QStringLiteral("play"), junk}, env, 20000);
    EXPECT_EQ(played.exitCode, 1);
    EXPECT_TRUE(played.err.contains("could not play"));
    server.stop();
    played = testsupport::runProgram(QStringLiteral("wavelocker-tool"), {QStringLiteral("play"), wav}, env, 20000);
    EXPECT_EQ(played.exitCode, 1);
    EXPECT_TRUE(played.err.contains("no JACK server could be reached"));
}
