#include "audiofiles/FadeLaw.h"
#include "audiofiles/FilePlayer.h"
#include "audiofiles/OfflinePull.h"
#include "platform/NotificationCenter.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QFile>
#include <QRandomGenerator>
#include <gtest/gtest.h>
#include <cmath>

using testsupport::LogCapture;
using testsupport::TempTree;

namespace {

constexpr int kRate = 44100;

// A mono file whose every frame is distinct: frame i holds (i + 1) / (frames + 1).
QString writeRamp(const TempTree& tree, int frames)
{
    std::vector<float> samples(size_t(frames), 0.0f);
    for (int i = 0; i < frames; ++i)
        samples[size_t(i)] = float(i + 1) / float(frames + 1);
    const QString path = tree.path(QStringLiteral("ramp.wav"));
    EXPECT_TRUE(testsupport::writeFloatWav(path, kRate, 1, samples));
    return path;
}

QString writeConstant(const TempTree& tree, double seconds, float level)
{
    const QString path = tree.path(QStringLiteral("constant.wav"));
    EXPECT_TRUE(testsupport::writeFloatWav(path, kRate, 2, std::vector<float>(size_t(seconds * kRate) * 2, level)));
    return path;
}

float rms(const std::vector<float>& stereo, int64_t from, int64_t to)
{
    double sum = 0;
    for (int64_t i = from; i < to; ++i)
        sum += double(stereo[size_t(2 * i)]) * stereo[size_t(2 * i)];
    return float(std::sqrt(sum / double(std::max<int64_t>(1, to - from))));
}

}  // namespace

TEST(FilePlayer, RegionWithFadesFollowsTheTrimLawAndEndsInSilence)
{
    TempTree tree;
    FilePlayer player;
    player.setupWithSampleRate(kRate);
    player.startGraph();
    ASSERT_TRUE(player.loadAudioURL(writeConstant(tree, 2.0, 0.5f)));
    EXPECT_EQ(player.type(), FilePlayer::kAudio);
    EXPECT_DOUBLE_EQ(player.length(), 2.0);
    player.setRegionStart(0.5);
    player.setRegionEnd(1.5);
    player.setFadeIn(0.1);
    player.setFadeOut(0.2);
    player.setStartTime(0.1);  // before the region: play begins at its start
    int finished = 0;
    platform::ScopedObserver done(QLatin1String(FilePlayer::kDidFinishNotification), [&](const auto& n) {
        finished += n.object == &player;
    });
    player.play();
    ASSERT_TRUE(player.isPlaying());
    EXPECT_DOUBLE_EQ(player.startTime(), 0.5);

    const std::vector<float> out = pullPlayer(player, kRate * 2);
    ASSERT_EQ(out.size(), size_t(kRate) * 2);  // exactly the region, one second
    for (int64_t p = 0; p < kRate; ++p) {
        const float expected = 0.5f * Utils::fadeGain(p, kRate, kRate / 10, kRate / 5);
        ASSERT_FLOAT_EQ(out[size_t(2 * p)], expected) << "frame " << p;
        ASSERT_FLOAT_EQ(out[size_t(2 * p + 1)], expected) << "frame " << p;
    }
    EXPECT_EQ(out[0], 0.0f);                                   // the first frame is silent
    EXPECT_FLOAT_EQ(out[2 * 4410], 0.5f);                      // full level after the fade-in
    EXPECT_FLOAT_EQ(out[size_t(2 * (kRate - 1))], 0.5f / 8820);  // the last frame keeps 1/fadeOut

    // Past the region's end the player renders silence and then says it has finished.
    std::vector<float> l(512), r(512);
    float* bufs[2] = {l.data(), r.data()};
    for (int i = 0; i < 12; ++i) {
        player.render(bufs, 512);
        for (float s : l)
            ASSERT_EQ(s, 0.0f);
    }
    player.timerCallback();
    EXPECT_EQ(finished, 1);
    EXPECT_FALSE(player.isPlaying());
    EXPECT_DOUBLE_EQ(player.currentTime(), 1.5);
}

