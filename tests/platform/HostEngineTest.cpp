#include "platform/HostEngine.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "support/JackServer.h"
#include "support/ProbeNodes.h"
#include "support/TempTree.h"

#include <gtest/gtest.h>
#include <atomic>
#include <cmath>
#include <thread>

using platform::AudioTimeStamp;
using platform::HostEngine;
using testsupport::JackServer;
using testsupport::waitUntil;

using testsupport::ConstantChannel;
using testsupport::PeakReceiver;

TEST(HostEngine, WithoutServerLogsAndRunsMessagesInline)
{
    testsupport::LogCapture logs;
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    HostEngine engine(QStringLiteral("Wavelocker"));
    QString error;
    EXPECT_FALSE(engine.start(&error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_FALSE(engine.isRunning());
    EXPECT_FALSE(engine.isSessionActive());
    EXPECT_EQ(engine.sampleRate(), 44100);
    bool blockRan = false, responseRan = false;
    engine.performAsync([&] { blockRan = true; }, [&] { responseRan = blockRan; });
    EXPECT_TRUE(responseRan);
    const QStringList lines = logs.lines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                            [](const QString& l) { return l.startsWith(QLatin1String("No JACK server could be reached")); }));
}

TEST(HostEngine, MixesRoutesAndExchangesMessages)
{
    JackServer server;
    ASSERT_TRUE(server.start());
    HostEngine engine(QStringLiteral("Wavelocker"));
    ASSERT_TRUE(engine.start());
    EXPECT_EQ(engine.clientName(), QStringLiteral("Wavelocker"));
    EXPECT_EQ(engine.sampleRate(), 44100);
    EXPECT_EQ(engine.bufferSize(), 512u);
    EXPECT_EQ(engine.inputChannelCount(), 2);

    // Hardware is wired both ways; the inter-app ports are left to other clients.
    EXPECT_TRUE(server.connections(QStringLiteral("system:playback_1")).contains(QStringLiteral("Wavelocker:out_1")));
    EXPECT_TRUE(server.connections(QStringLiteral("system:playback_2")).contains(QStringLiteral("Wavelocker:out_2")));
    EXPECT_TRUE(server.connections(QStringLiteral("Wavelocker:in_1")).contains(QStringLiteral("system:capture_1")));
    EXPECT_TRUE(server.connections(QStringLiteral("Wavelocker:Audio Input_1")).isEmpty());
    EXPECT_FALSE(engine.receiverConnected());

    auto sent = std::make_shared<ConstantChannel>(0.25f);
    auto other = std::make_shared<ConstantChannel>(0.5f);
    auto mix = std::make_shared<PeakReceiver>();
    auto ofOther = std::make_shared<PeakReceiver>();
    auto input = std::make_shared<PeakReceiver>();
    engine.addChannel(sent);
    engine.addChannel(other);
    engine.setSenderChannel(sent.get());
    engine.addOutputReceiver(mix, nullptr);
    engine.addOutputReceiver(ofOther, other.get());
    engine.addInputReceiver(input);

    // The message's block runs on the audio thread, its response back here afterwards.
    std::atomic<bool> blockOnOtherThread{false};
    bool responded = false;
    const auto mainId = std::this_thread::get_id();
    engine.performAsync([&] { blockOnOtherThread = std::this_thread::get_id() != mainId; },
                        [&] { responded = blockOnOtherThread.load(); });
    ASSERT_TRUE(waitUntil([&] { return responded; }));

    ASSERT_TRUE(waitUntil([&] { return mix->cycles() > 4 && ofOther->cycles() > 4; }));
    EXPECT_FLOAT_EQ(mix->peak(), 0.75f);
    EXPECT_FLOAT_EQ(ofOther->peak(), 0.5f);
    EXPECT_FLOAT_EQ(input->peak(), 0.0f);  // the dummy capture is silent

    // A muted channel still reaches its receivers but leaves the mix.
    other->setMuted(true);
    ASSERT_TRUE(waitUntil([&] { return mix->cycles() > 10; }));
    mix->reset();
    ofOther->reset();
    const int seen = mix->cycles();
    ASSERT_TRUE(waitUntil([&] { return mix->cycles() > seen + 4; }));
    EXPECT_FLOAT_EQ(mix->peak(), 0.25f);
    EXPECT_FLOAT_EQ(ofOther->peak(), 0.5f);

    // Our sender feeding our receiver: the input now carries the sender's channel only.
    bool changed = false;
    engine.onConnectionsChanged = [&] { changed = true; };
    ASSERT_TRUE(server.connect(QStringLiteral("Wavelocker:Audio Output_1"), QStringLiteral("Wavelocker:Audio Input_1")));
    ASSERT_TRUE(waitUntil([&] { return changed; }));
    EXPECT_TRUE(engine.receiverConnected());
    EXPECT_TRUE(engine.senderConnected());
    EXPECT_TRUE(engine.connectedToSelf());
    ASSERT_TRUE(waitUntil([&] { return input->peak() > 0; }));
    EXPECT_FLOAT_EQ(input->peak(), 0.25f);

    // The preferred buffer is a request to the server.
    EXPECT_TRUE(engine.setPreferredBufferSize(256));
    EXPECT_EQ(engine.bufferSize(), 256u);

    engine.removeOutputReceiver(mix.get(), nullptr);
    bool removed = false;
    engine.performAsync({}, [&] { removed = true; });
    ASSERT_TRUE(waitUntil([&] { return removed; }));
    // Once the exchange is done the audio thread holds no reference any more.
    EXPECT_TRUE(waitUntil([&] { return mix.use_count() == 1; }));
    engine.stop();
    EXPECT_FALSE(engine.isRunning());
    EXPECT_TRUE(engine.isSessionActive());
}

TEST(HostEngine, NoticesTheServerLeavingAndComingBack)
{
    JackServer server;
    ASSERT_TRUE(server.start());
    HostEngine engine(QStringLiteral("Wavelocker"));
    ASSERT_TRUE(engine.start());
    auto tone = std::make_shared<ConstantChannel>(0.5f);
    auto heard = std::make_shared<PeakReceiver>();
    engine.addChannel(tone);
    engine.addOutputReceiver(heard, tone.get());
    ASSERT_TRUE(waitUntil([&] { return heard->cycles() > 2; }));

    int began = 0, ended = 0;
    platform::ScopedObserver b(notifications::kInterruptionBegan, [&](const auto&) { ++began; });
    platform::ScopedObserver e(notifications::kInterruptionEnded, [&](const auto&) { ++ended; });
    server.stop();
    ASSERT_TRUE(waitUntil([&] { return began == 1; }));
    EXPECT_FALSE(engine.isRunning());
    EXPECT_FALSE(engine.isSessionActive());
    // Edits while the server is away still take effect, here and now.
    auto later = std::make_shared<PeakReceiver>();
    engine.addOutputReceiver(later, nullptr);
    EXPECT_FALSE(engine.start());

    ASSERT_TRUE(server.start());
    ASSERT_TRUE(waitUntil([&] { return ended == 1; }));
    ASSERT_TRUE(engine.start());
    ASSERT_TRUE(waitUntil([&] { return later->cycles() > 2; }));
    EXPECT_FLOAT_EQ(later->peak(), 0.5f);
}
