// The engine's plugin slots on a private JACK server, with Debian's own plugins.
#include "audiofiles/FilePlayer.h"
#include "platform/HostEngine.h"
#include "platform/KeyedArchive.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "platform/lv2/Lv2LoadCheck.h"
#include "platform/lv2/Lv2World.h"
#include "recording/IaaErrors.h"
#include "recording/IaaSetups.h"
#include "recording/RAUChooserModel.h"
#include "recording/RemoteAudioUnit.h"
#include "support/BuildPaths.h"
#include "support/DecodedAudio.h"
#include "support/JackServer.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QDir>
#include <QProcess>
#include <atomic>
#include <cmath>
#include <optional>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

const QString kOverdrive = QStringLiteral("http://drobilla.net/plugins/mda/Overdrive");
const QString kAmp = QStringLiteral("http://plugin.org.uk/swh-plugins/amp");
const QString kDelay = QStringLiteral("http://drobilla.net/plugins/mda/Delay");
const QString kPiano = QStringLiteral("http://drobilla.net/plugins/mda/Piano");
const QString kOsc = QStringLiteral("http://plugin.org.uk/swh-plugins/analogueOsc");
const QString kProbe = QStringLiteral("urn:wavelocker:test:probe");  // tests/resources/probe.lv2
const QString kCrash = QStringLiteral("urn:wavelocker:test:crash");  // aborts as it is loaded
const QString kProbeFixed = QStringLiteral("urn:wavelocker:test:probe-fixed");  // blocks of one length only

// Keeps what it hears while armed, up to its capacity; allocates nothing on the audio thread.
class TakeReceiver : public platform::HostReceiver {
public:
    explicit TakeReceiver(size_t frames) : mLeft(frames), mRight(frames) {}
    void receive(const platform::HostChannel*, const platform::AudioTimeStamp&, uint32_t frames,
                 float* const* buffers) override
    {
        mCycles.fetch_add(1);
        if (!armed.load())
            return;
        const size_t at = mFrames.load();
        const size_t n = std::min<size_t>(frames, mLeft.size() - at);
        std::copy_n(buffers[0], n, mLeft.begin() + ptrdiff_t(at));
        std::copy_n(buffers[1], n, mRight.begin() + ptrdiff_t(at));
        mFrames.store(at + n);
    }
    size_t frames() const { return mFrames.load(); }
    int cycles() const { return mCycles.load(); }
    float left(size_t i) const { return mLeft[i]; }
    float right(size_t i) const { return mRight[i]; }
    float peak() const
    {
        float p = 0;
        for (size_t i = 0; i < frames(); ++i)
            p = std::max(p, std::fabs(mLeft[i]));
        return p;
    }
    std::atomic<bool> armed{false};

private:
    std::vector<float> mLeft, mRight;
    std::atomic<size_t> mFrames{0};
    std::atomic<int> mCycles{0};
};

std::vector<float> music(int frames)
{
    std::vector<float> s(size_t(frames) * 2);
    uint32_t noise = 777;
    for (int i = 0; i < frames; ++i) {
        noise = noise * 1664525u + 1013904223u;
        s[size_t(2 * i)] = 0.45f * std::sin(float(i) * 0.031f) + 0.05f * (float(noise >> 8) / 16777216.0f);
        s[size_t(2 * i + 1)] = 0.35f * std::sin(float(i) * 0.011f + 0.5f);
    }
    return s;
}

class PluginSlotsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        qputenv("LV2_PATH", (lv2Dir() + QStringLiteral(":/usr/lib/lv2")).toLocal8Bit());
        ASSERT_TRUE(server.start());
        AudioEngine::setup();
        ASSERT_TRUE(AudioEngine::audioController()->isRunning());
        recorder = std::make_shared<TakeReceiver>(44100 * 4);
        AudioEngine::setRecorder(recorder);
    }
    void TearDown() override
    {
        for (int i = 0; i < AudioEngine::kSlotCount; ++i)
            AudioEngine::setRau(nullptr, i);
        AudioEngine::teardown();
    }
    // Cycles pass, so that whatever the main thread asked has reached the audio thread.
    void settle(int cycles = 4)
    {
        const int seen = recorder->cycles();
        ASSERT_TRUE(waitUntil([&] { return recorder->cycles() > seen + cycles; }));
    }
    int apply(const IaaSetups::Setup& setup)
    {
        std::optional<int> code;
        IaaSetups::apply(setup, &context, [&](int c) { code = c; });
        EXPECT_TRUE(waitUntil([&] { return code.has_value(); }, 30000));
        return code.value_or(1);
    }
    std::shared_ptr<RemoteAU> unit(const QString& uri)
    {
        auto rau = AudioEngine::findRau(uri);
        EXPECT_TRUE(rau) << uri.toStdString();
        return rau;
    }

    TempTree tree;
    JackServer server{512};
    LogCapture logs;
    std::shared_ptr<TakeReceiver> recorder;
    QObject context;
};

}  // namespace

TEST_F(PluginSlotsTest, AnEffectChangesTheTakeExactlyAsTheReferenceHostComputesIt)
{
    const QString file = tree.path("music.wav");
    const std::vector<float> input = music(44100);
    ASSERT_TRUE(writeFloatWav(file, 44100, 2, input));
    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(file));

    int updates = 0;
    platform::ScopedObserver observer(notifications::kUpdatedIAAGraph, [&](const auto&) { ++updates; });
    AudioEngine::setRau(AudioEngine::fakePlayerRau(), 0);
    AudioEngine::setRau(unit(kOverdrive), 1);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    EXPECT_EQ(updates, 1);
    EXPECT_TRUE(AudioEngine::sourceIsFilePlayer());
    EXPECT_TRUE(logs.contains("Using source: internal file player"));
    EXPECT_TRUE(logs.contains("Adding channel filter: MDA Overdrive"));
    ASSERT_TRUE(AudioEngine::iaaAtSlot(1));
    EXPECT_TRUE(AudioEngine::iaaRunning());
    EXPECT_FALSE(AudioEngine::maybeStop());  // a live unit keeps audio running
    AudioEngine::iaaAtSlot(1)->plugin().setControlValue("drive", 0.7f);
    settle();

    recorder->armed = true;
    player->play();
    ASSERT_TRUE(waitUntil([&] { return !player->isPlaying(); }));
    settle();
    recorder->armed = false;

    QProcess lv2file;
    lv2file.start("lv2file", {"-b", "512", "-p", "drive:0.7", "-i", file, "-o", tree.path("ref.wav"), kOverdrive});
    ASSERT_TRUE(lv2file.waitForFinished(30000));
    const DecodedAudio ref = decodeFile(tree.path("ref.wav"));
    ASSERT_EQ(ref.frames(), 44100);
    size_t start = 0;
    while (start < recorder->frames() && recorder->left(start) == 0.0f)
        ++start;
    ASSERT_GE(recorder->frames(), start + 44100);
    int differences = 0;
    for (size_t i = 0; i < 44100; ++i)
        differences += recorder->left(start + i) != ref.at(int64_t(i), 0) ||
                       recorder->right(start + i) != ref.at(int64_t(i), 1);
    EXPECT_EQ(differences, 0);
    EXPECT_NE(recorder->left(start + 1000), input[2000]);  // the effect was heard

    // Emptying the slots puts the input back as the source and lets audio stop again.
    for (int i = 0; i < AudioEngine::kSlotCount; ++i)
        AudioEngine::setRau(nullptr, i);
    EXPECT_EQ(AudioEngine::updateIaaUnits(), 0);
    EXPECT_FALSE(AudioEngine::iaaRunning());
    EXPECT_FALSE(AudioEngine::sourceIsFilePlayer());
    EXPECT_TRUE(logs.contains("Using source: main input"));
}

