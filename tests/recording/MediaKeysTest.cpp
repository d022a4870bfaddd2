// Media keys and desktop player widgets reach the engine over the session bus (a private
// dbus-daemon here).
#include "audiofiles/FilePlayer.h"
#include "platform/MediaPlayerService.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "recording/AudioEngine.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusReply>
#include <QProcess>
#include <gtest/gtest.h>

using namespace testsupport;

TEST(MediaKeys, PlayPausePreviousAndToggleRecordBecomeRemoteEvents)
{
    TempTree tree;
    QProcess daemon;
    daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
    ASSERT_TRUE(daemon.waitForReadyRead(kPatienceMs));
    const QByteArray address = daemon.readLine().trimmed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");

    QStringList posted;
    std::vector<platform::ScopedObserver> observers;
    for (const auto& name : {notifications::kRemoteTogglePlay, notifications::kRemoteToggleRecord,
                             notifications::kRemoteRewind})
        observers.emplace_back(name, [&posted, name](const auto&) { posted << QString(name); });
    AudioEngine::setup();

    QDBusConnection client = QDBusConnection::connectToBus(QString::fromUtf8(address), "client");
    ASSERT_TRUE(client.isConnected());
    // Asynchronous calls only: the service answers on this very thread, and a blocking call
    // (or QDBusInterface, which asks for the object's description first) would wait on itself.
    auto call = [&](const char* interface, const char* method) {
        QDBusPendingCall pending = client.asyncCall(QDBusMessage::createMethodCall(
            platform::MediaPlayerService::kServiceName, platform::MediaPlayerService::kObjectPath, interface, method));
        EXPECT_TRUE(waitUntil([&] { return pending.isFinished(); })) << method;
        EXPECT_FALSE(pending.isError()) << method << pending.error().message().toStdString();
    };
    auto status = [&] {
        QDBusMessage get = QDBusMessage::createMethodCall(platform::MediaPlayerService::kServiceName,
                                                          platform::MediaPlayerService::kObjectPath,
                                                          "org.freedesktop.DBus.Properties", "Get");
        get << QStringLiteral("org.mpris.MediaPlayer2.Player") << QStringLiteral("PlaybackStatus");
        QDBusPendingCall pending = client.asyncCall(get);
        waitUntil([&] { return pending.isFinished(); });
        return QDBusPendingReply<QDBusVariant>(pending).value().variant().toString();
    };

    call("org.mpris.MediaPlayer2.Player", "PlayPause");
    call("org.mpris.MediaPlayer2.Player", "Previous");
    call("com.orvenic.Wavelocker.Remote", "ToggleRecord");
    call("org.mpris.MediaPlayer2.Player", "Next");  // nothing to go to
    call("org.mpris.MediaPlayer2.Player", "Pause");  // not playing: nothing to pause
    EXPECT_EQ(posted, (QStringList{"AudioEngineRemoteTogglePlay", "AudioEngineRemoteRewind",
                                   "AudioEngineRemoteToggleRecord"}));

    // The status follows the player and the recorder.
    EXPECT_EQ(status(), "Stopped");
    AudioEngine::setRecState(true);
    EXPECT_EQ(status(), "Playing");
    call("org.mpris.MediaPlayer2.Player", "Pause");
    EXPECT_EQ(posted.size(), 4);
    AudioEngine::setRecState(false);
    const QString file = tree.path("a.wav");
    ASSERT_TRUE(writeFloatWav(file, 44100, 2, std::vector<float>(4410 * 2, 0.1f)));
    ASSERT_TRUE(FilePlayer::sharedPlayer()->loadAudioURL(file));
    AudioEngine::updateNowPlaying();
    EXPECT_EQ(status(), "Paused");

    // A second program of ours leaves the name to the first.
    platform::MediaPlayerService second([](int) {});
    EXPECT_FALSE(second.isRegistered());

    AudioEngine::teardown();
    QDBusConnection::disconnectFromBus("client");
    daemon.kill();
    daemon.waitForFinished();
}
