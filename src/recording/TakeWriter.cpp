#include "recording/TakeWriter.h"

#include "platform/Dispatch.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>

namespace {
// The writer wakes this often; a buffer of the audio thread is 1.5 to 23 ms.
constexpr auto kPollInterval = std::chrono::milliseconds(5);
constexpr size_t kChunkFrames = 8192;
}  // namespace

TakeWriter::TakeWriter(std::unique_ptr<platform::AudioFileWriter> file, int channels, double sampleRate)
    : mFile(std::move(file)),
      mChannels(channels),
      mSampleRate(sampleRate),
      mRing(size_t(sampleRate * kRingSeconds) * size_t(channels)),
      mChunk(kChunkFrames * size_t(channels))
{
    if (const char* stall = std::getenv(kStallEnvironment))
        mStallMs = std::max(0, std::atoi(stall));
}

TakeWriter::~TakeWriter()
{
    if (!mFinished)
        finish();
}

void TakeWriter::start(std::function<void(Failure)> onFailure)
{
    mOnFailure = std::move(onFailure);
    mThread = std::thread([this] { run(); });
}

bool TakeWriter::push(const float* const* buffers, uint32_t frames)
{
    if (!mAccepting.load(std::memory_order_relaxed))
        return false;
    const size_t samples = size_t(frames) * size_t(mChannels);
    if (mRing.writable() < samples) {
        // A partial buffer would leave a hole in the take; the take ends here instead.
        mOverflows.fetch_add(1, std::memory_order_relaxed);
        mAccepting.store(false, std::memory_order_relaxed);
        fail(Failure::Overflow, ENOSPC);
        return false;
    }
    // Interleaved in small runs through a stack buffer: no allocation, two ring writes at most each.
    constexpr uint32_t kRun = 256;
    float run[kRun * 8];
    const int channels = std::min(mChannels, 8);
    for (uint32_t done = 0; done < frames;) {
        const uint32_t n = std::min(kRun, frames - done);
        for (uint32_t i = 0; i < n; ++i)
            for (int c = 0; c < channels; ++c)
                run[i * uint32_t(channels) + uint32_t(c)] = buffers[c][done + i];
        mRing.write(std::span<const float>(run, size_t(n) * size_t(channels)));
        done += n;
    }
    mDelivered.fetch_add(frames, std::memory_order_release);
    return true;
}

void TakeWriter::fail(Failure failure, int code)
{
    Failure expected = Failure::None;
    if (!mFailure.compare_exchange_strong(expected, failure, std::memory_order_acq_rel))
        return;
    mErrorCode.store(code, std::memory_order_relaxed);
}

bool TakeWriter::drain(size_t maxFrames)
{
    while (maxFrames > 0) {
        const size_t frames = std::min({mRing.readable() / size_t(mChannels), kChunkFrames, maxFrames});
        if (frames == 0)
            return true;
        const size_t got = mRing.read(std::span<float>(mChunk.data(), frames * size_t(mChannels)));
        errno = 0;
        if (mFailure.load(std::memory_order_relaxed) == Failure::Write || !mFile->write(mChunk.data(), int64_t(got) / mChannels)) {
            fail(Failure::Write, errno ? errno : EIO);
            return false;
        }
        mWritten.fetch_add(got / size_t(mChannels), std::memory_order_release);
        maxFrames -= frames;
    }
    return true;
}

void TakeWriter::run()
{
    using Clock = std::chrono::steady_clock;
    auto lastSync = Clock::now();
    bool writing = true;
    while (true) {
        const bool stopping = mStopping.load(std::memory_order_acquire);
        if (writing)
            writing = drain(stopping ? SIZE_MAX : size_t(mSampleRate));
        if (stopping)
            break;
        const Failure failure = mFailure.load(std::memory_order_acquire);
        if (failure != Failure::None) {
            mAccepting.store(false, std::memory_order_relaxed);
            if (!mFailureReported.exchange(true) && mOnFailure)
                platform::runOnMain([callback = mOnFailure, failure] { callback(failure); });
        }
        if (writing && Clock::now() - lastSync >= std::chrono::milliseconds(kSyncIntervalMs)) {
            lastSync = Clock::now();
            errno = 0;
            if (!mFile->checkpoint())
                fail(Failure::Sync, errno ? errno : EIO);
            if (mStallMs > 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(mStallMs));
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

bool TakeWriter::finish()
{
    if (mFinished)
        return failure() == Failure::None || failure() == Failure::Overflow;
    mFinished = true;
    mAccepting.store(false, std::memory_order_relaxed);
    mStopping.store(true, std::memory_order_release);
    if (mThread.joinable())
        mThread.join();
    else
        drain(SIZE_MAX);
    errno = 0;
    const bool closed = mFile->close();
    if (!closed)
        fail(Failure::Write, errno ? errno : EIO);
    const Failure f = failure();
    return closed && (f == Failure::None || f == Failure::Overflow) && framesWritten() == framesDelivered();
}
