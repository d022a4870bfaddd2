#include "audiofiles/FilePlayer.h"
#include "platform/HostEngine.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "shell/AppDelegate.h"
#include "shell/screens/AppWindow.h"
#include "support/JackServer.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QLabel>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {
const QString kAutoPlayNext = QStringLiteral("AutoPlayNext");
}

TEST(AppDelegateEngine, AutoPlayNextAndTheEngineFollowTheLifecycle)
{
    TempTree tree;
    LogCapture logs;
    JackServer server;
    ASSERT_TRUE(server.start());

    platform::Settings::setValue(kAutoPlayNext, false);
    AudioEngine::setAutoPlayNext(true);
    {
        AppWindow delegate;
        delegate.didFinishLaunching();
        EXPECT_FALSE(AudioEngine::autoPlayNext());
        platform::HostEngine* engine = AudioEngine::audioController();
        ASSERT_NE(engine, nullptr);
        EXPECT_TRUE(engine->isRunning());

        // Behind, with nothing playing, the flag is stored and the engine lets go.
        AudioEngine::setAutoPlayNext(true);
        delegate.applicationDidEnterBackground();
        EXPECT_TRUE(platform::Settings::value(kAutoPlayNext).toBool());
        EXPECT_TRUE(logs.contains("Maybe stopping..."));
        EXPECT_FALSE(engine->isRunning());
        EXPECT_TRUE(AudioEngine::appInBackground());

        delegate.applicationDidBecomeActive();
        EXPECT_TRUE(engine->isRunning());
        EXPECT_FALSE(AudioEngine::appInBackground());

        // A preview playing in the background keeps audio running.
        const QString wave = tree.path("tone.wav");
        ASSERT_TRUE(writeFloatWav(wave, 44100, 2, std::vector<float>(44100 * 2, 0.1f)));
        FilePlayer* player = FilePlayer::sharedPlayer();
        ASSERT_TRUE(player->loadAudioURL(wave));
        player->play();
        AudioEngine::setAutoPlayNext(false);
        delegate.applicationDidEnterBackground();
        EXPECT_TRUE(engine->isRunning());
        EXPECT_FALSE(platform::Settings::value(kAutoPlayNext).toBool());
        player->stop();
    }
    // The next start reads what was stored.
    platform::Settings::setValue(kAutoPlayNext, true);
    AppDelegate again(AppDelegate::Mode::Headless);
    again.didFinishLaunching();
    EXPECT_TRUE(AudioEngine::autoPlayNext());
}

TEST(AppDelegateEngine, InterruptionStopsAndResumesWhatPlayed)
{
    TempTree tree;
    LogCapture logs;
    JackServer server;
    ASSERT_TRUE(server.start());
    AppWindow delegate;
    delegate.didFinishLaunching();
    platform::HostEngine* engine = AudioEngine::audioController();
    ASSERT_TRUE(engine->isRunning());

    const QString wave = tree.path("long.wav");
    ASSERT_TRUE(writeFloatWav(wave, 44100, 2, std::vector<float>(44100 * 2 * 20, 0.1f)));
    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(wave));
    player->play();
    ASSERT_TRUE(waitUntil([&] { return player->getCurrentTime() > 0.2; }));
    const double before = player->getCurrentTime();

    // The server goes away: the player pauses.
    server.stop();
    ASSERT_TRUE(waitUntil([&] { return logs.contains("Audio session interruption begin"); }));
    EXPECT_TRUE(logs.contains("Pausing player"));
    EXPECT_FALSE(player->isPlaying());
    EXPECT_FALSE(engine->isRunning());
    // The window says so, without a dialog in the way.
    QLabel* message = delegate.serverMessage();
    ASSERT_TRUE(message);
    EXPECT_FALSE(message->isHidden());
    EXPECT_TRUE(message->text().startsWith("The audio server went away at ")) << message->text().toStdString();

    // It comes back: the engine restarts and play goes on from where it was.
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(waitUntil([&] { return logs.contains("Audio session interruption end"); }));
    EXPECT_TRUE(logs.contains("Resuming player"));
    EXPECT_TRUE(message->text().startsWith("The audio server came back at ")) << message->text().toStdString();
    EXPECT_FALSE(message->isHidden());
    EXPECT_TRUE(engine->isRunning());
    EXPECT_TRUE(player->isPlaying());
    EXPECT_GE(player->getCurrentTime(), before);
    EXPECT_TRUE(waitUntil([&] { return player->playFrames() > 4096; }));
    player->stop();

    // With nothing playing or recording, the engine is left stopped at the end.
    server.stop();
    ASSERT_TRUE(waitUntil([&] { return logs.lines().count("Audio session interruption begin") == 2; }));
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(waitUntil([&] { return logs.lines().count("Audio session interruption end") == 2; }));
    EXPECT_EQ(logs.lines().count("Resuming player"), 1);
    EXPECT_TRUE(engine->isSessionActive());
    EXPECT_FALSE(engine->isRunning());

    // Play from anywhere (here as the editor does) brings the engine back, and is heard.
    player->play();
    EXPECT_TRUE(engine->isRunning());
    const int64_t frames = player->playFrames();
    EXPECT_TRUE(waitUntil([&] { return player->playFrames() > frames + 4096; }));
    player->stop();
}
