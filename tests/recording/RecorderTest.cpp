#include "audiofiles/FilePlayer.h"
#include "audiofiles/RecFormats.h"
#include "platform/HostEngine.h"
#include "platform/Locations.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "recording/Recorder.h"
#include "recording/RecordingSettings.h"
#include "support/DecodedAudio.h"
#include "support/JackServer.h"
#include "support/KnownSignal.h"
#include "support/PlaybackFixtures.h"
#include "support/SmallMount.h"
#include "support/TempTree.h"

#include <QFile>
#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>

using testsupport::waitUntil;

namespace {

struct Take {
    int calls = 0;
    bool finished = false;
    QString path;
    QString name;
};

class RecorderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start());
        AudioEngine::setup();
        ASSERT_TRUE(AudioEngine::audioController()->isRunning());
    }
    void TearDown() override
    {
        recorder.reset();
        AudioEngine::teardown();
    }
    // The known signal from another program into the receiver ports.
    void patchSignal()
    {
        ASSERT_TRUE(signal.start());
        const QStringList from = signal.outputPorts();
        const QStringList to = AudioEngine::audioController()->receiverPortNames();
        ASSERT_EQ(from.size(), 2);
        ASSERT_EQ(to.size(), 2);
        for (int i = 0; i < 2; ++i)
            ASSERT_TRUE(server.connect(from[i], to[i]));
        ASSERT_TRUE(waitUntil([] { return AudioEngine::audioController()->receiverConnected(); }));
    }
    void makeRecorder()
    {
        recorder = std::make_unique<Recorder>();
        recorder->attach();
        recorder->setDoneBlock([this](bool finished, const QString& path, const QString& name) {
            ++take.calls;
            take.finished = finished;
            take.path = path;
            take.name = name;
            // The closure gets the file complete: keep a copy before the next take reuses the name.
            QFile::remove(path + QStringLiteral(".done"));
            QFile::copy(path, path + QStringLiteral(".done"));
        });
    }
    // Records about `seconds` with the stored settings; answers whether one take was delivered.
    bool recordFor(double seconds)
    {
        take = {};
        if (!recorder->setRecState(true))
            return false;
        const double until = seconds;
        waitUntil([&] { return recorder->recDuration() >= until; }, int(seconds * 1000) + 20000);
        recorder->setRecState(false);
        return waitUntil([&] { return recorder->state() == Recorder::State::Idle; }, 20000) && take.calls == 1;
    }

    testsupport::TempTree tree;
    testsupport::JackServer server{256};
    testsupport::KnownSignalClient signal;
    std::unique_ptr<Recorder> recorder;
    Take take;
};

void storeSettings(int format, int bits, int channels, int rate = 44100, int bitrate = 128000)
{
    RecordingSettings s;
    s.format = format;
    s.bits = bits;
    s.channels = channels;
    s.samplerate = rate;
    s.bitrate = bitrate;
    s.store();
}

}  // namespace

