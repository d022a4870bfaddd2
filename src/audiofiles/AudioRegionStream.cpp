#include "audiofiles/AudioRegionStream.h"

#include "platform/AudioFileReader.h"
#include "platform/HostGraph.h"

#include <chrono>

namespace {

constexpr int64_t kChunkFrames = 4096;
constexpr double kAheadSeconds = 1.0;
constexpr int64_t kPrimeFrames = 4 * kChunkFrames;
constexpr auto kWorkerNap = std::chrono::milliseconds(4);

}  // namespace

AudioRegionStream::AudioRegionStream(platform::AudioFileReader& reader, const Region& region, double outputRate)
    : mReader(reader),
      mRegion(region),
      mFileChannels(std::max(1, reader.channels())),
      mPosition(region.first),
      mRing(size_t(std::max<int64_t>(kPrimeFrames + kChunkFrames, int64_t(outputRate * kAheadSeconds))) * 2),
      mFileChunk(size_t(kChunkFrames * mFileChannels)),
      mStereoChunk(size_t(kChunkFrames * 2)),
      mOut(size_t(platform::HostGraph::kMaxFrames * 2))
{
    if (mRegion.loop && mRegion.end <= mRegion.loopStart)
        mRegion.loop = false;
    if (mPosition > 0 && !mReader.seek(mPosition))
        mSeekFailed = true;
    if (mSeekFailed || mPosition >= mRegion.end) {
        mEnded = !mRegion.loop || mSeekFailed;
        if (mRegion.loop && !mSeekFailed) {
            mPosition = mRegion.loopStart;
            mSeekFailed = !mReader.seek(mPosition);
            mEnded = mSeekFailed;
        }
    }
    if (!mEnded)
        fill(kPrimeFrames);
    if (!mEnded)
        mWorker = std::thread([this] { run(); });
}

AudioRegionStream::~AudioRegionStream()
{
    mStop = true;
    if (mWorker.joinable())
        mWorker.join();
}

// Reads up to maxFrames into the ring; false once the region has nothing more to give.
bool AudioRegionStream::fill(int64_t maxFrames)
{
    int64_t left = maxFrames;
    while (left > 0) {
        if (mPosition >= mRegion.end) {
            if (!mRegion.loop || !mReader.seek(mRegion.loopStart)) {
                mEnded = true;
                return false;
            }
            mPosition = mRegion.loopStart;
        }
        const int64_t want = std::min({kChunkFrames, left, mRegion.end - mPosition});
        const int64_t got = mReader.read(mFileChunk.data(), want);
        if (got <= 0) {
            // The file is shorter than it claimed: its end is the region's end.
            if (mRegion.loop && mPosition > mRegion.loopStart) {
                mRegion.end = mPosition;
                continue;
            }
            mEnded = true;
            return false;
        }
        for (int64_t i = 0; i < got; ++i) {
            const float* frame = &mFileChunk[size_t(i * mFileChannels)];
            mStereoChunk[size_t(2 * i)] = frame[0];
            mStereoChunk[size_t(2 * i + 1)] = mFileChannels > 1 ? frame[1] : frame[0];
        }
        mRing.write(std::span<const float>(mStereoChunk.data(), size_t(got * 2)));
        mPosition += got;
        left -= got;
    }
    return true;
}

void AudioRegionStream::run()
{
    while (!mStop.load(std::memory_order_relaxed)) {
        if (int64_t(mRing.writable() / 2) < kChunkFrames) {
            std::this_thread::sleep_for(kWorkerNap);
            continue;
        }
        if (!fill(kChunkFrames))
            return;
    }
}

uint32_t AudioRegionStream::read(float* const* buffers, uint32_t frames)
{
    frames = std::min<uint32_t>(frames, platform::HostGraph::kMaxFrames);
    const uint32_t ready = uint32_t(std::min<size_t>(frames, mRing.readable() / 2));
    mRing.read(std::span<float>(mOut.data(), size_t(ready) * 2));
    for (uint32_t i = 0; i < ready; ++i) {
        buffers[0][i] = mOut[2 * i];
        buffers[1][i] = mOut[2 * i + 1];
    }
    if (ready < frames && !mEnded.load(std::memory_order_acquire))
        mUnderruns.fetch_add(1, std::memory_order_relaxed);
    return ready;
}

bool AudioRegionStream::drained() const { return mEnded.load(std::memory_order_acquire) && mRing.readable() == 0; }

void AudioRegionStream::waitFor(uint32_t frames) const
{
    while (mRing.readable() / 2 < frames && !mEnded.load(std::memory_order_acquire))
        std::this_thread::sleep_for(std::chrono::microseconds(200));
}
