// The plugin host and the interface host against a probe plugin and its interface
// (tests/resources/probe.lv2), which report on their ports what the host told them.
#include "platform/lv2/Lv2Plugin.h"
#include "platform/lv2/Lv2UiHost.h"
#include "platform/lv2/Lv2World.h"
#include "support/BuildPaths.h"

#include <QSize>
#include <array>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <lv2/atom/atom.h>
#include <vector>

using namespace platform::lv2;

namespace {

const QString kProbe = QStringLiteral("urn:wavelocker:test:probe");
constexpr uint32_t kEvents = 2, kGain = 3, kBpm = 4, kBeatsPerBar = 5, kBeatUnit = 6, kBar = 7, kBarBeat = 8,
                   kSpeed = 9, kNominal = 10, kLargest = 11, kReceived = 12, kEcho = 13;

// Our probe bundles ahead of the system's, before the first scan.
void usePluginsOfTheTests()
{
    qputenv("LV2_PATH", (testsupport::lv2Dir() + QStringLiteral(":/usr/lib/lv2")).toLocal8Bit());
}

struct Stereo {
    explicit Stereo(uint32_t frames) : left(frames), right(frames) {}
    void fill(float l, float r)
    {
        std::fill(left.begin(), left.end(), l);
        std::fill(right.begin(), right.end(), r);
    }
    float* const* buffers()
    {
        pointers = {left.data(), right.data()};
        return pointers.data();
    }
    std::vector<float> left, right;
    std::array<float*, 2> pointers{};
};

template <typename F>
F probeUiFunction(const char* name)
{
    const QByteArray path = (testsupport::lv2Dir() + QStringLiteral("/probe.lv2/probe_ui.so")).toLocal8Bit();
    void* handle = dlopen(path.constData(), RTLD_NOW | RTLD_NOLOAD);  // the copy the host loaded
    return handle ? reinterpret_cast<F>(dlsym(handle, name)) : nullptr;
}

}  // namespace

TEST(Lv2Plugin, TransportPortsEventsAndBlockLengthsReachThePlugin)
{
    usePluginsOfTheTests();
    auto plugin = Plugin::instantiate(kProbe, 48000, 4096, 256, false);
    ASSERT_TRUE(plugin);
    EXPECT_EQ(plugin->portCount(), 14u);
    EXPECT_TRUE(plugin->isControlInput(kGain));
    EXPECT_TRUE(plugin->isControlOutput(kBpm));
    EXPECT_TRUE(plugin->isEventInput(kEvents));
    EXPECT_FALSE(plugin->isEventInput(kGain));
    EXPECT_EQ(plugin->portSymbol(kBarBeat), "bar_beat");

    // Rolling at 2.5 s: 5 beats at 120 a minute, so beat 1 of bar 1 (both counted from 0).
    Stereo audio(256);
    audio.fill(0.5f, 0.25f);
    Transport rolling;
    rolling.rolling = true;
    rolling.frame = 120000;
    plugin->process(audio.buffers(), 256, nullptr, 0, rolling);
    EXPECT_EQ(plugin->portValue(kBpm), 120.0f);
    EXPECT_EQ(plugin->portValue(kBeatsPerBar), 4.0f);
    EXPECT_EQ(plugin->portValue(kBeatUnit), 4.0f);
    EXPECT_EQ(plugin->portValue(kBar), 1.0f);
    EXPECT_FLOAT_EQ(plugin->portValue(kBarBeat), 1.0f);
    EXPECT_EQ(plugin->portValue(kSpeed), 1.0f);
    // A mono plugin runs once a channel: each side keeps its own signal.
    EXPECT_EQ(audio.left[10], 0.5f);
    EXPECT_EQ(audio.right[10], 0.25f);

    // Stopped somewhere else, in 3/8 at 90: the plugin hears the jump and the stop.
    Transport stopped;
    stopped.frame = 48000 * 10;  // 15 beats: bar 5, beat 0
    stopped.beatsPerMinute = 90;
    stopped.beatsPerBar = 3;
    stopped.beatUnit = 8;
    ASSERT_TRUE(plugin->setControlValue(kGain, 2.0f));
    EXPECT_FALSE(plugin->setControlValue(kBpm, 2.0f));  // outputs are the plugin's
    audio.fill(0.5f, 0.25f);
    plugin->process(audio.buffers(), 256, nullptr, 0, stopped);
    EXPECT_EQ(plugin->portValue(kSpeed), 0.0f);
    EXPECT_EQ(plugin->portValue(kBpm), 90.0f);
    EXPECT_EQ(plugin->portValue(kBeatsPerBar), 3.0f);
    EXPECT_EQ(plugin->portValue(kBeatUnit), 8.0f);
    EXPECT_EQ(plugin->portValue(kBar), 5.0f);
    EXPECT_NEAR(plugin->portValue(kBarBeat), 0.0f, 1e-4);
    EXPECT_EQ(plugin->portValue(kGain), 2.0f);
    EXPECT_EQ(audio.left[10], 1.0f);
    EXPECT_EQ(audio.right[10], 0.5f);
    const MusicalPosition at = musicalPosition(stopped, 48000);
    EXPECT_EQ(at.bar, 5);
    EXPECT_DOUBLE_EQ(at.beat, 15.0);

    // Block lengths: the one given at the start, then a new one through the options interface.
    EXPECT_EQ(plugin->portValue(kNominal), 256.0f);
    EXPECT_EQ(plugin->blockLength(), 256u);
    EXPECT_TRUE(plugin->setBlockLength(1024));
    EXPECT_FALSE(plugin->setBlockLength(8192));  // beyond the most it was promised
    Stereo big(1024);
    plugin->process(big.buffers(), 1024, nullptr, 0, stopped);
    EXPECT_EQ(plugin->portValue(kNominal), 1024.0f);
    EXPECT_EQ(plugin->portValue(kLargest), 1024.0f);
    EXPECT_EQ(plugin->blockLength(), 1024u);

    // Atoms both ways: two sent in one cycle both arrive; the echo comes back only while
    // someone collects it.
    const int32_t five = 5, seven = 7;
    const uint32_t intType = World::shared().map(LV2_ATOM__Int);
    EXPECT_FALSE(plugin->sendEvent(kGain, intType, &five, sizeof five));
    ASSERT_TRUE(plugin->sendEvent(kEvents, intType, &five, sizeof five));
    plugin->setCollectingOutputEvents(true);
    ASSERT_TRUE(plugin->sendEvent(kEvents, intType, &seven, sizeof seven));
    plugin->process(audio.buffers(), 256, nullptr, 0, stopped);
    EXPECT_EQ(plugin->portValue(kReceived), 12.0f);
    std::vector<int32_t> echoed;
    Plugin::OutputEvent event;
    while (plugin->takeOutputEvent(&event)) {
        EXPECT_EQ(event.port, kEcho);
        EXPECT_EQ(event.type, intType);
        ASSERT_EQ(event.body.size(), 4);
        echoed.push_back(*reinterpret_cast<const int32_t*>(event.body.constData()));
    }
    EXPECT_EQ(echoed, (std::vector<int32_t>{10, 14}));
    plugin->setCollectingOutputEvents(false);
    ASSERT_TRUE(plugin->sendEvent(kEvents, intType, &five, sizeof five));
    plugin->process(audio.buffers(), 256, nullptr, 0, stopped);
    EXPECT_FALSE(plugin->takeOutputEvent(&event));
}

