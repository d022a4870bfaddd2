// Proves that the audio thread neither allocates, frees nor takes a mutex while the engine
// plays a file with fades and loops, plays MIDI, records, monitors and exchanges messages.
// This test program replaces malloc and friends and pthread_mutex_lock for the whole
// process; the replacements only count calls made on the watched thread.
#include "audiofiles/FilePlayer.h"
#include "audiofiles/RecFormats.h"
#include "platform/HostEngine.h"
#include "recording/AudioEngine.h"
#include "recording/Recorder.h"
#include "recording/RecordingSettings.h"
#include "platform/lv2/Lv2World.h"
#include "recording/RemoteAudioUnit.h"
#include "support/BuildPaths.h"
#include "support/JackServer.h"
#include "support/PlaybackFixtures.h"
#include "support/ProbeNodes.h"
#include "support/TempTree.h"

#include <QProcess>
#include <gtest/gtest.h>
#include <atomic>
#include <cmath>
#include <dlfcn.h>
#include <lv2/atom/atom.h>
#include <pthread.h>

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);
}

namespace {

std::atomic<bool> gWatching{false};
std::atomic<pthread_t> gWatched{};
std::atomic<int> gAllocations{0};
std::atomic<int> gLocks{0};

bool onWatchedThread()
{
    return gWatching.load(std::memory_order_relaxed) && pthread_equal(pthread_self(), gWatched.load());
}

using LockFn = int (*)(pthread_mutex_t*);
LockFn realLock()
{
    static const LockFn fn = reinterpret_cast<LockFn>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    return fn;
}
const LockFn gResolvedEarly = realLock();

// Marks the thread that renders it as the one to watch.
class ThreadMarker : public platform::HostChannel {
public:
    void render(float* const*, uint32_t, const platform::AudioTimeStamp&) override
    {
        gWatched.store(pthread_self());
        mSeen.store(true);
    }
    std::atomic<bool> mSeen{false};
};

// Sets the engine up on the running server and marks its audio thread as the one to watch.
bool startEngineAndWatchItsThread()
{
    AudioEngine::setup();
    platform::HostEngine* controller = AudioEngine::audioController();
    if (!controller->isRunning())
        return false;
    auto marker = std::make_shared<ThreadMarker>();
    controller->addChannel(marker);
    return testsupport::waitUntil([&] { return marker->mSeen.load(); });
}

}  // namespace

extern "C" {
void* malloc(size_t n)
{
    if (onWatchedThread())
        gAllocations.fetch_add(1);
    return __libc_malloc(n);
}
void* calloc(size_t n, size_t size)
{
    if (onWatchedThread())
        gAllocations.fetch_add(1);
    return __libc_calloc(n, size);
}
void* realloc(void* p, size_t n)
{
    if (onWatchedThread())
        gAllocations.fetch_add(1);
    return __libc_realloc(p, n);
}
void* memalign(size_t alignment, size_t n)
{
    if (onWatchedThread())
        gAllocations.fetch_add(1);
    return __libc_memalign(alignment, n);
}
void* aligned_alloc(size_t alignment, size_t n) { return memalign(alignment, n); }
int posix_memalign(void** out, size_t alignment, size_t n)
{
    *out = memalign(alignment, n);
    return *out ? 0 : 12;
}
void free(void* p)
{
    if (p && onWatchedThread())
        gAllocations.fetch_add(1);
    __libc_free(p);
}
int pthread_mutex_lock(pthread_mutex_t* m)
{
    if (onWatchedThread())
        gLocks.fetch_add(1);
    return realLock()(m);
}
}