TEST(FilePlayer, LoopRepeatsTheRegionWithoutAGap)
{
    TempTree tree;
    const int frames = kRate;
    const QString path = writeRamp(tree, frames);
    FilePlayer player;
    player.setupWithSampleRate(kRate);
    player.startGraph();
    ASSERT_TRUE(player.loadAudioURL(path));
    const int64_t regionStart = kRate / 4, regionEnd = 3 * kRate / 4, start = kRate / 2;
    player.setRegionStart(0.25);
    player.setRegionEnd(0.75);
    player.setStartTime(0.5);
    player.setLoop(true);
    player.play();
    // Odd block sizes put the seams inside blocks as well as on their edges.
    const std::vector<float> out = pullPlayer(player, 3 * kRate, 333);
    ASSERT_EQ(out.size(), size_t(3 * kRate) * 2);
    int64_t pos = start;
    for (int64_t i = 0; i < 3 * kRate; ++i) {
        ASSERT_FLOAT_EQ(out[size_t(2 * i)], float(pos + 1) / float(frames + 1)) << "output frame " << i;
        if (++pos == regionEnd)
            pos = regionStart;
    }
    // The player's clock wraps the same way.
    EXPECT_NEAR(player.getCurrentTime(), double(pos) / kRate, 1e-9);
    player.timerCallback();
    EXPECT_TRUE(player.isPlaying());
    player.stop();

    // With fades the seam goes through silence instead of jumping: no step larger than a
    // fade's slope anywhere in the loop.
    ASSERT_TRUE(player.loadAudioURL(writeConstant(tree, 1.0, 0.8f)));
    player.setRegionStart(0.25);
    player.setRegionEnd(0.75);
    player.setLoop(true);
    player.setFadeIn(0.01);
    player.setFadeOut(0.01);
    player.play();
    const std::vector<float> faded = pullPlayer(player, 2 * kRate, 512);
    float largestStep = 0;
    for (size_t i = 2; i < faded.size(); i += 2)
        largestStep = std::max(largestStep, std::fabs(faded[i] - faded[i - 2]));
    EXPECT_LE(largestStep, 0.8f / 441 + 1e-6f);
    EXPECT_EQ(faded[size_t(2 * (kRate / 2))], 0.0f);  // the loop's first frame, after the first pass
    player.stop();
}

TEST(FilePlayer, VolumeMuteAndUnreadableFiles)
{
    TempTree tree;
    FilePlayer player;
    player.setupWithSampleRate(kRate);
    player.startGraph();
    ASSERT_TRUE(player.loadAudioURL(writeConstant(tree, 0.5, 0.5f)));
    player.setVolume(0.5f);
    player.setChannelIsMuted(true);
    EXPECT_TRUE(player.channel()->isMuted());
    player.play();
    const std::vector<float> out = pullPlayer(player, 1024);
    ASSERT_EQ(out.size(), 2048u);
    EXPECT_FLOAT_EQ(out[1000], 0.25f);
    player.stop();

    LogCapture logs;
    const QString junk = tree.path(QStringLiteral("junk.wav"));
    ASSERT_TRUE(testsupport::writeFile(junk, QByteArray("RIFF\x10\0\0\0WAVEjunkjunk", 20)));
    EXPECT_FALSE(player.loadAudioURL(junk));
    EXPECT_EQ(player.type(), FilePlayer::kNone);
    EXPECT_TRUE(player.url().isEmpty());
    EXPECT_TRUE(logs.contains(QStringLiteral("FilePlayer: could not open %1").arg(junk)));
    EXPECT_GE(logs.lines().size(), 2);  // the reader's own reason comes first
    player.play();
    EXPECT_FALSE(player.isPlaying());
    EXPECT_FALSE(player.loadAudioURL(tree.path(QStringLiteral("missing.wav"))));
}

TEST(FilePlayer, MidiNotesSoundAtTheirTimes)
{
    TempTree tree;
    LogCapture logs;
    FilePlayer player;
    player.setupWithSampleRate(kRate);
    player.startGraph();
    // 120 BPM: beat 1 is at 0.5 s, beat 3 at 1.5 s; the song is four beats long.
    const QString path = tree.path(QStringLiteral("song.mid"));
    ASSERT_TRUE(testsupport::writeFile(path, testsupport::midiFileBytes({{1, 0.5, 60}, {3, 1, 67}})));
    ASSERT_TRUE(player.loadMidiURL(path));
    EXPECT_EQ(player.type(), FilePlayer::kMidi);
    EXPECT_DOUBLE_EQ(player.length(), 2.0);
    EXPECT_TRUE(logs.contains(QStringLiteral("midi sequence has 1 tracks")));
    EXPECT_TRUE(logs.contains(QStringLiteral("MIDI track length: 2 seconds (4 beats)")));

    player.play();
    EXPECT_TRUE(logs.contains(QStringLiteral("Starting midi at 0")));
    const std::vector<float> out = pullPlayer(player, 2 * kRate);
    ASSERT_EQ(out.size(), size_t(2 * kRate) * 2);
    const int64_t beat = kRate / 2;
    EXPECT_LT(rms(out, 0, beat), 1e-6f);                  // nothing before the first note
    EXPECT_GT(rms(out, beat, beat + beat / 4), 0.01f);    // the first note
    EXPECT_LT(rms(out, 2 * beat, 3 * beat), 1e-3f);       // the gap between the notes
    EXPECT_GT(rms(out, 3 * beat, 3 * beat + beat / 4), 0.01f);
    // The onset is within the sampler's 64-frame step and the instrument's attack.
    int64_t onset = 0;
    while (onset < 2 * kRate && std::fabs(out[size_t(2 * onset)]) < 1e-4f)
        ++onset;
    EXPECT_GE(onset, beat);
    EXPECT_LT(onset, beat + 256);
    player.stop();

    // From 1.0 s: the first note is over and not replayed; the second sounds 0.5 s in.
    player.setStartTime(1.0);
    player.play();
    EXPECT_TRUE(logs.contains(QStringLiteral("Starting midi at 2")));
    const std::vector<float> late = pullPlayer(player, kRate);
    EXPECT_LT(rms(late, 0, beat), 1e-6f);
    EXPECT_GT(rms(late, beat, beat + beat / 4), 0.01f);
    player.stop();
}

