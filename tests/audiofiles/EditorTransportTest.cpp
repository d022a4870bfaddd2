#include "audiofiles/EditorTransport.h"
#include "audiofiles/OfflinePull.h"
#include "audiofiles/editor/TrimSettings.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QSignalSpy>
#include <gtest/gtest.h>
#include <cmath>

using testsupport::TempTree;

namespace {

constexpr int kRate = 44100;
constexpr int kFrames = kRate;  // one second

// A mono second whose every frame tells its own number: frame i holds (i + 1) / (frames + 1).
QString writeRamp(const TempTree& tree, const QString& name)
{
    std::vector<float> samples(size_t(kFrames), 0.0f);
    for (int i = 0; i < kFrames; ++i)
        samples[size_t(i)] = float(i + 1) / float(kFrames + 1);
    const QString path = tree.path(name);
    EXPECT_TRUE(testsupport::writeFloatWav(path, kRate, 1, samples));
    return path;
}

// The file frames that the pulled output frames came from.
std::vector<int64_t> framesOf(const std::vector<float>& stereo)
{
    std::vector<int64_t> frames;
    for (size_t i = 0; i < stereo.size(); i += 2)
        frames.push_back(std::llround(double(stereo[i]) * (kFrames + 1)) - 1);
    return frames;
}

// The buttons "<<<" (-100 ms) and ">>>" (+100 ms) of the start and the end.
const int kStartLeft = TrimSettings::nudgeTag(true, 0);
const int kStartRight = TrimSettings::nudgeTag(true, 5);
const int kEndLeft = TrimSettings::nudgeTag(false, 0);
const int kEndRight = TrimSettings::nudgeTag(false, 5);

int64_t nextFrame(FilePlayer& player)
{
    const std::vector<int64_t> frames = framesOf(pullPlayer(player, 1));
    return frames.empty() ? -1 : frames.front();
}

struct Rig {
    TempTree tree;
    FilePlayer player;
    EditorTransport transport{&player};
    int previewStops = 0;
    platform::ScopedObserver stopPreview{notifications::kStopPreview, [this](const auto&) { ++previewStops; }};
    QString file;

    Rig()
    {
        player.setupWithSampleRate(kRate);
        player.startGraph();
        file = writeRamp(tree, QStringLiteral("ramp.wav"));
        transport.setItem(file, FilePlayer::kAudio, 1.0);
    }
};

}  // namespace

TEST(EditorTransport, NudgesPauseMoveAndPlayOnWhereTheEarExpects)
{
    Rig rig;
    FilePlayer& player = rig.player;
    EditorTransport& t = rig.transport;

    // The normal state plays the whole file from its start, without fades; the browser's
    // preview is told to stop when the editor takes the player.
    t.playPress();
    ASSERT_TRUE(t.playingThis());
    EXPECT_EQ(rig.previewStops, 1);
    EXPECT_EQ(nextFrame(player), 0);
    t.playPress();
    EXPECT_FALSE(player.isPlaying());

    // The trim state plays the selection: from its start, since play stood before it.
    t.setTrimming(true);
    t.setSelection(0.25, 0.75);
    t.playPress();
    ASSERT_TRUE(player.isPlaying());
    EXPECT_EQ(nextFrame(player), kRate / 4);

    // ">>>" on the start: play goes on from the new start.
    EditorTransport::Selection moved = t.trimNudgePress(kStartRight, 0, 1.0);
    EXPECT_NEAR(moved.start, 0.35, 1e-12);
    EXPECT_NEAR(player.regionStart(), 0.35, 1e-12);
    ASSERT_TRUE(player.isPlaying());
    EXPECT_EQ(nextFrame(player), 15435);

    // "<<<" on the end: play goes on from where it was, and now stops 0.1 s earlier.
    const std::vector<int64_t> before = framesOf(pullPlayer(player, 441));
    ASSERT_EQ(before.back(), 15435 + 441);
    moved = t.trimNudgePress(kEndLeft, 0, 1.0);
    EXPECT_NEAR(moved.end, 0.65, 1e-12);
    EXPECT_NEAR(player.regionEnd(), 0.65, 1e-12);
    const std::vector<int64_t> after = framesOf(pullPlayer(player, kRate));
    ASSERT_FALSE(after.empty());
    EXPECT_EQ(after.front(), before.back() + 1);
    EXPECT_EQ(after.back(), 28664);  // the last frame before 0.65 s
    for (size_t i = 1; i < after.size(); ++i)
        ASSERT_EQ(after[i], after[i - 1] + 1) << "a gap at output frame " << i;
    player.stop();

    // Handles stay inside the file, inside the zoomed range and on their own side; a nudge
    // while not playing starts nothing.
    t.setSelection(0.05, 0.5);
    EXPECT_DOUBLE_EQ(t.trimNudgePress(kStartLeft, 0, 1.0).start, 0.0);
    t.setSelection(0.45, 0.95);
    EXPECT_DOUBLE_EQ(t.trimNudgePress(kEndRight, 0, 1.0).end, 1.0);
    EXPECT_DOUBLE_EQ(t.trimNudgePress(kStartRight, 0.2, 0.5).start, 0.5);
    t.setSelection(0.5, 0.52);
    EXPECT_DOUBLE_EQ(t.trimNudgePress(kEndLeft, 0, 1.0).end, 0.5);
    EXPECT_FALSE(player.isPlaying());
    EXPECT_DOUBLE_EQ(t.trimNudgePress(0, 0, 1.0).end, 0.5);  // a tag no button carries
}

