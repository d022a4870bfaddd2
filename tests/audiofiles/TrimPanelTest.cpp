#include "audiofiles/screens/DetailViewController.h"
#include "audiofiles/FilePlayer.h"
#include "audiofiles/screens/TrimPanel.h"
#include "audiofiles/screens/WaveView.h"
#include "platform/Settings.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"
#include "ui/screens/Stepper.h"

#include <QAction>
#include <QMenu>
#include <QPushButton>
#include <QTabBar>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

constexpr int kRate = 8000;

QString writeSecond(const QString& path)
{
    EXPECT_TRUE(writeFloatWav(path, kRate, 1, std::vector<float>(kRate, 0.25f)));
    return path;
}

void enterTrim(DetailViewController& detail)
{
    for (QAction* action : detail.toolsMenu()->actions())
        if (action->iconText() == "Trim & Fade")
            action->trigger();
}

}  // namespace

TEST(TrimPanel, FadesNudgesSnapAndTempo)
{
    TempTree tree;
    const QString lib = tree.library();
    FilePlayer& player = *FilePlayer::sharedPlayer();
    player.setupWithSampleRate(kRate);
    DetailViewController detail;
    detail.resize(600, 500);
    detail.show();
    detail.setDetailItem(writeSecond(lib + "/Loop 128bpm.wav"));
    EXPECT_EQ(detail.toolsButton()->text(), "Tools");
    EXPECT_EQ(detail.title(), "Loop 128bpm.wav");
    EXPECT_EQ(detail.windowTitle(), "Loop 128bpm.wav");
    // The file in the player (played and paused): the editor's settings reach the player at once.
    detail.playPress();
    detail.playPress();
    ASSERT_EQ(player.url(), detail.detailItem());

    enterTrim(detail);
    TrimPanel* panel = detail.trimPanel();
    EXPECT_EQ(detail.title(), "Trim & Fade");
    EXPECT_EQ(detail.toolsButton()->text(), "Save");
    EXPECT_DOUBLE_EQ(detail.waveView()->snapTime(), 0.46875);
    EXPECT_EQ(panel->tempoStepper()->text(), "♩= 128.0");
    EXPECT_FALSE(platform::Settings::contains("SnapBpm"));  // shown, not set

    // Fades start at 3 ms on the steppers, the player and the waveform; each change reaches both.
    EXPECT_EQ(panel->fadeInStepper()->text(), "3 ms");
    EXPECT_DOUBLE_EQ(player.fadeIn(), 0.003);
    EXPECT_DOUBLE_EQ(detail.waveView()->fadeOut(), 0.003);
    panel->fadeInStepper()->setValue(0.25);
    EXPECT_EQ(panel->fadeInStepper()->text(), "250 ms");
    EXPECT_DOUBLE_EQ(player.fadeIn(), 0.25);
    EXPECT_DOUBLE_EQ(detail.waveView()->fadeIn(), 0.25);
    panel->fadeOutStepper()->setValue(1.5);
    EXPECT_EQ(panel->fadeOutStepper()->text(), "1.500 s");
    EXPECT_DOUBLE_EQ(player.fadeOut(), 1.5);
    panel->fadeOutStepper()->setValue(0);
    EXPECT_EQ(panel->fadeOutStepper()->text(), "OFF");

    // Nudges: the start's buttons carry -1..-6, the end's 1..6, "<<<" to ">>>".
    EXPECT_EQ(panel->nudgeButton(-1)->text(), "<<<");
    EXPECT_EQ(panel->nudgeButton(6)->text(), ">>>");
    EXPECT_EQ(panel->nudgeButton(-1)->property("tag").toInt(), -1);
    EXPECT_EQ(panel->nudgeButton(0), nullptr);
    detail.waveView()->setStartPos(0.05);
    panel->nudgeButton(-1)->click();  // -100 ms from 0.05 s stops at the file's start
    EXPECT_DOUBLE_EQ(detail.waveView()->startPos(), 0);
    panel->nudgeButton(-5)->click();
    panel->nudgeButton(-4)->click();
    EXPECT_NEAR(detail.waveView()->startPos(), 0.011, 1e-12);
    panel->nudgeButton(6)->click();  // past the end of the file
    EXPECT_DOUBLE_EQ(detail.waveView()->endPos(), 1.0);
    panel->nudgeButton(2)->click();
    panel->nudgeButton(3)->click();
    EXPECT_NEAR(detail.waveView()->endPos(), 0.989, 1e-12);
    EXPECT_EQ(panel->selectionText(), "FROM  00:00.011\nTO  00:00.989\n00:00.978");

    // Snapping shows the length in beats at the stepper's tempo, which is stored.
    panel->snapToggle()->click();
    EXPECT_EQ(panel->snapToggle()->text(), "☒ SNAP TO BEAT");
    EXPECT_TRUE(detail.waveView()->trimSnap());
    detail.waveView()->setStartPos(0);
    detail.waveView()->setEndPos(1);
    panel->tempoStepper()->setValue(120);
    EXPECT_DOUBLE_EQ(detail.waveView()->snapTime(), 0.5);
    EXPECT_EQ(panel->selectionText(), "FROM  00:00.000\nTO  00:01.000\n2 beats");
    EXPECT_FLOAT_EQ(platform::Settings::value("SnapBpm").toFloat(), 120);
    panel->snapToggle()->click();
    EXPECT_EQ(panel->snapToggle()->text(), "☐ SNAP TO BEAT");
    EXPECT_FALSE(detail.waveView()->trimSnap());

    // Tabs page through the panel.
    panel->tabBar()->setCurrentIndex(2);
    EXPECT_EQ(panel->shownPage(), 2);

    // A nudge while playing pauses, moves, and plays the new region: from its start after a
    // start nudge, from where play was after an end nudge.
    detail.playPress();
    ASSERT_TRUE(player.isPlaying());
    panel->nudgeButton(-6)->click();
    EXPECT_TRUE(player.isPlaying());
    EXPECT_DOUBLE_EQ(player.regionStart(), 0.1);
    EXPECT_DOUBLE_EQ(player.startTime(), 0.1);
    player.pause();
    player.setStartTime(0.3);
    player.play();
    panel->nudgeButton(1)->click();
    EXPECT_TRUE(player.isPlaying());
    EXPECT_DOUBLE_EQ(player.regionEnd(), 0.9);
    EXPECT_DOUBLE_EQ(player.startTime(), 0.3);

    // Releasing a handle while playing plays the new region on from where play was.
    detail.waveView()->setStartPos(0.2);
    detail.waveViewDidSetSelection(detail.waveView(), 0);
    EXPECT_TRUE(player.isPlaying());
    EXPECT_DOUBLE_EQ(player.regionStart(), 0.2);
    // Rewind goes back to the selection's start.
    detail.rewindPress();
    EXPECT_TRUE(player.isPlaying());
    EXPECT_DOUBLE_EQ(player.startTime(), 0.2);
    EXPECT_EQ(detail.timeText(), "00:00.20");

    // Cancel: the whole file again, without fades.
    detail.toolCancelPress();
    EXPECT_EQ(detail.title(), "Loop 128bpm.wav");
    EXPECT_EQ(detail.toolsButton()->text(), "Tools");
    EXPECT_DOUBLE_EQ(player.fadeIn(), 0);
    EXPECT_DOUBLE_EQ(player.regionEnd(), 0);
    player.stop();

    // Without a tempo in the name the stored tempo is used; the page starts at FADE again.
    detail.setDetailItem(writeSecond(lib + "/take.wav"));
    enterTrim(detail);
    EXPECT_DOUBLE_EQ(detail.waveView()->snapTime(), 0.5);
    EXPECT_EQ(panel->shownPage(), 0);
    // Its row clicked again: the trim goes on.
    detail.setDetailItem(detail.detailItem());
    EXPECT_TRUE(detail.waveView()->trimMode());
    detail.toolCancelPress();
}