TEST_F(PluginSlotsTest, ABufferSizeChangeReachesRunningPluginsAndTheTakeStaysExact)
{
    const QString file = tree.path("music.wav");
    ASSERT_TRUE(writeFloatWav(file, 44100, 2, music(44100 * 2)));
    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(file));
    AudioEngine::setRau(AudioEngine::fakePlayerRau(), 0);
    AudioEngine::setRau(unit(kOverdrive), 1);
    AudioEngine::setRau(unit(kProbe), 2);  // reports the block lengths it was told and ran
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    platform::lv2::Plugin& probe = AudioEngine::iaaAtSlot(2)->plugin();
    const uint32_t nominal = 10, largest = 11;
    settle();
    EXPECT_EQ(probe.portValue(nominal), 512.0f);

    // The server's blocks shrink and grow again while the take plays through both effects.
    recorder->armed = true;
    player->play();
    ASSERT_TRUE(waitUntil([&] { return recorder->frames() > 44100 / 2; }));
    QProcess bufsize;
    bufsize.start("jack_bufsize", {"256"});
    ASSERT_TRUE(bufsize.waitForFinished(20000));
    ASSERT_TRUE(waitUntil([&] { return probe.portValue(nominal) == 256.0f; }));
    ASSERT_TRUE(waitUntil([&] { return probe.portValue(largest) == 256.0f; }));
    ASSERT_TRUE(waitUntil([&] { return recorder->frames() > 44100; }));
    bufsize.start("jack_bufsize", {"1024"});
    ASSERT_TRUE(bufsize.waitForFinished(20000));
    ASSERT_TRUE(waitUntil([&] { return probe.portValue(nominal) == 1024.0f && probe.portValue(largest) == 1024.0f; }));
    EXPECT_EQ(AudioEngine::iaaAtSlot(2)->plugin().blockLength(), 1024u);
    ASSERT_TRUE(waitUntil([&] { return !player->isPlaying(); }));
    settle();
    recorder->armed = false;
    EXPECT_EQ(AudioEngine::audioController()->bufferSize(), 1024u);

    // Not a frame lost or doubled: the take is the reference host's output, sample for sample.
    QProcess lv2file;
    lv2file.start("lv2file", {"-b", "512", "-i", file, "-o", tree.path("ref.wav"), kOverdrive});
    ASSERT_TRUE(lv2file.waitForFinished(30000));
    const DecodedAudio ref = decodeFile(tree.path("ref.wav"));
    ASSERT_EQ(ref.frames(), 44100 * 2);
    size_t start = 0;
    while (start < recorder->frames() && recorder->left(start) == 0.0f)
        ++start;
    ASSERT_GE(recorder->frames(), start + 44100 * 2);
    int differences = 0;
    for (size_t i = 0; i < 44100 * 2; ++i)
        differences += recorder->left(start + i) != ref.at(int64_t(i), 0) ||
                       recorder->right(start + i) != ref.at(int64_t(i), 1);
    EXPECT_EQ(differences, 0);

    // A plugin that takes blocks of one length only, and cannot be told another, is made
    // anew for the new length, with its settings (a rebuild, so not while a take runs).
    AudioEngine::setRau(unit(kProbeFixed), 3);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    const auto fixed = AudioEngine::iaaAtSlot(3);
    ASSERT_TRUE(fixed);
    settle();
    EXPECT_EQ(fixed->plugin().portValue(nominal), 1024.0f);
    fixed->plugin().setControlValue(QStringLiteral("gain"), 2.0f);
    bufsize.start("jack_bufsize", {"512"});
    ASSERT_TRUE(bufsize.waitForFinished(20000));
    ASSERT_TRUE(waitUntil([&] { return AudioEngine::iaaAtSlot(3) && AudioEngine::iaaAtSlot(3) != fixed; }));
    settle();
    EXPECT_EQ(AudioEngine::iaaAtSlot(3)->plugin().portValue(nominal), 512.0f);
    EXPECT_EQ(AudioEngine::iaaAtSlot(3)->plugin().controlValue(QStringLiteral("gain")), 2.0f);
    EXPECT_EQ(&AudioEngine::iaaAtSlot(2)->plugin(), &probe);  // told, not made anew
    EXPECT_TRUE(logs.contains("Host Probe Fixed needs to be made anew for blocks of 512 frames"));
}