TEST(EditorTransport, LoopRewindCursorAndFadesFollowPlay)
{
    Rig rig;
    FilePlayer& player = rig.player;
    EditorTransport& t = rig.transport;
    QSignalSpy positions(&t, &EditorTransport::positionChanged);
    QSignalSpy playing(&t, &EditorTransport::playingChanged);

    t.setTrimming(true);
    t.setSelection(0.25, 0.5);
    t.setFadeIn(0.01);
    t.setFadeOut(0.01);
    t.playPress();
    ASSERT_TRUE(player.isPlaying());
    EXPECT_EQ(playing.count(), 1);
    EXPECT_TRUE(playing.last().first().toBool());
    EXPECT_DOUBLE_EQ(player.fadeIn(), 0.01);
    // A fade changed while playing is heard at once.
    t.setFadeIn(0);
    t.setFadeOut(0);
    EXPECT_DOUBLE_EQ(player.fadeIn(), 0);
    EXPECT_DOUBLE_EQ(player.fadeOut(), 0);
    pullPlayer(player, kRate / 10);

    // The loop takes effect at once: play goes on without a gap and wraps at the end.
    t.loopToggled();
    EXPECT_TRUE(t.loop());
    EXPECT_TRUE(player.loop());
    ASSERT_TRUE(player.isPlaying());
    const std::vector<int64_t> looped = framesOf(pullPlayer(player, kRate / 4));
    EXPECT_EQ(looped.front(), kRate / 4 + kRate / 10);
    const auto wrap = std::find(looped.begin(), looped.end(), int64_t(kRate / 2 - 1));
    ASSERT_NE(wrap, looped.end());
    ASSERT_NE(wrap + 1, looped.end());
    EXPECT_EQ(*(wrap + 1), kRate / 4);
    t.loopToggled();
    EXPECT_FALSE(player.loop());
    EXPECT_TRUE(player.isPlaying());

    // Progress ticks report where play is.
    positions.clear();
    player.timerCallback();
    ASSERT_EQ(positions.count(), 1);
    EXPECT_NEAR(positions.last().first().toDouble(), player.getCurrentTime(), 1e-9);

    // Rewind while playing: from the selection's start again.
    pullPlayer(player, 1000);
    t.rewindPress();
    EXPECT_DOUBLE_EQ(positions.last().first().toDouble(), 0.25);
    ASSERT_TRUE(player.isPlaying());
    EXPECT_EQ(nextFrame(player), kRate / 4);

    // A cursor drag pauses play and resumes it from where the cursor was left.
    const int stopsBefore = rig.previewStops;
    t.cursorDragStarted();
    EXPECT_FALSE(player.isPlaying());
    EXPECT_EQ(rig.previewStops, stopsBefore + 1);
    t.cursorMoved(0.4);
    EXPECT_DOUBLE_EQ(positions.last().first().toDouble(), 0.4);
    t.cursorDragEnded();
    ASSERT_TRUE(player.isPlaying());
    EXPECT_EQ(nextFrame(player), 17640);

    // A handle released while playing: the new region plays on from where play was.
    const int64_t at = nextFrame(player);
    t.setSelection(0.3, 0.45);
    t.selectionSet();
    EXPECT_DOUBLE_EQ(player.regionEnd(), 0.45);
    EXPECT_EQ(nextFrame(player), at + 1);

    // Another file on the player (the browser's preview): this one is no longer playing, and
    // play loads it again with the editor's region, loop and fades.
    const QString other = writeRamp(rig.tree, QStringLiteral("other.wav"));
    ASSERT_TRUE(player.loadAudioURL(other));
    player.setLoop(true);
    player.play();
    EXPECT_FALSE(t.playingThis());
    EXPECT_FALSE(playing.last().first().toBool());
    t.setFadeIn(0.02);  // not the editor's file: the player's fade stays
    EXPECT_DOUBLE_EQ(player.fadeIn(), 0);
    t.playPress();
    EXPECT_EQ(player.url(), rig.file);
    EXPECT_FALSE(player.loop());
    EXPECT_DOUBLE_EQ(player.regionStart(), 0.3);
    EXPECT_DOUBLE_EQ(player.fadeIn(), 0.02);
    EXPECT_TRUE(t.playingThis());

    // Leaving the trim state: the whole file without fades; rewind goes to its start.
    t.setTrimming(false);
    EXPECT_DOUBLE_EQ(player.regionStart(), 0);
    EXPECT_DOUBLE_EQ(player.regionEnd(), 0);
    EXPECT_DOUBLE_EQ(player.fadeIn(), 0);
    t.rewindPress();
    EXPECT_EQ(nextFrame(player), 0);

    // The remote control's play toggle and rewind reach the transport.
    platform::NotificationCenter::defaultCenter().post(notifications::kRemoteTogglePlay);
    EXPECT_FALSE(player.isPlaying());
    pullPlayer(player, 10);
    platform::NotificationCenter::defaultCenter().post(notifications::kRemoteTogglePlay);
    EXPECT_TRUE(player.isPlaying());
    player.stop();

    // The browser's preview of the shown file moves the shown time; a preview of another
    // file does not.
    {
        EditorTransport shown{&player};
        QSignalSpy ticks(&shown, &EditorTransport::positionChanged);
        shown.setItem(other, FilePlayer::kAudio, 1.0);
        ASSERT_TRUE(player.loadAudioURL(other));
        player.play();
        pullPlayer(player, kRate / 5);
        ticks.clear();
        player.timerCallback();
        ASSERT_EQ(ticks.count(), 1);
        EXPECT_NEAR(ticks.last().first().toDouble(), 0.2, 0.05);
        ASSERT_TRUE(player.loadAudioURL(rig.file));
        player.play();
        ticks.clear();
        player.timerCallback();
        EXPECT_EQ(ticks.count(), 0);
        player.stop();
    }

    // Nothing to play: presses do nothing.
    t.setItem(QString(), FilePlayer::kNone, 0);
    t.playPress();
    EXPECT_FALSE(player.isPlaying());
}
