#include "audiofiles/AudioRegionStream.h"

#include "platform/AudioFileReader.h"
#include "platform/HostGraph.h"
#include "platform/Log.h"

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
    // The seek may decode far into a long compressed file: the worker does it, and the audio
    // thread hears silence (and the clock waits) until the first frames are in.
    mWorker = std::thread([this] {
        if (start())
            run();
    });
}

bool AudioRegionStream::start()
{
    const bool loopOnly = mRegion.loop && mPosition >= mRegion.end;
    bool seekFailed = mPosition > 0 && !mReader.seek(mPosition);
    if (!seekFailed && mPosition >= mRegion.end) {
        if (mRegion.loop) {
            mPosition = mRegion.loopStart;
            seekFailed = !mReader.seek(mPosition);
        } else {
            mEnded = true;
        }
    }
    if (seekFailed) {
        platform::log(loopOnly ? QStringLiteral("Could not schedule loop region")
                               : QStringLiteral("Could not schedule play region"));
        mEnded = true;
    }
    const bool more = !mEnded && fill(kPrimeFrames);
    mPrimed.store(true, std::memory_order_release);
    return more;
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
    // Waiting for the first frames is not the disk falling behind.
    if (ready < frames && mPrimed.load(std::memory_order_acquire) && !mEnded.load(std::memory_order_acquire))
        mUnderruns.fetch_add(1, std::memory_order_relaxed);
    return ready;
}

bool AudioRegionStream::drained() const { return mEnded.load(std::memory_order_acquire) && mRing.readable() == 0; }

void AudioRegionStream::waitFor(uint32_t frames) const
{
    while (mRing.readable() / 2 < frames && !mEnded.load(std::memory_order_acquire))
        std::this_thread::sleep_for(std::chrono::microseconds(200));
}