TEST(AudioThread, NeverAllocatesNorLocks)
{
    ASSERT_NE(gResolvedEarly, nullptr);
    testsupport::TempTree tree;
    testsupport::JackServer server(256);
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(startEngineAndWatchItsThread());

    const QString audio = tree.path(QStringLiteral("a.wav"));
    std::vector<float> samples(44100 * 2);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = float((i % 200)) / 200.0f - 0.5f;
    ASSERT_TRUE(testsupport::writeFloatWav(audio, 44100, 2, samples));
    const QString midi = tree.path(QStringLiteral("m.mid"));
    ASSERT_TRUE(testsupport::writeFile(midi, testsupport::midiFileBytes({{0, 0.25, 60}, {0.5, 0.25, 64}, {1, 1, 67}})));

    auto recorder = std::make_shared<testsupport::PeakReceiver>();
    AudioEngine::setRecorder(recorder);
    ASSERT_TRUE(server.connect(QStringLiteral("Wavelocker:Audio Output_1"), QStringLiteral("Wavelocker:Audio Input_1")));
    ASSERT_TRUE(testsupport::waitUntil([] { return AudioEngine::isMonitoring(); }));

    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(audio));
    player->setRegionStart(0.1);
    player->setRegionEnd(0.4);
    player->setFadeIn(0.05);
    player->setFadeOut(0.05);
    player->setLoop(true);
    player->setVolume(0.8f);
    player->play();
    testsupport::waitUntil([] { return false; }, 200);  // let the stream settle

    gWatching = true;
    // A second of the server's 256-frame cycles: the region loops several times, however busy
    // the machine is.
    const int before = recorder->cycles();
    ASSERT_TRUE(testsupport::waitUntil([&] { return recorder->cycles() > before + 44100 / 256; }));
    AudioEngine::setRecorder(std::make_shared<testsupport::PeakReceiver>());  // an exchange
    testsupport::waitUntil([] { return false; }, 300);
    gWatching = false;
    player->stop();
    ASSERT_TRUE(player->loadMidiURL(midi));
    player->play();
    testsupport::waitUntil([] { return false; }, 200);
    gWatching = true;
    testsupport::waitUntil([] { return false; }, 1500);
    gWatching = false;
    player->stop();

    EXPECT_GT(recorder->cycles(), 50);
    EXPECT_EQ(gAllocations.load(), 0);
    EXPECT_EQ(gLocks.load(), 0);
    AudioEngine::teardown();
}

TEST(AudioThread, ThreeHostedEffectsAndAnInstrumentNeverAllocateNorLock)
{
    testsupport::TempTree tree;
    qputenv("LV2_PATH", (testsupport::lv2Dir() + QStringLiteral(":/usr/lib/lv2")).toLocal8Bit());
    testsupport::JackServer server(256);
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(startEngineAndWatchItsThread());
    platform::HostEngine* controller = AudioEngine::audioController();
    auto recorder = std::make_shared<testsupport::PeakReceiver>();
    AudioEngine::setRecorder(recorder);

    const QString audio = tree.path(QStringLiteral("a.wav"));
    std::vector<float> samples(44100 * 4);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = 0.5f * std::sin(float(i) * 0.01f);
    ASSERT_TRUE(testsupport::writeFloatWav(audio, 44100, 2, samples));
    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(audio));
    player->setLoop(true);

    // A stereo effect, a mono one (two instances) that follows the transport and trades
    // atoms with an interface, and one with event ports and a latency.
    AudioEngine::setRau(AudioEngine::fakePlayerRau(), 0);
    const char* effects[] = {"http://drobilla.net/plugins/mda/Overdrive", "urn:wavelocker:test:probe",
                             "http://gareus.org/oss/lv2/dpl#stereo"};
    for (int slot = 1; slot <= 3; ++slot) {
        auto rau = AudioEngine::findRau(QString::fromLatin1(effects[slot - 1]));
        ASSERT_TRUE(rau) << effects[slot - 1];
        AudioEngine::setRau(rau, slot);
    }
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    player->play();
    testsupport::waitUntil([] { return false; }, 300);  // first cycles of every plugin

    gWatching = true;
    testsupport::waitUntil([] { return false; }, 1000);
    // What an open interface does: atoms both ways, while the transport stops and rolls.
    platform::lv2::Plugin& probe = AudioEngine::iaaAtSlot(2)->plugin();
    probe.setCollectingOutputEvents(true);
    const uint32_t intType = platform::lv2::World::shared().map(LV2_ATOM__Int);
    int echoes = 0;
    for (int i = 0; i < 20; ++i) {
        const int32_t value = 1;
        probe.sendEvent(2, intType, &value, sizeof value);
        testsupport::waitUntil([] { return false; }, 20);
        platform::lv2::Plugin::OutputEvent echo;
        while (probe.takeOutputEvent(&echo))
            ++echoes;
        if (i == 10)
            player->stop();
        if (i == 12)
            player->play();
    }
    // A block-length change from here and one from the server.
    AudioEngine::iaaAtSlot(3)->plugin().setBlockLength(128);
    QProcess bufsize;
    bufsize.start(QStringLiteral("jack_bufsize"), {QStringLiteral("512")});
    EXPECT_TRUE(bufsize.waitForFinished(20000));
    EXPECT_TRUE(testsupport::waitUntil([&] { return probe.portValue(10) == 512.0f; }));
    // Every atom sent arrives, and the echoes come back, when the audio thread gets to them.
    EXPECT_TRUE(testsupport::waitUntil([&] {
        platform::lv2::Plugin::OutputEvent echo;
        while (probe.takeOutputEvent(&echo))
            ++echoes;
        return echoes > 10 && probe.portValue(12) >= 20.0f;
    })) << echoes << " echoes, " << probe.portValue(12) << " received";
    AudioEngine::iaaAtSlot(1)->plugin().setControlValue(QStringLiteral("drive"), 0.9f);
    AudioEngine::setRau(AudioEngine::rauAtSlot(3), 1);  // a rebuild while it plays
    EXPECT_EQ(AudioEngine::updateIaaUnits(), 0);
    testsupport::waitUntil([] { return false; }, 500);
    gWatching = false;
    player->stop();

    // An instrument played from the MIDI input.
    AudioEngine::setRau(AudioEngine::findRau(QStringLiteral("http://drobilla.net/plugins/mda/Piano")), 0);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    QProcess sequencer;
    sequencer.start(QStringLiteral("jack_midiseq"), {"wlsafetyseq", "11025", "0", "60", "5000", "4000", "64", "3000"});
    ASSERT_TRUE(sequencer.waitForStarted());
    ASSERT_TRUE(testsupport::waitUntil([&] { return server.ports().contains(QStringLiteral("wlsafetyseq:out")); }));
    ASSERT_TRUE(server.connect(QStringLiteral("wlsafetyseq:out"), controller->midiInputPortName()));
    testsupport::waitUntil([] { return false; }, 300);
    recorder->reset();
    gWatching = true;
    testsupport::waitUntil([] { return false; }, 1000);
    // The notes heard: watched until then, however late the sequencer's first cycles come.
    EXPECT_TRUE(testsupport::waitUntil([&] { return recorder->peak() > 0.01f; }));
    gWatching = false;
    sequencer.kill();
    sequencer.waitForFinished();

    EXPECT_EQ(gAllocations.load(), 0);
    EXPECT_EQ(gLocks.load(), 0);
    for (int slot = 0; slot < AudioEngine::kSlotCount; ++slot)
        AudioEngine::setRau(nullptr, slot);
    AudioEngine::teardown();
}

