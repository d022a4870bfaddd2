#include "audiofiles/RecFormats.h"
#include "platform/AudioFileWriter.h"
#include "recording/TakeWriter.h"
#include "support/DecodedAudio.h"
#include "support/KnownSignal.h"
#include "support/TempTree.h"

#include <QFile>
#include <gtest/gtest.h>
#include <chrono>
#include <thread>

namespace {

constexpr double kRate = 44100;

std::unique_ptr<TakeWriter> makeTake(const QString& path, int format, int bits, int channels = 2)
{
    platform::StreamDescription d;
    d.sampleRate = kRate;
    d.channelsPerFrame = uint32_t(channels);
    if (!Utils::setupASBD(d, format, bits))
        return nullptr;
    auto file = platform::AudioFileWriter::createRecoverable(path, Utils::fileTypeForRecFormat(format), d);
    if (!file || !file->setClientFormat(kRate, 2))
        return nullptr;
    return std::make_unique<TakeWriter>(std::move(file), 2, kRate);
}

// Pushes the known signal from `first` in buffers of varying size, as an audio thread would.
uint64_t pushSignal(TakeWriter& take, uint64_t first, uint64_t frames, bool realTime)
{
    std::vector<float> left(1024), right(1024);
    const float* buffers[] = {left.data(), right.data()};
    const uint32_t sizes[] = {64, 256, 512, 1000, 1024, 333};
    uint64_t done = 0;
    for (int i = 0; done < frames; ++i) {
        const uint32_t n = uint32_t(std::min<uint64_t>(sizes[i % 6], frames - done));
        for (uint32_t f = 0; f < n; ++f) {
            left[f] = testsupport::knownSample(first + done + f, 0);
            right[f] = testsupport::knownSample(first + done + f, 1);
        }
        if (!take.push(const_cast<float* const*>(buffers), n))
            break;
        done += n;
        if (realTime)
            std::this_thread::sleep_for(std::chrono::microseconds(int64_t(n * 1e6 / kRate)));
    }
    return done;
}

}  // namespace

// Every frame handed over is in the file, in order, once; a copy taken mid-take already
// plays up to the last checkpoint.
TEST(TakeWriter, EveryFrameOnDiskInOrderAndReadableMidTake)
{
    testsupport::TempTree tree;
    struct Case {
        int format, bits;
    };
    for (const Case c : {Case{0, 16}, Case{1, 24}, Case{2, 32}}) {
        SCOPED_TRACE(c.format * 100 + c.bits);
        const QString path = tree.path(QStringLiteral("recording.") + Utils::fileExtensionForRecFormat(c.format));
        auto take = makeTake(path, c.format, c.bits);
        ASSERT_TRUE(take);
        int failures = 0;
        take->start([&](TakeWriter::Failure) { ++failures; });
        const uint64_t first = 12345;
        // In real time until a checkpoint has passed: the file as it lies on disk then is a
        // playable take.
        const QString copy = tree.path(QStringLiteral("midtake.") + Utils::fileExtensionForRecFormat(c.format));
        uint64_t pushed = 0;
        int64_t copied = 0;
        for (int i = 0; i < 200 && copied < int64_t(kRate / 2); ++i) {
            pushed += pushSignal(*take, first + pushed, uint64_t(kRate / 10), true);
            QFile::remove(copy);
            ASSERT_TRUE(QFile::copy(path, copy));
            copied = testsupport::decodeFile(copy).frames();
        }
        ASSERT_GE(copied, int64_t(kRate / 2));
        pushed += pushSignal(*take, first + pushed, uint64_t(kRate * 0.5), false);
        ASSERT_TRUE(take->finish());
        EXPECT_EQ(failures, 0);
        EXPECT_EQ(take->framesDelivered(), pushed);
        EXPECT_EQ(take->framesWritten(), pushed);

        const auto whole = testsupport::decodeFile(path);
        ASSERT_EQ(whole.frames(), int64_t(pushed));
        const auto m = testsupport::matchKnownSignal(whole.samples, 2, first + 1);
        EXPECT_TRUE(m.found);
        EXPECT_EQ(m.start, first);
        EXPECT_EQ(m.jumps, 0);
        EXPECT_EQ(m.mismatchAt, -1);

        const auto partial = testsupport::decodeFile(copy);
        const auto pm = testsupport::matchKnownSignal(partial.samples, 2, first + 1);
        EXPECT_EQ(pm.start, first);
        EXPECT_EQ(pm.mismatchAt, -1);
        EXPECT_EQ(pm.jumps, 0);
    }
}

// A writer that falls behind for longer than the ring holds ends the take at the first
// buffer that does not fit: reported once, and what was accepted is all on disk.
TEST(TakeWriter, OverflowEndsTheTakeKeepingWhatWasAccepted)
{
    testsupport::TempTree tree;
    qputenv(TakeWriter::kStallEnvironment, "4000");
    const QString path = tree.path(QStringLiteral("recording.wav"));
    auto take = makeTake(path, 0, 16);
    qunsetenv(TakeWriter::kStallEnvironment);
    ASSERT_TRUE(take);
    std::atomic<int> failures{0};
    TakeWriter::Failure seen = TakeWriter::Failure::None;
    take->start([&](TakeWriter::Failure f) {
        ++failures;
        seen = f;
    });
    // A second of audio in real time lets the writer reach its first checkpoint and stall;
    // then far more than the ring holds arrives at once.
    uint64_t pushed = pushSignal(*take, 0, uint64_t(kRate * 1.2), true);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    pushed += pushSignal(*take, pushed, uint64_t(kRate * (TakeWriter::kRingSeconds + 2)), false);
    EXPECT_LT(pushed, uint64_t(kRate * (TakeWriter::kRingSeconds + 3)));
    EXPECT_EQ(take->failure(), TakeWriter::Failure::Overflow);
    EXPECT_EQ(take->overflows(), 1u);
    float silence[64] = {};
    const float* buffers[] = {silence, silence};
    EXPECT_FALSE(take->push(const_cast<float* const*>(buffers), 64));  // nothing after the overflow
    ASSERT_TRUE(testsupport::waitUntil([&] { return failures.load() > 0; }));
    EXPECT_EQ(seen, TakeWriter::Failure::Overflow);
    EXPECT_TRUE(take->finish());
    EXPECT_EQ(failures.load(), 1);
    EXPECT_EQ(take->framesWritten(), pushed);

    const auto audio = testsupport::decodeFile(path);
    ASSERT_EQ(audio.frames(), int64_t(pushed));
    const auto m = testsupport::matchKnownSignal(audio.samples, 2, 1);
    EXPECT_EQ(m.start, 0u);
    EXPECT_EQ(m.jumps, 0);
    EXPECT_EQ(m.mismatchAt, -1);
}