TEST_F(PluginSlotsTest, AGeneratorAndAnInstrumentPlayedFromJackMidiAreRecorded)
{
    AudioEngine::setRau(unit(kOsc), 0);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    EXPECT_TRUE(logs.contains("Using source: Analogue Oscillator")) << logs.lines().join('\n').toStdString();
    settle();
    recorder->armed = true;
    settle();
    recorder->armed = false;
    EXPECT_GT(recorder->peak(), 0.05f);

    // An instrument is silent until a note arrives at our MIDI input.
    AudioEngine::setRau(unit(kPiano), 0);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    EXPECT_EQ(AudioEngine::rauAtSlot(0)->description().componentType, RemoteAU::kInstrument);
    auto take = std::make_shared<TakeReceiver>(44100 * 4);
    AudioEngine::setRecorder(take);
    ASSERT_TRUE(waitUntil([&] { return take->cycles() > 4; }));
    take->armed = true;
    ASSERT_TRUE(waitUntil([&] { return take->frames() > 8192; }));
    EXPECT_EQ(take->peak(), 0.0f);
    const QString midiIn = AudioEngine::audioController()->midiInputPortName();
    EXPECT_EQ(midiIn, "Wavelocker:MIDI In");
    QProcess sequencer;
    sequencer.start("jack_midiseq", {"wltestseq", "22050", "0", "60", "11025"});
    ASSERT_TRUE(sequencer.waitForStarted());
    ASSERT_TRUE(waitUntil([&] { return server.ports().contains("wltestseq:out"); }));
    ASSERT_TRUE(server.connect("wltestseq:out", midiIn));
    ASSERT_TRUE(waitUntil([&] { return take->peak() > 0.01f; }));
    sequencer.kill();
    sequencer.waitForFinished();
    AudioEngine::setRecorder(recorder);
}

TEST_F(PluginSlotsTest, SlotRulesAndAUnitThatFailsToLoad)
{
    AlertCapture alerts;
    const auto overdrive = unit(kOverdrive);
    AudioEngine::setRau(overdrive, 2);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    const auto live = AudioEngine::iaaAtSlot(2);
    ASSERT_TRUE(live);
    // The same unit put in slot 1 leaves slot 2, and the running plugin moves with it.
    AudioEngine::setRau(overdrive, 1);
    EXPECT_FALSE(AudioEngine::rauAtSlot(2));
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    EXPECT_EQ(AudioEngine::iaaAtSlot(1), live);
    EXPECT_FALSE(AudioEngine::iaaAtSlot(2));
    EXPECT_TRUE(logs.contains("Found existing unit MDA Overdrive"));
    EXPECT_GT(overdrive->lastActiveTime(), 0);

    // A unit that is gone since the scan: its slot is emptied and its code comes back.
    const auto gone = std::make_shared<RemoteAU>(
        AudioComponentDescription{RemoteAU::kEffect, RemoteAU::codeFor("urn:gone"), RemoteAU::codeFor("gone.lv2"), 0, 0},
        "urn:gone", "Gone");
    AudioEngine::setRau(gone, 3);
    const int code = AudioEngine::updateIaaUnits();
    EXPECT_EQ(code, -66749);
    EXPECT_FALSE(AudioEngine::rauAtSlot(3));
    EXPECT_EQ(AudioEngine::iaaAtSlot(1), live);  // the others keep running
    EXPECT_TRUE(logs.contains("Creating IAA node for Gone"));
    EXPECT_TRUE(logs.contains("Could not create IAA node: Node invalidated"));
    AudioEngine::reportIaaError(code);
    AudioEngine::reportIaaError(-66751);
    AudioEngine::reportIaaError(-5);
    AudioEngine::reportIaaError(-1);
    const QStringList shown = alerts.alerts();
    ASSERT_EQ(shown.size(), 4);
    EXPECT_EQ(shown[0], "Sorry|Could not create IAA node. Node invalidated");
    EXPECT_EQ(shown[1], "Sorry|Could not create IAA node. Unsupported type");
    EXPECT_EQ(shown[2], "Sorry|Could not create IAA node. Error -5");
    EXPECT_TRUE(shown[3].startsWith(QString::fromUtf8("Sorry|Could not create IAA node. To fix it, follow the "
                                                      "instructions below:\n\n\u2460\u00a0save what you are working on")));

    // Effects apply to the file player when it is the source, and to the input otherwise.
    AudioEngine::setRau(AudioEngine::fakePlayerRau(), 0);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    EXPECT_EQ(AudioEngine::iaaAtSlot(1), live);
    EXPECT_TRUE(AudioEngine::sourceIsFilePlayer());
    EXPECT_TRUE(AudioEngine::maybeStop() == false);
}