// What another program plays arrives in the file sample for sample, in every PCM container
// and depth, stereo and mono; a frame lost is only ever a whole cycle the server reported
// as an xrun, and none is doubled.
TEST_F(RecorderTest, PcmTakesHoldTheSignalSampleExact)
{
    patchSignal();
    makeRecorder();
    struct Case {
        int format, bits, channels;
    };
    const Case cases[] = {{0, 16, 2}, {0, 24, 2}, {0, 32, 1}, {1, 16, 2}, {1, 24, 1}, {2, 16, 1}, {2, 24, 2}, {2, 32, 2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(QStringLiteral("format %1, %2 bits, %3 channels").arg(c.format).arg(c.bits).arg(c.channels).toStdString());
        storeSettings(c.format, c.bits, c.channels);
        const uint64_t xruns = AudioEngine::audioController()->xrunCount();
        const uint64_t missed = signal.cyclesMissed();
        ASSERT_TRUE(recordFor(1.0));
        const uint64_t xrunsDuring = AudioEngine::audioController()->xrunCount() - xruns;
        const uint64_t missedDuring = signal.cyclesMissed() - missed;
        EXPECT_TRUE(take.finished);
        EXPECT_EQ(take.name, QStringLiteral("wlsignal"));  // the program feeding the receiver
        EXPECT_EQ(take.path, platform::Locations::tempDir() + QStringLiteral("/recording.") +
                                 Utils::fileExtensionForRecFormat(c.format));
        EXPECT_EQ(recorder->framesWritten(), recorder->framesDelivered());

        const auto audio = testsupport::decodeFile(take.path + QStringLiteral(".done"));
        ASSERT_EQ(audio.channels, c.channels);
        EXPECT_EQ(audio.rate, 44100);
        EXPECT_EQ(audio.bits, c.format == 1 && c.bits == 32 ? 24 : c.bits);
        EXPECT_EQ(audio.frames(), int64_t(recorder->framesWritten()));
        EXPECT_GE(audio.frames(), 44100);
        const auto m = testsupport::matchKnownSignal(audio.samples, audio.channels, signal.framesPlayed());
        ASSERT_TRUE(m.found);
        EXPECT_EQ(m.mismatchAt, -1) << "silence " << m.silenceAtMismatch << ", repeats from " << m.repeatedFrom
                                    << " back, jumps " << m.jumps << ", xruns " << xrunsDuring;
        // A cycle lost is one the server reported; a cycle heard twice is one the source was
        // not run in, so its port still held the last one. Anything else would be ours.
        EXPECT_LE(uint64_t(m.jumps), xrunsDuring);
        EXPECT_EQ(m.framesSkipped % 256, 0);
        EXPECT_LE(uint64_t(m.repeats), missedDuring);
        EXPECT_EQ(m.framesRepeated % 256, 0);
        EXPECT_LE(recorder->dropouts(), xrunsDuring);
    }
    EXPECT_GT(recorder->averagePowerForChannel(0), -20.0f);  // half-scale noise, metered
    EXPECT_GT(recorder->peakPowerForChannel(1), -10.0f);
}

// Lossless M4A holds the signal exactly; AAC within the codec's tolerance, at the asked rate
// and channels, and both are plain M4A files once finished.
TEST_F(RecorderTest, CompressedTakes)
{
    patchSignal();
    makeRecorder();
    storeSettings(Utils::kRecFormatALAC, 16, 2);
    ASSERT_TRUE(recordFor(1.0));
    auto audio = testsupport::decodeFile(take.path + QStringLiteral(".done"));
    ASSERT_EQ(audio.channels, 2);
    EXPECT_EQ(audio.frames(), int64_t(recorder->framesWritten()));
    auto m = testsupport::matchKnownSignal(audio.samples, 2, signal.framesPlayed());
    ASSERT_TRUE(m.found);
    EXPECT_EQ(m.mismatchAt, -1);
    // Finished as a plain file: no fragment boxes left.
    EXPECT_FALSE(testsupport::readFile(take.path + QStringLiteral(".done")).contains("moof"));

    signal.setSine(1000, 0.5f);
    storeSettings(Utils::kRecFormatAAC, 16, 1, 22050, 128000);
    ASSERT_TRUE(recordFor(1.5));
    audio = testsupport::decodeFile(take.path + QStringLiteral(".done"));
    EXPECT_FALSE(testsupport::readFile(take.path + QStringLiteral(".done")).contains("moof"));
    ASSERT_EQ(audio.channels, 1);
    EXPECT_EQ(audio.rate, 22050);
    const double expected = recorder->framesWritten() / 2.0;
    EXPECT_NEAR(double(audio.frames()), expected, 2048 + 64);
    // Against the best-fitting 1 kHz sine, block by block (a cycle the server dropped shifts
    // the phase), away from the edges.
    const double period = 22050 / 1000.0;
    std::vector<double> blocks;
    for (int64_t b = 4096; b + 2048 < audio.frames() - 4096; b += 2048) {
        double best = 1e9;
        for (double lag = 0; lag < period; lag += 0.05) {
            double error = 0, power = 0;
            for (int64_t i = b; i < b + 2048; ++i) {
                const double want = 0.5 * std::sin(2 * M_PI * (double(i) + lag) / period);
                error += (audio.at(i) - want) * (audio.at(i) - want);
                power += want * want;
            }
            best = std::min(best, error / power);
        }
        blocks.push_back(best);
    }
    ASSERT_GE(blocks.size(), 3u);
    std::sort(blocks.begin(), blocks.end());
    const double best = blocks[blocks.size() / 2];
    EXPECT_LT(10 * std::log10(best), -20.0);  // at least 20 dB signal to error
}

// STOP finishes once, after the last write; Cancel deletes the take and calls nobody; a new
// take can't begin before the last is closed.
TEST_F(RecorderTest, StopCancelAndRestart)
{
    patchSignal();
    makeRecorder();
    storeSettings(0, 16, 2);
    int stateChanges = 0;
    int cancelled = 0;
    QObject::connect(recorder.get(), &Recorder::recStateChanged, [&] { ++stateChanges; });
    QObject::connect(recorder.get(), &Recorder::takeFinished, [&](bool c) { cancelled += c; });
    double lastDuration = -1;
    QObject::connect(recorder.get(), &Recorder::durationChanged, [&](double d) { lastDuration = d; });

    ASSERT_TRUE(recorder->setRecState(true));
    EXPECT_TRUE(AudioEngine::recState());
    EXPECT_FALSE(AudioEngine::maybeStop());  // audio keeps running while recording
    ASSERT_TRUE(waitUntil([&] { return recorder->recDuration() > 0.5; }));
    recorder->setRecState(false);
    EXPECT_FALSE(AudioEngine::recState());
    EXPECT_FALSE(recorder->setRecState(true));  // the old take is not closed yet
    ASSERT_TRUE(waitUntil([&] { return recorder->state() == Recorder::State::Idle; }));
    EXPECT_EQ(take.calls, 1);
    EXPECT_TRUE(QFile::exists(take.path));
    testsupport::waitUntil([] { return false; }, 300);
    EXPECT_EQ(take.calls, 1);  // and exactly once

    take = {};
    ASSERT_TRUE(recorder->setRecState(true));
    const QString path = recorder->recordURL();
    ASSERT_TRUE(waitUntil([&] { return recorder->recDuration() > 0.3; }));
    EXPECT_FALSE(recorder->cancel());
    ASSERT_TRUE(waitUntil([&] { return recorder->state() == Recorder::State::Idle; }));
    testsupport::waitUntil([] { return false; }, 200);
    EXPECT_EQ(take.calls, 0);
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_EQ(cancelled, 1);
    EXPECT_EQ(lastDuration, 0);
    EXPECT_EQ(Recorder::durationText(lastDuration), QStringLiteral("00:00.00"));
    EXPECT_EQ(Recorder::durationText(83.456), QStringLiteral("01:23.45"));
    EXPECT_EQ(stateChanges, 4);
    EXPECT_TRUE(recorder->cancel());  // not recording: the screen may close

    // A recorder that goes away mid-take leaves a complete take for recovery, calling nobody.
    take = {};
    ASSERT_TRUE(recorder->setRecState(true));
    const QString left = recorder->recordURL();
    EXPECT_TRUE(Recorder::hasUnfinishedRecording().isEmpty());  // held while recorded
    ASSERT_TRUE(waitUntil([&] { return recorder->recDuration() > 0.3; }));
    recorder.reset();
    EXPECT_EQ(take.calls, 0);
    EXPECT_EQ(Recorder::hasUnfinishedRecording(), left);
    EXPECT_GT(testsupport::decodeFile(left).frames(), 44100 / 4);
    EXPECT_FALSE(AudioEngine::recState());
}

namespace {

// The frames of a take from its first to its last sound (a take has silence around what
// the player played).
std::vector<float> trimmedSilence(const testsupport::DecodedAudio& audio)
{
    int64_t start = 0, end = audio.frames();
    while (start < end && audio.at(start, 0) == 0 && audio.at(start, 1) == 0)
        ++start;
    while (end > start && audio.at(end - 1, 0) == 0 && audio.at(end - 1, 1) == 0)
        --end;
    return {audio.samples.begin() + start * 2, audio.samples.begin() + end * 2};
}

}  // namespace

// With the file player as the source, REC starts playback; the take holds the file from its
// first frame to its last, is named after it, and the source goes back to the input.
TEST_F(RecorderTest, FilePlayerAsSource)
{
    const int64_t fileFrames = 44100;
    const QString file = tree.path(QStringLiteral("Guitar Take.wav"));
    ASSERT_TRUE(testsupport::writeKnownSignalWav(file, fileFrames));
    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(file));
    AudioEngine::setRau(AudioEngine::fakePlayerRau(), 0);
    ASSERT_EQ(AudioEngine::updateIaaUnits(), 0);
    ASSERT_TRUE(AudioEngine::sourceIsFilePlayer());
    storeSettings(0, 16, 2);
    makeRecorder();
    testsupport::LogCapture logs;

    ASSERT_TRUE(recorder->setRecState(true));
    EXPECT_TRUE(player->isPlaying());
    EXPECT_TRUE(logs.contains(QStringLiteral("Starting file player for self-recording..")));
    ASSERT_TRUE(waitUntil([&] { return !player->isPlaying(); }, 30000));
    ASSERT_TRUE(waitUntil([&] { return recorder->recDuration() > 1.2; }, 30000));
    recorder->setRecState(false);
    ASSERT_TRUE(waitUntil([&] { return recorder->state() == Recorder::State::Idle; }));
    ASSERT_EQ(take.calls, 1);
    EXPECT_EQ(take.name, QStringLiteral("Guitar Take"));
    EXPECT_FALSE(AudioEngine::rauAtSlot(0));
    EXPECT_FALSE(AudioEngine::sourceIsFilePlayer());

    const auto audio = testsupport::decodeFile(take.path + QStringLiteral(".done"));
    const std::vector<float> heard = trimmedSilence(audio);
    const auto m = testsupport::matchKnownSignal(heard, 2, 1);
    ASSERT_TRUE(m.found);
    EXPECT_EQ(m.start, 0u);
    EXPECT_EQ(m.mismatchAt, -1);
    EXPECT_EQ(m.jumps + m.repeats, 0);
    // The last frame of the file may be one whose sample is 0 in both channels: a frame either way.
    EXPECT_NEAR(double(heard.size() / 2), double(fileFrames), 1);
}

