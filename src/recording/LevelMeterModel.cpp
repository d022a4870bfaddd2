#include "recording/LevelMeterModel.h"

#include <algorithm>
#include <cmath>

LevelMeterModel::LevelMeterModel(int channels) { setNumberOfChannels(channels); }

void LevelMeterModel::setNumberOfChannels(int channels) { mChannels = std::clamp(channels, 1, kMaxChannels); }

void LevelMeterModel::step(std::span<const Reading> readings)
{
    for (int c = 0; c < mChannels; ++c) {
        const auto i = size_t(c);
        const bool fed = i < readings.size();
        // A silent source's peak is minus infinity: max() then keeps the shown value.
        const float newPeak = fed && !std::isnan(readings[i].peak) ? scale(readings[i].peak) : mPeak[i];
        const float newAverage = fed && !std::isnan(readings[i].average) ? scale(readings[i].average) : 0.0f;
        mAverage[i] = std::max(std::max(newAverage, mAverage[i]) - kAverageFall, 0.0f);
        mPeak[i] = std::max(std::max(newPeak, mPeak[i]) - kPeakFall, 0.0f);
    }
}
