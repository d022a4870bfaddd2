#include "audiofiles/FilePlayer.h"
#include "audiofiles/OfflinePull.h"
#include "library/FileListModel.h"
#include "library/LibraryPreview.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "recording/AudioEngine.h"
#include "shell/FilePlayerPreview.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QCoreApplication>
#include <QDir>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

constexpr int kRate = 44100;

bool writeTenth(const QString& path)
{
    return writeFloatWav(path, kRate, 2, std::vector<float>(size_t(kRate / 10) * 2, 0.5f));
}

// The preview on a player pulled offline, over the model of one folder.
struct Rig {
    TempTree tree;
    QString lib = tree.library();
    FilePlayer player;
    FilePlayerPreview adapter{&player};
    FileListModel model;
    LibraryPreview preview{&model};

    Rig()
    {
        player.setupWithSampleRate(kRate);
        player.startGraph();
        preview.setPreviewPlayer(&adapter);
    }
    void list()
    {
        model.setFolder(lib);
        model.update();
        EXPECT_TRUE(waitUntil([&] { return model.isLoaded(); }));
    }
    QString file(const QString& name) const { return lib + "/" + name; }
    LibraryItem item(const QString& name) const { return model.itemAt(model.rowForItemWithPath(file(name))); }
    bool marked(const QString& name) const
    {
        return model.index(model.rowForItemWithPath(file(name))).data(FileListModel::IsPlayingRole).toBool();
    }
    bool playing(const QString& name) const
    {
        return player.isPlaying() && player.url() == file(name) && preview.playingItem().path == file(name) && marked(name);
    }
    // Plays the rest of the file and lets the player's timer see the end.
    void playToTheEnd()
    {
        pullPlayer(player, kRate);
        // The silence after the end, until the timer sees that play is over.
        std::vector<float> left(512), right(512);
        float* buffers[2] = {left.data(), right.data()};
        for (int i = 0; i < 12; ++i)
            player.render(buffers, 512);
        player.timerCallback();
        QCoreApplication::processEvents();
    }
};

}  // namespace

TEST(LibraryPreview, PlaysGoesOnToTheNextPlayableRowAndStops)
{
    Rig rig;
    ASSERT_TRUE(writeTenth(rig.file("1 first.wav")));
    ASSERT_TRUE(writeFile(rig.file("2 notes.txt"), "text"));
    ASSERT_TRUE(writeFile(rig.file("3 broken.wav"), "RIFF junk"));
    ASSERT_TRUE(writeTenth(rig.file("4 fourth.wav")));
    ASSERT_TRUE(QDir(rig.lib).mkdir("Sub"));
    ASSERT_TRUE(writeTenth(rig.file("Sub/inner.wav")));
    rig.list();
    AudioEngine::setAutoPlayNext(true);
    rig.player.setLoop(true);  // the editor's loop: a preview plays once and gives it back

    ASSERT_TRUE(rig.preview.previewItem(rig.item("1 first.wav")));
    EXPECT_TRUE(rig.playing("1 first.wav"));
    EXPECT_FALSE(rig.player.loop());
    // The text file is passed over, the broken file can't be played: the fourth follows.
    rig.playToTheEnd();
    EXPECT_TRUE(rig.playing("4 fourth.wav"));
    EXPECT_FALSE(rig.marked("1 first.wav"));
    // The list ends.
    rig.playToTheEnd();
    EXPECT_FALSE(rig.player.isPlaying());
    EXPECT_TRUE(rig.preview.playingItem().path.isEmpty());
    EXPECT_TRUE(rig.player.loop());

    // A second press stops it; the editor taking the player stops it too.
    ASSERT_TRUE(rig.preview.previewItem(rig.item("4 fourth.wav")));
    ASSERT_TRUE(rig.preview.previewItem(rig.item("4 fourth.wav")));
    EXPECT_FALSE(rig.player.isPlaying());
    EXPECT_FALSE(rig.marked("4 fourth.wav"));
    ASSERT_TRUE(rig.preview.previewItem(rig.item("1 first.wav")));
    platform::NotificationCenter::defaultCenter().post(notifications::kStopPreview, &rig);
    EXPECT_FALSE(rig.player.isPlaying());
    EXPECT_TRUE(rig.preview.playingItem().path.isEmpty());

    // Play ended elsewhere (a lost server): the row's button goes back to play.
    ASSERT_TRUE(rig.preview.previewItem(rig.item("1 first.wav")));
    rig.player.stop();
    QCoreApplication::processEvents();
    EXPECT_FALSE(rig.marked("1 first.wav"));

    // Without auto-play-next a finished preview is the end.
    AudioEngine::setAutoPlayNext(false);
    ASSERT_TRUE(rig.preview.previewItem(rig.item("1 first.wav")));
    rig.playToTheEnd();
    EXPECT_FALSE(rig.player.isPlaying());
    EXPECT_TRUE(rig.preview.playingItem().path.isEmpty());

    // A file that can't be played answers false; nothing is marked.
    EXPECT_FALSE(rig.preview.previewItem(rig.item("3 broken.wav")));
    EXPECT_TRUE(rig.preview.playingItem().path.isEmpty());
}

TEST(LibraryPreview, AVanishedItemEndsItsPreviewAndFreesTheFile)
{
    Rig rig;
    ASSERT_TRUE(QDir(rig.lib).mkdir("Sub"));
    ASSERT_TRUE(writeTenth(rig.file("Sub/inner.wav")));
    rig.lib += "/Sub";
    rig.list();
    ASSERT_TRUE(rig.preview.previewItem(rig.item("inner.wav")));
    ASSERT_TRUE(rig.player.isPlaying());

    // Its folder went to the Trash: the preview stops and the player lets go of the file.
    LibraryItem folder;
    folder.path = rig.lib;
    folder.isDirectory = true;
    rig.preview.itemRemoved(folder);
    EXPECT_FALSE(rig.player.isPlaying());
    EXPECT_TRUE(rig.player.url().isEmpty());
    EXPECT_TRUE(rig.preview.playingItem().path.isEmpty());

    // A folder whose name only starts alike is another item.
    ASSERT_TRUE(rig.preview.previewItem(rig.item("inner.wav")));
    folder.path = rig.file("inn");
    rig.preview.itemRemoved(folder);
    EXPECT_TRUE(rig.player.isPlaying());
    rig.player.stop();
}
