#include "audiofiles/FilePlayer.h"
#include "platform/HostEngine.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "recording/InputChannel.h"
#include "support/JackServer.h"
#include "support/PlaybackFixtures.h"
#include "support/ProbeNodes.h"
#include "support/TempTree.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QThread>
#include <gtest/gtest.h>
#include <mutex>

using testsupport::JackServer;
using testsupport::LogCapture;
using testsupport::PeakReceiver;
using testsupport::TempTree;
using testsupport::waitUntil;

namespace {

const QString kSender1 = QStringLiteral("Wavelocker:Audio Output_1");
const QString kReceiver1 = QStringLiteral("Wavelocker:Audio Input_1");

class AudioEngineTest : public ::testing::Test {
protected:
    void TearDown() override { AudioEngine::teardown(); }

    QString constantFile(float level, double seconds = 1.0)
    {
        const QString path = tree.path(QStringLiteral("level.wav"));
        EXPECT_TRUE(testsupport::writeFloatWav(path, 44100, 2, std::vector<float>(size_t(seconds * 44100) * 2, level)));
        return path;
    }
    // Waits until a receiver has heard a few fresh cycles and answers its peak over them.
    static float freshPeak(PeakReceiver& r)
    {
        r.reset();
        const int seen = r.cycles();
        EXPECT_TRUE(waitUntil([&] { return r.cycles() > seen + 3; }));
        r.reset();
        const int again = r.cycles();
        EXPECT_TRUE(waitUntil([&] { return r.cycles() > again + 3; }));
        return r.peak();
    }

    TempTree tree;
    LogCapture logs;
};

// A private session bus with the desktop's screen-saver service on it, served from a thread of
// its own so that the program's blocking calls get their answers; it records the calls.
class ScreenSaverBus {
public:
    ScreenSaverBus()
    {
        mDaemon.start(QStringLiteral("dbus-daemon"), {"--session", "--nofork", "--print-address"});
        if (!mDaemon.waitForReadyRead(testsupport::kPatienceMs))
            return;
        const QByteArray address = mDaemon.readLine().trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        mThread.start();
        mService.moveToThread(&mThread);
        QDBusConnection bus = QDBusConnection::connectToBus(QString::fromUtf8(address), QStringLiteral("screensaver"));
        mReady = bus.registerService(QStringLiteral("org.freedesktop.ScreenSaver")) &&
                 bus.registerVirtualObject(QStringLiteral("/org/freedesktop/ScreenSaver"), &mService);
    }
    ~ScreenSaverBus()
    {
        QDBusConnection::disconnectFromBus(QStringLiteral("screensaver"));
        mThread.quit();
        mThread.wait();
        mDaemon.kill();
        mDaemon.waitForFinished();
    }
    bool ready() const { return mReady; }
    QStringList calls() const { return mService.calls(); }

private:
    class Service : public QDBusVirtualObject {
    public:
        QString introspect(const QString&) const override
        {
            return QStringLiteral(
                "<interface name=\"org.freedesktop.ScreenSaver\">"
                "<method name=\"Inhibit\"><arg type=\"s\" direction=\"in\"/><arg type=\"s\" direction=\"in\"/>"
                "<arg type=\"u\" direction=\"out\"/></method>"
                "<method name=\"UnInhibit\"><arg type=\"u\" direction=\"in\"/></method></interface>");
        }
        bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
        {
            std::lock_guard lock(mMutex);
            if (message.member() == QLatin1String("Inhibit")) {
                mCalls.append(QStringLiteral("Inhibit"));
                connection.send(message.createReply(QVariant::fromValue(uint(++mCookie))));
            } else if (message.member() == QLatin1String("UnInhibit") && !message.arguments().isEmpty()) {
                mCalls.append(QStringLiteral("UnInhibit %1").arg(message.arguments().first().toUInt()));
                connection.send(message.createReply());
            } else {
                return false;
            }
            return true;
        }
        QStringList calls() const
        {
            std::lock_guard lock(mMutex);
            return mCalls;
        }

    private:
        mutable std::mutex mMutex;
        QStringList mCalls;
        uint mCookie = 0;
    };

