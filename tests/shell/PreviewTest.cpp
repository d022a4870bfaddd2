#include "audiofiles/FilePlayer.h"
#include "library/FileActions.h"
#include "library/FileListModel.h"
#include "library/screens/FileRowDelegate.h"
#include "library/screens/FileListView.h"
#include "library/screens/MasterViewController.h"
#include "platform/HostEngine.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "recording/AudioEngine.h"
#include "shell/AppDelegate.h"
#include "shell/screens/AppWindow.h"
#include "support/JackServer.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <QListView>
#include <QTest>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

constexpr int kRate = 44100;

bool writeTone(const QString& path, double seconds)
{
    const size_t frames = size_t(seconds * kRate);
    std::vector<float> samples(frames * 2);
    for (size_t i = 0; i < frames; ++i)
        samples[2 * i] = samples[2 * i + 1] = (i % 100) < 50 ? 0.25f : -0.25f;
    return writeFloatWav(path, kRate, 2, samples);
}

// The whole program's start over a private server, with the browser on a small library.
class PreviewTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start());
        const QString lib = tree.library();
        ASSERT_TRUE(writeTone(lib + "/1 first.wav", 0.3));
        ASSERT_TRUE(writeTone(lib + "/2 second.wav", 0.3));
        ASSERT_TRUE(writeFile(lib + "/3 notes.txt", "not audio"));
        ASSERT_TRUE(writeTone(lib + "/4 fourth.wav", 0.3));
        ASSERT_TRUE(writeTone(lib + "/5 long.wav", 3.0));
        ASSERT_TRUE(QDir().mkpath(lib + "/Sub"));
        ASSERT_TRUE(writeTone(lib + "/Sub/inner.wav", 3.0));
        delegate = std::make_unique<AppWindow>();
        delegate->didFinishLaunching();
        master = delegate->masterViewController();
        ASSERT_TRUE(waitUntil([&] { return master->model()->isLoaded(); }));
        ASSERT_TRUE(AudioEngine::audioController()->isRunning());
    }
    void TearDown() override { delegate.reset(); }

    QString file(const QString& name) const { return tree.library() + "/" + name; }
    bool rowPlaying(const QString& name) const
    {
        const int row = master->rowForItemWithPath(file(name));
        return row >= 0 && master->model()->index(row).data(FileListModel::IsPlayingRole).toBool();
    }
    void press(const QString& name)
    {
        const int row = master->rowForItemWithPath(file(name));
        ASSERT_GE(row, 0);
        master->previewItem(master->model()->itemAt(row));
    }
    bool playingFile(const QString& name) const
    {
        return player->isPlaying() && player->url() == file(name) && master->playingItem().path == file(name)
               && rowPlaying(name);
    }
    bool quiet() const { return !player->isPlaying() && master->playingItem().path.isEmpty(); }

    TempTree tree;
    LogCapture logs;
    JackServer server;
    std::unique_ptr<AppWindow> delegate;
    MasterViewController* master = nullptr;
    FilePlayer* player = FilePlayer::sharedPlayer();
};

}  // namespace

TEST_F(PreviewTest, ButtonPlaysStopsAndGoesOnToTheNextAudioRow)
{
    // A click on the row's button plays the file through the engine.
    QListView* table = master->tableView();
    const QModelIndex first = master->model()->index(master->rowForItemWithPath(file("1 first.wav")));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                      FileRowDelegate::previewButtonRect(table->visualRect(first)).center());
    ASSERT_TRUE(playingFile("1 first.wav"));
    EXPECT_TRUE(waitUntil([&] { return player->playFrames() > 2048; }));
    EXPECT_EQ(master->model()->index(first.row()).data(FileListModel::IsPlayingRole), true);
    EXPECT_EQ(first.data(FileListModel::PreviewLabelRole).toString(), "Preview play 1 first.wav");
    const int notes = master->rowForItemWithPath(file("3 notes.txt"));
    EXPECT_TRUE(master->model()->index(notes).data(FileListModel::PreviewLabelRole).isNull());

    // The second press stops it.
    press("1 first.wav");
    EXPECT_TRUE(quiet());
    EXPECT_FALSE(rowPlaying("1 first.wav"));

    // Auto-play-next: the next audio rows follow, the text file is passed over, the list ends.
    AudioEngine::setAutoPlayNext(true);
    player->setLoop(true);  // the editor's loop does not make a preview repeat
    press("1 first.wav");
    EXPECT_TRUE(waitUntil([&] { return playingFile("2 second.wav"); }));
    EXPECT_FALSE(rowPlaying("1 first.wav"));
    EXPECT_TRUE(waitUntil([&] { return playingFile("4 fourth.wav"); }));
    EXPECT_TRUE(waitUntil([&] { return playingFile("5 long.wav"); }));
    press("5 long.wav");
    EXPECT_TRUE(quiet());
    EXPECT_TRUE(player->loop());  // given back to the editor

    AudioEngine::setAutoPlayNext(false);
    press("2 second.wav");
    ASSERT_TRUE(playingFile("2 second.wav"));
    EXPECT_TRUE(waitUntil([&] { return quiet(); }));
    QTest::qWait(300);
    EXPECT_TRUE(quiet());
    EXPECT_EQ(player->url(), file("2 second.wav"));
    EXPECT_FALSE(rowPlaying("2 second.wav"));
    EXPECT_TRUE(AudioEngine::audioController()->isRunning());  // in front it stays for what comes next

    // Behind, the last preview's end lets the audio hardware go.
    AudioEngine::setAppInBackground(true);
    press("4 fourth.wav");
    ASSERT_TRUE(playingFile("4 fourth.wav"));
    EXPECT_TRUE(waitUntil([&] { return !AudioEngine::audioController()->isRunning(); }));
    EXPECT_TRUE(quiet());
    AudioEngine::setAppInBackground(false);

    // The next press brings it back.
    press("1 first.wav");
    EXPECT_TRUE(AudioEngine::audioController()->isRunning());
    EXPECT_TRUE(waitUntil([&] { return player->playFrames() > 2048; }));
}