TEST_F(PluginSlotsTest, APluginThatCrashesWhileLoadingIsLeftOutAndTheProgramGoesOn)
{
    platform::lv2::LoadCheck::setChecker(binDir() + "/wavelocker-tool");
    AlertCapture alerts;
    AudioEngine::setRau(unit(kCrash), 1);
    AudioEngine::setRau(unit(kProbe), 2);
    const int code = AudioEngine::updateIaaUnits();
    EXPECT_EQ(code, IaaErrors::kInvalidFormat);
    EXPECT_FALSE(AudioEngine::rauAtSlot(1));
    EXPECT_TRUE(AudioEngine::iaaAtSlot(2));  // the other unit runs
    EXPECT_TRUE(logs.contains("Checking urn:wavelocker:test:crash in a separate process"));
    EXPECT_TRUE(logs.contains("Skipping plugin urn:wavelocker:test:crash from now on: Crash On Load crashed while it "
                              "was being loaded"))
        << logs.lines().join('\n').toStdString();
    EXPECT_TRUE(logs.contains("Could not create IAA node: Crash On Load crashed while it was being loaded"));

    // Gone from the lists and said so in the chooser; the mark the child left is cleared, so
    // the next start does not take it for a crash of its own.
    EXPECT_FALSE(AudioEngine::findRau(kCrash));
    EXPECT_TRUE(platform::lv2::World::shared().skippedPlugins().contains(kCrash));
    EXPECT_TRUE(RAUChooserModel::forSlot(1).footer().endsWith(
        "Left out because they crashed or hung while loading: urn:wavelocker:test:crash"));
    EXPECT_FALSE(platform::Settings::contains("LV2PluginLoading"));

    // A plugin that ran in the child once is not checked again.
    AudioEngine::setRau(nullptr, 2);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    AudioEngine::setRau(unit(kProbe), 2);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    EXPECT_TRUE(AudioEngine::iaaAtSlot(2));
    EXPECT_EQ(logs.lines().count("Checking urn:wavelocker:test:probe in a separate process"), 1);
    platform::lv2::LoadCheck::setChecker({});
}

// A setup whose plugins were never checked loads once the children have checked them, all at
// once; one that crashes there leaves its slot empty with its code, the others keep settings.
TEST_F(PluginSlotsTest, ASetupWaitsForItsChecksAndLeavesACrashingUnitOut)
{
    platform::lv2::LoadCheck::setChecker(binDir() + "/wavelocker-tool");
    AudioEngine::setRau(unit(kAmp), 1);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    AudioEngine::iaaAtSlot(1)->plugin().setControlValue("gain", -6.0f);
    const QByteArray ampState = AudioEngine::iaaAtSlot(1)->plugin().saveState();
    AudioEngine::setRau(nullptr, 1);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);

    IaaSetups::Setup setup;
    setup.units = {nullptr, unit(kCrash), unit(kAmp), unit(kProbe)};
    setup.states[2] = ampState;
    std::optional<int> code;
    IaaSetups::apply(setup, &context, [&](int c) { code = c; });
    EXPECT_FALSE(code);  // the children run while the caller goes on
    EXPECT_FALSE(AudioEngine::rauAtSlot(2));
    ASSERT_TRUE(waitUntil([&] { return code.has_value(); }, 30000));
    EXPECT_EQ(*code, IaaErrors::kInvalidFormat);
    EXPECT_FALSE(AudioEngine::rauAtSlot(1));
    ASSERT_TRUE(AudioEngine::iaaAtSlot(2) && AudioEngine::iaaAtSlot(3));
    EXPECT_FLOAT_EQ(AudioEngine::iaaAtSlot(2)->plugin().controlValue("gain"), -6.0f);
    EXPECT_EQ(AudioEngine::iaaAtSlot(3)->rau()->component(), kProbe);
    EXPECT_FALSE(AudioEngine::findRau(kCrash));
    EXPECT_EQ(logs.lines().count("Checking urn:wavelocker:test:probe in a separate process"), 1);
    EXPECT_EQ(logs.lines().count("Checking " + kAmp + " in a separate process"), 1);  // when it was first made
    platform::lv2::LoadCheck::setChecker({});
}

