#pragma once
#include <array>
#include <span>

// What the level meter shows of one or two channels: the average bar and the peak marker,
// each 0 to 1 of the scale. Rises show at once; falls are linear per redraw, so a meter
// redrawn at a steady rate falls at a steady speed whatever the source does.
class LevelMeterModel {
public:
    // The recorder's decibel-like units: -60 is the foot of the scale, +3 its top.
    static constexpr float kScaleOffset = 60.0f;
    static constexpr float kScaleRange = 63.0f;
    static constexpr float kAverageFall = 0.02f;  // of the full scale per redraw
    static constexpr float kPeakFall = 0.01f;
    static constexpr int kMaxChannels = 2;

    struct Reading {
        float peak = 0.0f;     // the source's peakPowerForChannel:
        float average = 0.0f;  // and averagePowerForChannel:
    };

    static float scale(float level) { return (level + kScaleOffset) / kScaleRange; }

    explicit LevelMeterModel(int channels = kMaxChannels);

    int numberOfChannels() const { return mChannels; }
    // More than two channels show as two.
    void setNumberOfChannels(int channels);

    // One redraw: readings holds one entry per channel, or nothing when there is no source
    // (then both bars fall to 0).
    void step(std::span<const Reading> readings);

    float shownPeak(int channel) const { return mPeak[size_t(channel)]; }
    float shownAverage(int channel) const { return mAverage[size_t(channel)]; }

private:
    int mChannels;
    std::array<float, kMaxChannels> mPeak{};
    std::array<float, kMaxChannels> mAverage{};
};