TEST(Lv2UiHost, TheInterfaceAndThePluginHearEachOther)
{
    usePluginsOfTheTests();
    auto plugin = Plugin::instantiate(kProbe, 48000, 4096, 512, false);
    ASSERT_TRUE(plugin);
    EXPECT_TRUE(UiHost::canShow(*plugin));
    auto overdrive = Plugin::instantiate(QStringLiteral("http://drobilla.net/plugins/mda/Overdrive"), 48000, 4096, 512,
                                         false);
    ASSERT_TRUE(overdrive);
    EXPECT_FALSE(UiHost::canShow(*overdrive));
    QString reason;
    EXPECT_FALSE(UiHost::open(*overdrive, 0x5000, {}, &reason));
    EXPECT_EQ(reason, "MDA Overdrive has no interface of its own");

    QSize asked;
    auto ui = UiHost::open(*plugin, 0x5000, [&](int w, int h) { asked = QSize(w, h); }, &reason);
    ASSERT_TRUE(ui) << reason.toStdString();
    EXPECT_EQ(asked, QSize(321, 123));
    const auto value = probeUiFunction<float (*)(uint32_t)>("probe_ui_value");
    const auto parent = probeUiFunction<uintptr_t (*)()>("probe_ui_parent");
    const auto events = probeUiFunction<int (*)()>("probe_ui_events");
    const auto setGain = probeUiFunction<void (*)(float)>("probe_ui_set_gain");
    const auto sendInt = probeUiFunction<void (*)(int)>("probe_ui_send_int");
    const auto close = probeUiFunction<void (*)()>("probe_ui_request_close");
    ASSERT_TRUE(value && parent && events && setGain && sendInt && close);
    EXPECT_EQ(parent(), 0x5000u);
    EXPECT_EQ(value(kGain), 1.0f);  // every control's value when it opens

    // The plugin's outputs reach the interface at the next update.
    Stereo audio(512);
    Transport rolling;
    rolling.rolling = true;
    plugin->process(audio.buffers(), 512, nullptr, 0, rolling);
    ASSERT_TRUE(ui->update());
    EXPECT_EQ(value(kBpm), 120.0f);
    EXPECT_EQ(value(kNominal), 512.0f);

    // A change made elsewhere (the generic panel, a setup) shows too.
    plugin->setControlValue(QStringLiteral("gain"), 0.5f);
    ASSERT_TRUE(ui->update());
    EXPECT_EQ(value(kGain), 0.5f);

    // The interface's own changes reach the plugin; one out of range comes back clamped.
    setGain(3.0f);
    ASSERT_TRUE(ui->update());
    EXPECT_EQ(plugin->portValue(kGain), 3.0f);
    audio.fill(0.25f, 0.25f);
    plugin->process(audio.buffers(), 512, nullptr, 0, rolling);
    EXPECT_EQ(audio.left[0], 0.75f);
    setGain(9.0f);
    ASSERT_TRUE(ui->update());
    EXPECT_EQ(plugin->portValue(kGain), 4.0f);
    ASSERT_TRUE(ui->update());
    EXPECT_EQ(value(kGain), 4.0f);

    // Atoms: the interface's reach the plugin, the plugin's reach the interface.
    sendInt(21);
    ASSERT_TRUE(ui->update());
    plugin->process(audio.buffers(), 512, nullptr, 0, rolling);
    ASSERT_TRUE(ui->update());
    EXPECT_EQ(value(kReceived), 21.0f);
    EXPECT_EQ(events(), 1);

    close();
    EXPECT_FALSE(ui->update());
    ui.reset();
    // Closed, nothing more is collected for it.
    sendInt(0);
    const int32_t one = 1;
    plugin->sendEvent(kEvents, World::shared().map(LV2_ATOM__Int), &one, sizeof one);
    plugin->process(audio.buffers(), 512, nullptr, 0, rolling);
    Plugin::OutputEvent left;
    EXPECT_FALSE(plugin->takeOutputEvent(&left));
}
