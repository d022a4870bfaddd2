#pragma once
#include "platform/HostNodes.h"

#include <atomic>
#include <cmath>

namespace testsupport {

// A constant level on both channels, so that where it arrives tells which path it took.
class ConstantChannel : public platform::HostChannel {
public:
    explicit ConstantChannel(float level) : mLevel(level) {}
    void render(float* const* buffers, uint32_t frames, const platform::AudioTimeStamp&) override
    {
        for (int c = 0; c < platform::kHostChannels; ++c)
            for (uint32_t i = 0; i < frames; ++i)
                buffers[c][i] = mLevel;
    }

private:
    float mLevel;
};

// Remembers the largest sample it heard since the last reset, and how many cycles it saw.
class PeakReceiver : public platform::HostReceiver, public platform::HostInputReceiver {
public:
    void receive(const platform::HostChannel*, const platform::AudioTimeStamp&, uint32_t frames,
                 float* const* buffers) override
    {
        note(frames, buffers[0]);
    }
    void receiveInput(const platform::AudioTimeStamp&, uint32_t frames, const float* const* buffers) override
    {
        note(frames, buffers[0]);
    }
    float peak() const { return mPeak.load(); }
    int cycles() const { return mCycles.load(); }
    void reset() { mPeak = 0; }

private:
    void note(uint32_t frames, const float* samples)
    {
        float peak = mPeak.load(std::memory_order_relaxed);
        for (uint32_t i = 0; i < frames; ++i)
            peak = std::max(peak, std::fabs(samples[i]));
        mPeak.store(peak, std::memory_order_relaxed);
        mCycles.fetch_add(1);
    }
    std::atomic<float> mPeak{0};
    std::atomic<int> mCycles{0};
};

}  // namespace testsupport
