#include "recording/RecordLevels.h"

#include <algorithm>
#include <cmath>

namespace {
// 19, not 20: the meter's scale was drawn for it.
constexpr float kLevelFactor = 19.0f;
constexpr float kPreviousWeight = 0.6f;
constexpr float kNewWeight = 0.4f;
}  // namespace

void RecordLevels::measure(const float* const* buffers, int bufferCount, uint32_t frames)
{
    if (frames == 0 || bufferCount < 1)
        return;
    measureChannel(mChannels[0], buffers[0], frames);
    if (bufferCount >= 2)
        measureChannel(mChannels[1], buffers[1], frames);
}

void RecordLevels::measureChannel(Channel& channel, const float* samples, uint32_t frames)
{
    float sum = 0;
    float maximum = 0;
    for (uint32_t i = 0; i < frames; ++i) {
        const float a = std::fabs(samples[i]);
        sum += a;
        maximum = std::max(maximum, a);
    }
    const float average = kLevelFactor * std::log10(sum / float(frames));
    float smoothed = kPreviousWeight * channel.average.load(std::memory_order_relaxed) + kNewWeight * average;
    // NaN cannot arise: the previous value is always finite, so -inf stays -inf and clamps.
    smoothed = std::clamp(smoothed, kSilence, kCeiling);
    channel.average.store(smoothed, std::memory_order_relaxed);

    const float peak = kLevelFactor * std::log10(maximum);
    if (peak > channel.peak.load(std::memory_order_relaxed)) {
        channel.peak.store(peak, std::memory_order_relaxed);
        channel.holdCounter = kPeakHoldBuffers;
    } else if (channel.holdCounter > 0) {
        --channel.holdCounter;
    } else {
        channel.peak.store(peak, std::memory_order_relaxed);
    }
}

float RecordLevels::averagePowerForChannel(int channel) const
{
    if (channel < 0 || channel >= kChannels)
        return kSilence;
    return mChannels[channel].average.load(std::memory_order_relaxed);
}

float RecordLevels::peakPowerForChannel(int channel) const
{
    if (channel < 0 || channel >= kChannels)
        return kSilence;
    return mChannels[channel].peak.load(std::memory_order_relaxed);
}

void RecordLevels::reset()
{
    for (Channel& c : mChannels) {
        c.average.store(kSilence, std::memory_order_relaxed);
        c.peak.store(kSilence, std::memory_order_relaxed);
        c.holdCounter = 0;
    }
}
