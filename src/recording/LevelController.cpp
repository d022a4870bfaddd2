#include "recording/LevelController.h"

void LevelController::receive(const platform::HostChannel*, const platform::AudioTimeStamp&, uint32_t frames,
                              float* const* buffers)
{
    const float level = mLevel.load(std::memory_order_relaxed);
    for (int c = 0; c < platform::kHostChannels; ++c) {
        float* samples = buffers[c];
        for (uint32_t i = 0; i < frames; ++i)
            samples[i] *= level;
    }
}