    QProcess mDaemon;
    QThread mThread;
    Service mService;
    bool mReady = false;
};

}  // namespace

TEST_F(AudioEngineTest, LeavesTheServerBufferAloneAndKeepsTheDesktopAwakeOnlyWhileAudioRuns)
{
    ScreenSaverBus bus;
    ASSERT_TRUE(bus.ready());
    JackServer server(1024);
    ASSERT_TRUE(server.start());
    AudioEngine::setup();
    platform::HostEngine* controller = AudioEngine::audioController();
    ASSERT_TRUE(controller->isRunning());
    EXPECT_EQ(controller->bufferSize(), 1024u);
    EXPECT_TRUE(bus.calls().isEmpty());  // a running engine alone lets the screen lock

    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(constantFile(0.5f)));
    player->play();
    EXPECT_EQ(bus.calls(), QStringList{"Inhibit"});
    player->stop();
    EXPECT_EQ(bus.calls(), (QStringList{"Inhibit", "UnInhibit 1"}));
    AudioEngine::setRecState(true);
    AudioEngine::setMonitoring(true);
    AudioEngine::setRecState(false);
    EXPECT_EQ(bus.calls().size(), 3);  // held once across recording and monitoring
    AudioEngine::setMonitoring(false);
    EXPECT_EQ(bus.calls(), (QStringList{"Inhibit", "UnInhibit 1", "Inhibit", "UnInhibit 2"}));
    // Still unchanged: nothing of ours asked the server for another size.
    EXPECT_EQ(controller->bufferSize(), 1024u);
}

TEST_F(AudioEngineTest, WithoutAServerTheProgramGoesOnSilently)
{
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    AudioEngine::setup();
    ASSERT_TRUE(AudioEngine::isSetUp());
    EXPECT_FALSE(AudioEngine::audioController()->isRunning());
    EXPECT_TRUE(logs.contains(QStringLiteral("Audio engine already running: NO")));
    EXPECT_TRUE(logs.contains(QStringLiteral("Could not start TAAE: No JACK server could be reached")));
    EXPECT_TRUE(logs.contains(QStringLiteral("Setting up Audiobus")));
    EXPECT_FALSE(AudioEngine::isMonitoring());  // the main input starts muted
    EXPECT_TRUE(AudioEngine::maybeStop());

    // The player still loads and keeps its time; nothing pulls it, so it never finishes.
    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(constantFile(0.5f)));
    player->play();
    EXPECT_TRUE(player->isPlaying());
    EXPECT_FALSE(AudioEngine::maybeStop());
    player->stop();
}

TEST_F(AudioEngineTest, StopRuleKeepsAudioWhileAnythingNeedsIt)
{
    JackServer server;
    ASSERT_TRUE(server.start());
    AudioEngine::setup();
    platform::HostEngine* controller = AudioEngine::audioController();
    ASSERT_TRUE(controller->isRunning());
    EXPECT_TRUE(logs.contains(QStringLiteral("FilePlayer: startGraph")));

    AudioEngine::setRecState(true);
    EXPECT_FALSE(AudioEngine::maybeStop());
    AudioEngine::setRecState(false);

    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(constantFile(0.5f)));
    player->play();
    EXPECT_FALSE(AudioEngine::maybeStop());
    player->stop();

    AudioEngine::setMonitoring(true);
    EXPECT_FALSE(AudioEngine::maybeStop());
    AudioEngine::setMonitoring(false);

    // Another client on our receiver is a routing connection; auto-monitoring follows it.
    ASSERT_TRUE(server.connect(kSender1, kReceiver1));
    ASSERT_TRUE(waitUntil([] { return AudioEngine::audiobusConnected(); }));
    EXPECT_TRUE(AudioEngine::abConnectedToSelf());
    EXPECT_TRUE(AudioEngine::isMonitoring());
    EXPECT_TRUE(logs.contains(QStringLiteral("onConnectionChanged: 1")));
    EXPECT_FALSE(AudioEngine::maybeStop());
    ASSERT_TRUE(server.disconnect(kSender1, kReceiver1));
    ASSERT_TRUE(waitUntil([] { return !AudioEngine::audiobusConnected(); }));
    EXPECT_FALSE(AudioEngine::isMonitoring());
    EXPECT_TRUE(controller->isRunning());

    const int asked = int(logs.lines().count(QStringLiteral("Maybe stopping...")));
    EXPECT_TRUE(AudioEngine::maybeStop());
    EXPECT_EQ(logs.lines().count(QStringLiteral("Maybe stopping...")), asked + 1);
    EXPECT_FALSE(controller->isRunning());
    EXPECT_FALSE(controller->isSessionActive());
    EXPECT_TRUE(logs.contains(QStringLiteral("FilePlayer: stopGraph")));

    EXPECT_TRUE(AudioEngine::start());
    EXPECT_TRUE(controller->isRunning());
    EXPECT_TRUE(AudioEngine::start());  // idempotent
    EXPECT_TRUE(logs.contains(QStringLiteral("Audio engine already running: YES")));
}