// A full disk stops the take at once: "Recording Error" with the system's code, and what
// was written is delivered as a finished take, sample-exact.
TEST_F(RecorderTest, WriteErrorKeepsWhatWasWritten)
{
    testsupport::SmallMount disk(platform::Locations::tempDir(), "400k");
    if (!disk.mounted())
        GTEST_SKIP() << "mounting a small disk needs CAP_SYS_ADMIN";
    patchSignal();
    makeRecorder();
    storeSettings(0, 32, 2);  // 353 kB a second
    testsupport::AlertCapture alerts;
    QString failure;
    QObject::connect(recorder.get(), &Recorder::recordingFailed, [&](const QString& m) { failure = m; });
    ASSERT_TRUE(recorder->setRecState(true));
    ASSERT_TRUE(waitUntil([&] { return recorder->state() == Recorder::State::Idle; }, 30000));
    ASSERT_EQ(take.calls, 1);
    EXPECT_TRUE(take.finished);
    const QString expected = QStringLiteral(
        "Recording stopped unexpectedly, could not write to file! Try freeing up some space, closing other programs "
        "and restart your computer.\n---\nError code: 28\n");
    EXPECT_EQ(failure, expected);
    EXPECT_TRUE(alerts.alerts().contains(QStringLiteral("Recording Error|") + expected));
    EXPECT_FALSE(AudioEngine::recState());

    // The copy the closure made could not fit on the small disk; the take itself is there.
    const auto audio = testsupport::decodeFile(take.path);
    EXPECT_GT(audio.frames(), 44100 / 4);
    EXPECT_LE(audio.frames(), int64_t(recorder->framesDelivered()));
    const auto m = testsupport::matchKnownSignal(audio.samples, 2, signal.framesPlayed());
    ASSERT_TRUE(m.found);
    EXPECT_EQ(m.mismatchAt, -1);
    EXPECT_LE(uint64_t(m.repeats), signal.cyclesMissed());
}