TEST_F(PluginSlotsTest, SetupsRestoreSlotsAndSettingsAndSurviveMissingPluginsAndGarbage)
{
    AudioEngine::setRau(unit(kOverdrive), 1);
    AudioEngine::setRau(unit(kAmp), 2);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    AudioEngine::iaaAtSlot(1)->plugin().setControlValue("drive", 0.8f);
    AudioEngine::iaaAtSlot(2)->plugin().setControlValue("gain", -12.0f);
    ASSERT_TRUE(IaaSetups::saveCurrentSetup("Warm"));
    EXPECT_FALSE(IaaSetups::saveCurrentSetup("../Escape"));
    EXPECT_FALSE(IaaSetups::saveCurrentSetup(".hidden"));
    EXPECT_FALSE(QFile::exists(QFileInfo(IaaSetups::directory() + "/../Escape").absoluteFilePath()));

    // The file: a binary keyed archive, four root entries, 20 bytes for each set slot.
    const QByteArray bytes = readFile(IaaSetups::directory() + "/Warm");
    EXPECT_TRUE(bytes.startsWith("bplist00"));
    const auto root = platform::KeyedArchive::read(bytes);
    ASSERT_TRUE(root);
    ASSERT_EQ(root->size(), 4);
    EXPECT_FALSE(root->at(0));
    ASSERT_TRUE(root->at(1));
    EXPECT_EQ(root->at(1)->size(), 20);
    EXPECT_EQ(AudioComponentDescription::fromBytes(*root->at(1)), unit(kOverdrive)->description());
    EXPECT_FALSE(root->at(3));

    IaaSetups::clear();
    EXPECT_FALSE(AudioEngine::iaaRunning());
    // A setup naming a plugin that is not installed, one without settings, and garbage.
    const AudioComponentDescription missing{RemoteAU::kEffect, RemoteAU::codeFor("urn:x"), RemoteAU::codeFor("x"), 0, 0};
    ASSERT_TRUE(writeFile(IaaSetups::directory() + "/Partial",
                          IaaSetups::archive({std::nullopt, missing, unit(kDelay)->description(), std::nullopt}, {})));
    ASSERT_TRUE(writeFile(IaaSetups::directory() + "/junk", QByteArray("bplist00\xff\xff garbage", 18)));
    ASSERT_TRUE(writeFile(IaaSetups::directory() + "/empty", QByteArray()));

    const QList<IaaSetups::Setup> setups = IaaSetups::refreshList();
    ASSERT_EQ(setups.size(), 2);
    EXPECT_EQ(setups[0].name, "Partial");
    EXPECT_EQ(setups[1].name, "Warm");
    EXPECT_EQ(IaaSetups::subtitle(setups[1]), QString::fromUtf8("MDA Overdrive \u25BA Simple amplifier"));
    EXPECT_TRUE(logs.contains("Could not load junk: not a setup"));

    ASSERT_EQ(apply(setups[1]), 0);
    ASSERT_TRUE(AudioEngine::iaaAtSlot(1) && AudioEngine::iaaAtSlot(2));
    EXPECT_EQ(AudioEngine::iaaAtSlot(1)->rau()->component(), kOverdrive);
    EXPECT_FLOAT_EQ(AudioEngine::iaaAtSlot(1)->plugin().controlValue("drive"), 0.8f);
    EXPECT_FLOAT_EQ(AudioEngine::iaaAtSlot(2)->plugin().controlValue("gain"), -12.0f);

    IaaSetups::clear();
    EXPECT_FALSE(setups[0].units[1]);
    ASSERT_EQ(apply(setups[0]), 0);
    EXPECT_FALSE(AudioEngine::rauAtSlot(1));
    ASSERT_TRUE(AudioEngine::iaaAtSlot(2));
    EXPECT_EQ(AudioEngine::iaaAtSlot(2)->rau()->component(), kDelay);

    EXPECT_TRUE(IaaSetups::remove(setups[0]));
    EXPECT_EQ(IaaSetups::refreshList().size(), 1);
}