TEST_F(AudioEngineTest, RecorderHearsTheSourceAtTheRecordLevel)
{
    JackServer server;
    ASSERT_TRUE(server.start());
    AudioEngine::setup();
    platform::HostEngine* controller = AudioEngine::audioController();
    auto mix = std::make_shared<PeakReceiver>();
    controller->addOutputReceiver(mix, nullptr);
    auto recorder = std::make_shared<PeakReceiver>();
    AudioEngine::setRecorder(recorder);
    AudioEngine::setRecLevel(0.5f);
    EXPECT_FLOAT_EQ(AudioEngine::recLevel(), 0.5f);

    // The player's channel goes out on the sender; fed back into our receiver it becomes the
    // main input, which is the source.
    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(constantFile(0.5f)));
    player->setLoop(true);
    player->play();
    ASSERT_TRUE(server.connect(kSender1, kReceiver1));
    ASSERT_TRUE(server.connect(QStringLiteral("Wavelocker:Audio Output_2"), QStringLiteral("Wavelocker:Audio Input_2")));
    ASSERT_TRUE(waitUntil([] { return AudioEngine::isMonitoring(); }));
    EXPECT_FLOAT_EQ(freshPeak(*recorder), 0.25f);
    EXPECT_FLOAT_EQ(freshPeak(*mix), 0.75f);  // the player plus the monitored input

    AudioEngine::setMonitoring(false);
    EXPECT_FLOAT_EQ(freshPeak(*mix), 0.5f);
    EXPECT_FLOAT_EQ(freshPeak(*recorder), 0.25f);  // recording does not depend on monitoring

    // A new recorder replaces the old one; the old one hears nothing more.
    auto next = std::make_shared<PeakReceiver>();
    AudioEngine::setRecorder(next);
    EXPECT_EQ(AudioEngine::recorder(), next);
    EXPECT_FLOAT_EQ(freshPeak(*next), 0.25f);
    ASSERT_TRUE(waitUntil([&] { return recorder.use_count() == 1; }));
    const int cycles = recorder->cycles();
    freshPeak(*next);
    EXPECT_EQ(recorder->cycles(), cycles);
    player->stop();
}

TEST_F(AudioEngineTest, SurvivesTheServerGoingAwayAndComingBack)
{
    JackServer server;
    ASSERT_TRUE(server.start());
    AudioEngine::setup();
    platform::HostEngine* controller = AudioEngine::audioController();
    auto heard = std::make_shared<PeakReceiver>();
    FilePlayer* player = FilePlayer::sharedPlayer();
    controller->addOutputReceiver(heard, player->channel().get());
    ASSERT_TRUE(player->loadAudioURL(constantFile(0.5f)));
    player->setLoop(true);
    player->play();
    EXPECT_FLOAT_EQ(freshPeak(*heard), 0.5f);

    bool back = false;
    platform::ScopedObserver ended(notifications::kInterruptionEnded, [&](const auto&) { back = true; });
    server.stop();
    ASSERT_TRUE(waitUntil([&] { return !controller->isRunning(); }));
    EXPECT_TRUE(AudioEngine::start());  // logged and survived
    EXPECT_FALSE(controller->isRunning());
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(waitUntil([&] { return back; }));
    EXPECT_TRUE(AudioEngine::start());
    EXPECT_TRUE(controller->isRunning());
    EXPECT_FLOAT_EQ(freshPeak(*heard), 0.5f);
    player->stop();
}

