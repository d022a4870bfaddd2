#pragma once
#include "platform/AudioFileWriter.h"
#include "platform/SpscRing.h"

#include <QString>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

// Carries a take from the audio thread to the disk. The audio thread copies each buffer into
// a ring allocated up front; a writer thread drains the ring into the file and every second
// makes what it wrote recoverable (header sizes true, or an M4A fragment closed) and durable.
// Frames are counted on both sides: at the end every frame accepted is on disk, in order.
//
// A ring too full for a buffer (the disk fell behind for longer than the ring holds) or a
// failed write ends the take: nothing more is accepted, what was accepted before is written,
// and `onFailure` runs once on the main thread.
class TakeWriter {
public:
    static constexpr double kRingSeconds = 8.0;
    static constexpr int kSyncIntervalMs = 1000;
    // Benchmarks stall the writer this many milliseconds each second, like a slow disk.
    static constexpr const char* kStallEnvironment = "WAVELOCKER_TAKE_WRITER_STALL_MS";

    enum class Failure { None, Overflow, Write, Sync };

    // The file takes interleaved float at `sampleRate` with `channels` channels (its client
    // format must already be set to that).
    TakeWriter(std::unique_ptr<platform::AudioFileWriter> file, int channels, double sampleRate);
    ~TakeWriter();  // an unfinished take is finished
    TakeWriter(const TakeWriter&) = delete;
    TakeWriter& operator=(const TakeWriter&) = delete;

    // Main thread: starts the writer thread.
    void start(std::function<void(Failure)> onFailure);
    // Audio thread: appends one buffer (non-interleaved, `channels` pointers). Never blocks,
    // allocates or locks; false when the take no longer accepts audio.
    bool push(const float* const* buffers, uint32_t frames);
    // Main thread, once the audio thread has stopped pushing: writes everything accepted and
    // completes the file. False when a write or the completion failed.
    bool finish();

    uint64_t framesDelivered() const { return mDelivered.load(std::memory_order_acquire); }
    uint64_t framesWritten() const { return mWritten.load(std::memory_order_acquire); }
    uint64_t overflows() const { return mOverflows.load(std::memory_order_relaxed); }
    Failure failure() const { return mFailure.load(std::memory_order_acquire); }
    // errno of a failed write or sync, 0 otherwise.
    int errorCode() const { return mErrorCode.load(std::memory_order_relaxed); }
    double sampleRate() const { return mSampleRate; }

private:
    void run();
    bool drain(size_t maxFrames);
    void fail(Failure failure, int code);

    std::unique_ptr<platform::AudioFileWriter> mFile;
    const int mChannels;
    const double mSampleRate;
    platform::SpscRing<float> mRing;
    std::vector<float> mChunk;  // writer thread's
    std::function<void(Failure)> mOnFailure;
    std::thread mThread;
    int mStallMs = 0;

    std::atomic<bool> mStopping{false};
    std::atomic<bool> mAccepting{true};
    std::atomic<bool> mFailureReported{false};
    std::atomic<Failure> mFailure{Failure::None};
    std::atomic<int> mErrorCode{0};
    std::atomic<uint64_t> mDelivered{0};
    std::atomic<uint64_t> mWritten{0};
    std::atomic<uint64_t> mOverflows{0};
    bool mFinished = false;
};