// A disk with little room left says so while recording, before it is full; a temporary
// folder that can't be written stops the start with the recorder's message.
TEST_F(RecorderTest, LowDiskWarningAndAnUnwritableFolder)
{
    patchSignal();
    makeRecorder();
    storeSettings(0, 32, 2);
    {
        testsupport::SmallMount disk(platform::Locations::tempDir(), "3m");
        if (!disk.mounted())
            GTEST_SKIP() << "mounting a small disk needs CAP_SYS_ADMIN";
        double warned = -1;
        QObject::connect(recorder.get(), &Recorder::diskSpaceLow, [&](double left) { warned = left; });
        ASSERT_TRUE(recorder->setRecState(true));
        ASSERT_TRUE(waitUntil([&] { return warned >= 0; }));
        EXPECT_LT(warned, Recorder::kLowDiskSeconds);
        EXPECT_GT(recorder->secondsLeftOnDisk(), 0);
        recorder->setRecState(false);
        ASSERT_TRUE(waitUntil([&] { return recorder->state() == Recorder::State::Idle; }));
        EXPECT_EQ(take.calls, 1);
        QFile::remove(take.path);
    }
    // Where the temporary folder should be, a file.
    const QString folder = platform::Locations::tempDir();
    ASSERT_TRUE(QDir(folder).removeRecursively());
    ASSERT_TRUE(testsupport::writeFile(folder, "not a folder"));
    testsupport::LogCapture logs;
    testsupport::AlertCapture alerts;
    EXPECT_FALSE(recorder->toggleRecord());
    EXPECT_TRUE(logs.contains(QStringLiteral("Could not create audiofile for writing")));
    EXPECT_EQ(alerts.alerts(), QStringList{"Sorry|Could not start recording"});
    EXPECT_FALSE(AudioEngine::recState());
    QFile::remove(folder);
}

// The server going away mid-take ends it: what was recorded is kept and delivered.
TEST_F(RecorderTest, ServerGoneKeepsTheTake)
{
    patchSignal();
    makeRecorder();
    storeSettings(2, 24, 2);
    ASSERT_TRUE(recorder->setRecState(true));
    ASSERT_TRUE(waitUntil([&] { return recorder->recDuration() > 0.5; }));
    const uint64_t played = signal.framesPlayed();
    server.stop();
    ASSERT_TRUE(waitUntil([&] { return recorder->state() == Recorder::State::Idle; }, 30000));
    ASSERT_EQ(take.calls, 1);
    EXPECT_TRUE(take.finished);
    const auto audio = testsupport::decodeFile(take.path + QStringLiteral(".done"));
    EXPECT_GE(audio.frames(), 44100 / 2);
    EXPECT_EQ(audio.frames(), int64_t(recorder->framesWritten()));
    const auto m = testsupport::matchKnownSignal(audio.samples, 2, played + 44100);
    ASSERT_TRUE(m.found);
    EXPECT_EQ(m.mismatchAt, -1);
}
