#include "audiofiles/waveform/PeakReader.h"

#include "audiofiles/waveform/PeakSource.h"
#include "audiofiles/waveform/Waveform.h"
#include "platform/Log.h"

#include <QElapsedTimer>
#include <algorithm>
#include <cmath>
#include <vector>

namespace PeakReader {
namespace {

constexpr int kChunkFrames = 16384;  // 128 KiB of stereo floats

// Minimum, maximum and mean square over every sample of every channel.
WavePoint chunkPeaks(const float* samples, int count)
{
    float lo = samples[0];
    float hi = samples[0];
    double sumSquares = 0;
    for (int i = 0; i < count; ++i) {
        const float s = samples[i];
        lo = std::min(lo, s);
        hi = std::max(hi, s);
        sumSquares += double(s) * s;
    }
    return {-lo, hi, float(sumSquares / count)};
}

}  // namespace

double readWaveformInto(Waveform& waveform, PeakSource& source, double startTime, double endTime,
                        const std::atomic<bool>& cancel)
{
    QElapsedTimer clock;
    clock.start();
    const double rate = source.sampleRate();
    const auto startFrame = int64_t(rate * startTime);
    const int64_t endFrame = endTime == 0 ? source.lengthFrames() : int64_t(rate * endTime);
    int64_t remaining = endFrame - startFrame;
    if (remaining < 1) {
        waveform.clear();
        return 0;
    }
    const int count = waveform.count();
    const double framesPerPoint = double(remaining) / count;
    waveform.setFramesPerPoint(framesPerPoint);
    source.seek(startFrame);

    const int channels = std::max(1, source.channels());
    std::vector<float> buffer(size_t(kChunkFrames) * channels);
    double accumulator = 0;
    int done = 0;
    bool stopped = false;
    for (; done < count && !cancel.load(std::memory_order_relaxed); ++done) {
        accumulator += framesPerPoint;
        waveform.clearPoint(done);
        while (int64_t(accumulator) > 0) {
            const int wanted = int(std::min<int64_t>(int64_t(accumulator), kChunkFrames));
            const int got = source.read(buffer.data(), wanted);
            if (got <= 0) {
                platform::log(QString::asprintf("end of file, breaking loop at %d chunks", done));
                stopped = true;
                break;
            }
            waveform.raisePoint(done, chunkPeaks(buffer.data(), got * channels));
            remaining -= got;
            accumulator -= got;
            if (remaining < 0) {
                platform::log(QString::asprintf("end of file, breaking loop at %d chunks", done));
                stopped = true;
                break;
            }
        }
        if (stopped)
            break;  // the partly read point is not counted
    }
    waveform.setCount(done);
    platform::log(QString::asprintf("Read waveform in %g seconds", clock.nsecsElapsed() / 1e9));
    return framesPerPoint;
}

}  // namespace PeakReader