// The recorder on the audio thread: metering, the writing flag's hand-overs and the ring,
// while it is attached, records, stops, records again and is detached.
TEST(AudioThread, RecordingNeverAllocatesNorLocks)
{
    testsupport::TempTree tree;
    testsupport::JackServer server(256);
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(startEngineAndWatchItsThread());
    // The player's output into our input: a busy signal to meter and write.
    const QString audio = tree.path(QStringLiteral("a.wav"));
    std::vector<float> samples(44100 * 2);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = 0.5f * std::sin(float(i) * 0.03f);
    ASSERT_TRUE(testsupport::writeFloatWav(audio, 44100, 2, samples));
    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(audio));
    player->setLoop(true);
    ASSERT_TRUE(server.connect(QStringLiteral("Wavelocker:Audio Output_1"), QStringLiteral("Wavelocker:Audio Input_1")));
    ASSERT_TRUE(server.connect(QStringLiteral("Wavelocker:Audio Output_2"), QStringLiteral("Wavelocker:Audio Input_2")));
    player->play();
    testsupport::waitUntil([] { return false; }, 200);

    for (const int format : {0, Utils::kRecFormatAAC}) {
        RecordingSettings s;
        s.format = format;
        s.store();
        gWatching = true;
        auto recorder = std::make_unique<Recorder>();
        recorder->attach();
        testsupport::waitUntil([] { return false; }, 300);
        ASSERT_TRUE(recorder->setRecState(true));
        ASSERT_TRUE(testsupport::waitUntil([&] { return recorder->recDuration() > 0.8; }));
        recorder->setRecState(false);
        ASSERT_TRUE(testsupport::waitUntil([&] { return recorder->state() == Recorder::State::Idle; }));
        ASSERT_TRUE(recorder->setRecState(true));
        ASSERT_TRUE(testsupport::waitUntil([&] { return recorder->recDuration() > 0.5; }));
        recorder->setRecState(false);
        ASSERT_TRUE(testsupport::waitUntil([&] { return recorder->state() == Recorder::State::Idle; }));
        EXPECT_GT(recorder->peakPowerForChannel(0), -10.0f);
        recorder->detach();
        testsupport::waitUntil([] { return false; }, 300);
        gWatching = false;
        recorder.reset();
    }
    player->stop();
    EXPECT_EQ(gAllocations.load(), 0);
    EXPECT_EQ(gLocks.load(), 0);
    AudioEngine::teardown();
}
