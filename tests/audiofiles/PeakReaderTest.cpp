#include "audiofiles/waveform/PeakReader.h"
#include "audiofiles/waveform/PeakSource.h"
#include "audiofiles/waveform/Waveform.h"
#include "support/TempTree.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <vector>

using namespace testsupport;

namespace {

// Stereo float frames in memory; remembers where it was sent and how much each read asked.
class MemorySource : public PeakSource {
public:
    MemorySource(double rate, std::vector<float> stereo, int64_t claimedLength = -1)
        : mRate(rate), mFrames(std::move(stereo)),
          mLength(claimedLength >= 0 ? claimedLength : int64_t(mFrames.size() / 2)) {}
    double sampleRate() const override { return mRate; }
    int channels() const override { return 2; }
    int64_t lengthFrames() const override { return mLength; }
    bool seek(int64_t frame) override
    {
        seeks.push_back(frame);
        mPos = frame;
        return true;
    }
    int read(float* stereo, int frames) override
    {
        reads.push_back(frames);
        const int64_t available = int64_t(mFrames.size() / 2) - mPos;
        const int n = int(std::max<int64_t>(0, std::min<int64_t>(frames, available)));
        std::copy_n(mFrames.begin() + mPos * 2, n * 2, stereo);
        mPos += n;
        return n;
    }
    std::vector<int64_t> seeks;
    std::vector<int> reads;

private:
    double mRate;
    std::vector<float> mFrames;
    int64_t mLength;
    int64_t mPos = 0;
};

// `segments` blocks of `frames` frames; block k has left = 0.1 (k+1) and right = -0.05 (k+1).
std::vector<float> steps(int segments, int frames)
{
    std::vector<float> out;
    for (int k = 0; k < segments; ++k)
        for (int i = 0; i < frames; ++i) {
            out.push_back(0.1f * (k + 1));
            out.push_back(-0.05f * (k + 1));
        }
    return out;
}

}  // namespace

TEST(PeakReader, PointsHoldPeaksAndMeanSquareOfTheirFrames)
{
    MemorySource source(100, steps(10, 100));
    Waveform waveform(10);
    std::atomic<bool> cancel{false};
    LogCapture log;
    EXPECT_DOUBLE_EQ(PeakReader::readWaveformInto(waveform, source, 0, 0, cancel), 100.0);
    EXPECT_DOUBLE_EQ(waveform.framesPerPoint(), 100.0);
    ASSERT_EQ(waveform.count(), 10);
    for (int k = 0; k < 10; ++k) {
        const WavePoint p = waveform.point(k);
        const float left = 0.1f * (k + 1), right = 0.05f * (k + 1);
        EXPECT_FLOAT_EQ(p.negative, right) << k;
        EXPECT_FLOAT_EQ(p.positive, left) << k;
        EXPECT_NEAR(p.meanSquare, (left * left + right * right) / 2, 1e-6) << k;
    }
    EXPECT_EQ(source.seeks, std::vector<int64_t>{0});
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines()[0].startsWith("Read waveform in "));

    // A range: from 2 s to 4 s at 100 Hz is frames 200..400, the third and fourth blocks.
    Waveform range(4);
    EXPECT_DOUBLE_EQ(PeakReader::readWaveformInto(range, source, 2.0, 4.0, cancel), 50.0);
    EXPECT_EQ(source.seeks.back(), 200);
    EXPECT_FLOAT_EQ(range.point(0).positive, 0.3f);
    EXPECT_FLOAT_EQ(range.point(1).positive, 0.3f);
    EXPECT_FLOAT_EQ(range.point(2).positive, 0.4f);
    EXPECT_FLOAT_EQ(range.point(3).negative, 0.2f);
}

TEST(PeakReader, CarrySpreadsFramesEvenlyAndLongPointsReadInChunks)
{
    std::atomic<bool> cancel{false};
    {
        // 2.5 frames a point: the carry alternates reads of 2 and 3 frames.
        MemorySource source(44100, steps(1, 10));
        Waveform waveform(4);
        PeakReader::readWaveformInto(waveform, source, 0, 0, cancel);
        EXPECT_EQ(source.reads, (std::vector<int>{2, 3, 2, 3}));
    }
    {
        // Fewer frames than points: every second point gets one frame, the others stay zero.
        std::vector<float> five = {0.1f, 0, 0.2f, 0, 0.3f, 0, 0.4f, 0, 0.5f, 0};
        MemorySource source(44100, five);
        Waveform waveform(10);
        waveform.raisePoint(0, {9, 9, 9});  // stale values are cleared point by point
        PeakReader::readWaveformInto(waveform, source, 0, 0, cancel);
        EXPECT_EQ(source.reads, (std::vector<int>{1, 1, 1, 1, 1}));
        EXPECT_EQ(waveform.count(), 10);
        for (int i = 0; i < 10; ++i)
            EXPECT_FLOAT_EQ(waveform.point(i).positive, i % 2 ? 0.1f * (i / 2 + 1) : 0.0f) << i;
    }
    {
        // 40000 frames into one point: reads of at most 16384 frames, peaks over all of them.
        auto frames = steps(4, 10000);
        MemorySource source(44100, frames);
        Waveform waveform(1);
        PeakReader::readWaveformInto(waveform, source, 0, 0, cancel);
        EXPECT_EQ(source.reads, (std::vector<int>{16384, 16384, 7232}));
        EXPECT_FLOAT_EQ(waveform.point(0).positive, 0.4f);
        EXPECT_FLOAT_EQ(waveform.point(0).negative, 0.2f);
        EXPECT_NEAR(waveform.point(0).meanSquare, (0.16f + 0.04f) / 2, 1e-6);
    }
}

TEST(PeakReader, StopsAtEndOfFileOnCancelAndOnEmptyRanges)
{
    std::atomic<bool> cancel{false};
    LogCapture log;
    // The file claims 1000 frames but holds 500: the sixth point finds nothing.
    MemorySource shortSource(100, steps(5, 100), 1000);
    Waveform waveform(10);
    PeakReader::readWaveformInto(waveform, shortSource, 0, 0, cancel);
    EXPECT_EQ(waveform.count(), 5);
    EXPECT_TRUE(log.contains("end of file, breaking loop at 5 chunks"));

    cancel = true;
    MemorySource source(100, steps(10, 100));
    Waveform cancelled(10);
    PeakReader::readWaveformInto(cancelled, source, 0, 0, cancel);
    EXPECT_EQ(cancelled.count(), 0);
    EXPECT_TRUE(source.reads.empty());

    cancel = false;
    Waveform empty(4);
    empty.raisePoint(2, {1, 1, 1});
    EXPECT_EQ(PeakReader::readWaveformInto(empty, source, 3.0, 3.0, cancel), 0.0);
    EXPECT_FLOAT_EQ(empty.point(2).positive, 0.0f);
}