TEST(FilePlayer, CorruptMidiIsRefused)
{
    TempTree tree;
    LogCapture logs;
    FilePlayer player;
    player.setupWithSampleRate(kRate);
    const QByteArray good = testsupport::midiFileBytes({{0, 1, 60}, {1, 1, 62}, {2, 2, 64}});
    const QString path = tree.path(QStringLiteral("bad.mid"));
    ASSERT_TRUE(testsupport::writeFile(path, good.left(good.size() - 9)));
    EXPECT_FALSE(player.loadMidiURL(path));
    EXPECT_EQ(player.type(), FilePlayer::kNone);
    EXPECT_TRUE(logs.contains(QStringLiteral("Could not load midi file")));
    ASSERT_TRUE(testsupport::writeFile(path, QByteArray("MThd\0\0\0\6\0\0\0\1\1\xE0MTrk\xFF\xFF\xFF\xFF", 22)));
    EXPECT_FALSE(player.loadMidiURL(path));

    // Random damage anywhere: each file is loaded or refused, never a crash.
    QRandomGenerator random(4);
    for (int round = 0; round < 300; ++round) {
        QByteArray bytes = good;
        for (int hits = 1 + int(random.bounded(4)); hits > 0; --hits)
            bytes[int(random.bounded(bytes.size()))] = char(random.bounded(256));
        ASSERT_TRUE(testsupport::writeFile(path, bytes));
        if (player.loadMidiURL(path)) {
            player.startGraph();
            player.play();
            pullPlayer(player, 4096);
            player.stop();
        }
    }
}

TEST(FilePlayer, PauseGoesOnWherePlayWasAndStopDoesNot)
{
    TempTree tree;
    FilePlayer player;
    player.setupWithSampleRate(kRate);
    player.startGraph();
    constexpr int kFrames = kRate;
    ASSERT_TRUE(player.loadAudioURL(writeRamp(tree, kFrames)));
    auto frameOf = [](float sample) { return int(std::lround(sample * (kFrames + 1))) - 1; };

    player.play();
    ASSERT_EQ(frameOf(pullPlayer(player, 1000)[0]), 0);
    player.pause();
    EXPECT_FALSE(player.isPlaying());
    EXPECT_DOUBLE_EQ(player.startTime(), 1000.0 / kRate);
    player.play();
    std::vector<float> out = pullPlayer(player, 10);
    EXPECT_EQ(frameOf(out[0]), 1000);
    EXPECT_EQ(frameOf(out[2 * 9]), 1009);

    // Stop keeps the start time; a pause at the very end starts over.
    player.stop();
    player.play();
    EXPECT_EQ(frameOf(pullPlayer(player, 1)[0]), 1000);
    pullPlayer(player, kFrames);
    player.pause();
    EXPECT_DOUBLE_EQ(player.startTime(), 0.0);
}

TEST(FilePlayer, AFileReplacedUnderItsNamePlaysAsItIsNow)
{
    TempTree tree;
    FilePlayer player;
    player.setupWithSampleRate(kRate);
    player.startGraph();
    const QString path = writeConstant(tree, 0.5, 0.5f);
    ASSERT_TRUE(player.loadAudioURL(path));
    player.play();
    EXPECT_FLOAT_EQ(pullPlayer(player, 1024)[1000], 0.5f);
    player.stop();

    // An export over the file: longer and at another level, renamed into place.
    const QString aside = tree.path(QStringLiteral("export.wav"));
    ASSERT_TRUE(testsupport::writeFloatWav(aside, kRate, 2, std::vector<float>(size_t(2.0 * kRate) * 2, -0.25f)));
    ASSERT_TRUE(QFile::remove(path) && QFile::rename(aside, path));
    LogCapture logs;
    player.play();
    EXPECT_FLOAT_EQ(pullPlayer(player, 1024)[1000], -0.25f);
    EXPECT_DOUBLE_EQ(player.length(), 2.0);
    EXPECT_TRUE(logs.contains(QStringLiteral("FilePlayer: %1 changed on disk, reading it again").arg(path)));
    player.stop();
}
