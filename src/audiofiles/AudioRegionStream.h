#pragma once
#include "platform/SpscRing.h"

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace platform {
class AudioFileReader;
}

// Streams a region of an audio file to the audio thread: a worker reads ahead into a
// lock-free ring (stereo, at the reader's client rate) and the render callback takes frames
// out without waiting. With looping, the loop region [loopStart, end) follows the first
// region [first, end) without limit.
class AudioRegionStream {
public:
    struct Region {
        int64_t first = 0;
        int64_t end = 0;
        int64_t loopStart = 0;
        bool loop = false;
    };

    // The reader must already deliver float32 at the output rate; it stays the caller's and
    // must outlive the stream. The seek and the first frames happen on the stream's worker;
    // a region that can't be reached is logged there and plays as silence.
    AudioRegionStream(platform::AudioFileReader& reader, const Region& region, double outputRate);
    ~AudioRegionStream();  // stops and joins the worker
    AudioRegionStream(const AudioRegionStream&) = delete;
    AudioRegionStream& operator=(const AudioRegionStream&) = delete;

    const Region& region() const { return mRegion; }

    // Audio thread: up to `frames` frames into two channel buffers; answers how many came.
    uint32_t read(float* const* buffers, uint32_t frames);
    // True once every frame of the region has been handed out (never while looping).
    bool drained() const;
    uint64_t underruns() const { return mUnderruns.load(std::memory_order_relaxed); }

    // Offline pulling: waits until `frames` frames are ready or the region has ended.
    void waitFor(uint32_t frames) const;

private:
    bool start();
    bool fill(int64_t maxFrames);
    void run();

    platform::AudioFileReader& mReader;
    Region mRegion;
    int mFileChannels;
    int64_t mPosition;  // next frame the worker reads
    platform::SpscRing<float> mRing;
    std::vector<float> mFileChunk;
    std::vector<float> mStereoChunk;
    std::vector<float> mOut;  // the audio thread's interleaved scratch
    std::atomic<bool> mStop{false};
    std::atomic<bool> mEnded{false};
    std::atomic<bool> mPrimed{false};
    std::atomic<uint64_t> mUnderruns{0};
    std::thread mWorker;
};