TEST_F(PreviewTest, OtherScreensAndRemovalsEndThePreview)
{
    AudioEngine::setAutoPlayNext(true);

    // Entering a folder ends the preview; the browser there previews on the same player.
    press("5 long.wav");
    ASSERT_TRUE(playingFile("5 long.wav"));
    MasterViewController* sub = master->enterFolder(file("Sub"), false);
    EXPECT_TRUE(quiet());
    EXPECT_FALSE(rowPlaying("5 long.wav"));
    ASSERT_TRUE(waitUntil([&] { return sub->model()->isLoaded(); }));
    sub->previewItem(sub->model()->itemAt(sub->rowForItemWithPath(file("Sub/inner.wav"))));
    EXPECT_TRUE(player->isPlaying());
    EXPECT_EQ(player->url(), file("Sub/inner.wav"));
    delegate->libraryNavigationController()->popViewController(false);
    EXPECT_TRUE(waitUntil([&] { return !player->isPlaying(); }));

    // The editor asks for the player.
    press("5 long.wav");
    ASSERT_TRUE(playingFile("5 long.wav"));
    platform::NotificationCenter::defaultCenter().post(notifications::kStopPreview);
    EXPECT_TRUE(quiet());
    EXPECT_FALSE(rowPlaying("5 long.wav"));

    // Someone else stops the player: the button follows, and nothing goes on by itself.
    press("5 long.wav");
    player->pause();
    EXPECT_TRUE(waitUntil([&] { return !rowPlaying("5 long.wav") && master->playingItem().path.isEmpty(); }));

    // Removed from outside: the preview stops and the player lets go of the file.
    press("5 long.wav");
    ASSERT_TRUE(playingFile("5 long.wav"));
    ASSERT_TRUE(QFile::remove(file("5 long.wav")));
    EXPECT_TRUE(waitUntil([&] { return master->rowForItemWithPath(file("5 long.wav")) < 0; }));
    EXPECT_TRUE(quiet());
    EXPECT_EQ(player->type(), FilePlayer::kNone);
    EXPECT_TRUE(player->url().isEmpty());

    // Renamed by the browser's own action: the same.
    press("4 fourth.wav");
    ASSERT_TRUE(playingFile("4 fourth.wav"));
    ASSERT_FALSE(FileActions::renameItem(file("4 fourth.wav"), "4 renamed.wav").isEmpty());
    EXPECT_TRUE(waitUntil([&] { return player->type() == FilePlayer::kNone; }));
    EXPECT_TRUE(quiet());
    EXPECT_FALSE(rowPlaying("4 renamed.wav"));
    EXPECT_TRUE(logs.lines().filter("Alert:").isEmpty());

    // A file that cannot be played says so and shows no playing state.
    ASSERT_TRUE(writeFile(file("2 second.wav"), "no longer a wave file"));
    press("2 second.wav");
    EXPECT_TRUE(quiet());
    EXPECT_TRUE(logs.contains("Alert: Sorry: Could not play '2 second.wav'."));
}

TEST_F(PreviewTest, PreviewLivesThroughTheServerGoingAwayAndComingBack)
{
    player->setLoop(true);  // the editor's setting, which a preview must not take on
    press("5 long.wav");
    ASSERT_TRUE(playingFile("5 long.wav"));
    EXPECT_FALSE(player->loop());

    server.stop();
    ASSERT_TRUE(waitUntil([&] { return logs.contains("Audio session interruption begin"); }));
    EXPECT_FALSE(player->isPlaying());
    EXPECT_TRUE(rowPlaying("5 long.wav"));
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(waitUntil([&] { return logs.contains("Audio session interruption end"); }));
    EXPECT_TRUE(playingFile("5 long.wav"));
    EXPECT_FALSE(player->loop());

    // It ends as a preview does, and the editor's loop comes back.
    ASSERT_TRUE(waitUntil([&] { return quiet(); }));
    EXPECT_FALSE(rowPlaying("5 long.wav"));
    EXPECT_TRUE(player->loop());
}
