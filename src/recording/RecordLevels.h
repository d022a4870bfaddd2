#pragma once
#include <atomic>
#include <cstdint>

// The recorder's meter values for up to two channels, in its decibel-like units (19 x log10
// of the linear level). Written by the audio thread once a buffer, read by the level meter
// on the main thread at display rate, both without locks.
class RecordLevels {
public:
    static constexpr int kChannels = 2;
    static constexpr float kSilence = -160.0f;  // floor of the smoothed average
    static constexpr float kCeiling = 10.0f;
    static constexpr int kPeakHoldBuffers = 100;

    // Audio thread: measures one buffer; channel 1 only when there are two or more buffers.
    void measure(const float* const* buffers, int bufferCount, uint32_t frames);

    // Main thread (any thread): the smoothed average and the held peak. The peak of silence
    // is minus infinity and stays so until something louder arrives.
    float averagePowerForChannel(int channel) const;
    float peakPowerForChannel(int channel) const;
    // Back to the state of a new recorder.
    void reset();

private:
    struct Channel {
        std::atomic<float> average{kSilence};
        std::atomic<float> peak{kSilence};
        int holdCounter = 0;  // audio thread only
    };
    void measureChannel(Channel& channel, const float* samples, uint32_t frames);

    Channel mChannels[kChannels];
};