TEST_F(AudioEngineTest, AServerLostWithTheReceiverConnectedReturnsMutedAndConnected)
{
    JackServer server;
    ASSERT_TRUE(server.start());
    AudioEngine::setup();
    platform::HostEngine* controller = AudioEngine::audioController();
    ASSERT_TRUE(server.connect(kSender1, kReceiver1));
    ASSERT_TRUE(waitUntil([] { return AudioEngine::audiobusConnected(); }));
    ASSERT_TRUE(AudioEngine::isMonitoring());

    bool back = false;
    platform::ScopedObserver ended(notifications::kInterruptionEnded, [&](const auto&) { back = true; });
    server.stop();
    ASSERT_TRUE(waitUntil([&] { return !controller->isRunning(); }));
    EXPECT_FALSE(AudioEngine::isMonitoring());
    EXPECT_FALSE(AudioEngine::audiobusConnected());

    ASSERT_TRUE(server.start());
    ASSERT_TRUE(waitUntil([&] { return back; }));
    // Back as it was before, without waiting for a play: running, hardware connected, the
    // input not heard through the speakers, the routing read from the new server.
    EXPECT_TRUE(controller->isRunning());
    EXPECT_FALSE(AudioEngine::isMonitoring());
    EXPECT_FALSE(AudioEngine::audiobusConnected());
    const QStringList outputs = controller->outputPortNames();
    ASSERT_FALSE(outputs.isEmpty());
    EXPECT_TRUE(server.connections(outputs.first()).contains(QStringLiteral("system:playback_1")));
    EXPECT_TRUE(server.connections(QStringLiteral("system:capture_1")).filter(QStringLiteral("Wavelocker:")).size() > 0);
}

TEST_F(AudioEngineTest, RemoteEventsMicAccessAndStoredFlags)
{
    QStringList posted;
    std::vector<platform::ScopedObserver> observers;
    for (QLatin1String name : {notifications::kRemoteTogglePlay, notifications::kRemoteToggleRecord, notifications::kRemoteRewind})
        observers.emplace_back(name, [&](const platform::Notification& n) { posted << n.name; });
    for (int event : {1, 2, 3, 7})
        AudioEngine::remoteControlEvent(event);
    EXPECT_EQ(posted, QStringList({notifications::kRemoteTogglePlay,
                                   notifications::kRemoteToggleRecord,
                                   notifications::kRemoteRewind}));
    EXPECT_TRUE(logs.contains(QStringLiteral("REMOTE: unknown event: 7")));

    int answers = 0;
    AudioEngine::checkMicAccess([&](bool granted) { answers += granted; });
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(logs.lines().last(), QStringLiteral("Mic access granted: 1"));

    AudioEngine::setAutoPlayNext(false);
    EXPECT_FALSE(AudioEngine::autoPlayNext());
    AudioEngine::setAutoPlayNext(true);
    AudioEngine::setRecordingPosition(1234.0);
    EXPECT_DOUBLE_EQ(AudioEngine::recordingPosition(), 1234.0);
}

TEST(InputChannel, PlaysEachIncomingBufferAtMostOnce)
{
    InputChannel input;
    std::vector<float> left(64, 0.3f), right(64, -0.3f);
    const float* incoming[2] = {left.data(), right.data()};
    std::vector<float> outL(64), outR(64);
    float* out[2] = {outL.data(), outR.data()};
    platform::AudioTimeStamp stamp;
    stamp.sampleTime = 4096;
    input.receiveInput(stamp, 64, incoming);
    input.render(out, 64, {});
    EXPECT_EQ(outL, left);
    EXPECT_EQ(outR, right);
    EXPECT_EQ(input.lastTimeStamp().sampleTime, 4096);
    std::fill(outL.begin(), outL.end(), 0.0f);
    input.render(out, 64, {});
    EXPECT_EQ(outL, std::vector<float>(64, 0.0f));
}
