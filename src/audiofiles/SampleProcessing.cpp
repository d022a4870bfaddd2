#include "audiofiles/SampleProcessing.h"

#include "audiofiles/FadeLaw.h"

#include <cmath>
#include <cstdint>

namespace SampleProcessing {

float peak(const float* samples, size_t count, float peak)
{
    for (size_t i = 0; i < count; ++i) {
        const float a = std::fabs(samples[i]);
        peak = a > peak ? a : peak;
    }
    return peak;
}

void scale(float* samples, size_t count, float factor)
{
    for (size_t i = 0; i < count; ++i)
        samples[i] *= factor;
}

void stereoToMonoInLeft(float* frames, size_t count, int mode)
{
    switch (mode) {
    case 0:
        for (size_t i = 0; i < count; ++i)
            frames[2 * i] = (frames[2 * i] + frames[2 * i + 1]) * 0.5f;
        break;
    case 2:
        for (size_t i = 0; i < count; ++i)
            frames[2 * i] = frames[2 * i + 1];
        break;
    default:
        break;
    }
}

void TrimFades::apply(float* chunk, int frames, int channels, int64_t done) const
{
    // Only frames inside a fade, or past the end, change, by the player's own law.
    const int64_t fadeInEnd = fadeInFrames > 0 ? fadeInFrames : 0;
    const int64_t fadeOutStart = fadeOutFrames > 0 ? total - fadeOutFrames : INT64_MAX;
    for (int i = 0; i < frames; ++i) {
        const int64_t p = done + i;
        if (p >= fadeInEnd && p <= fadeOutStart) {
            // Between the fades: jump to the fade-out, or leave the chunk.
            if (fadeOutStart == INT64_MAX || fadeOutStart - done >= frames)
                return;
            i = int(fadeOutStart - done);
            continue;
        }
        const float gain = Utils::fadeGain(p, total, fadeInFrames, fadeOutFrames);
        for (int c = 0; c < channels; ++c)
            chunk[i * channels + c] *= gain;
    }
}

}  // namespace SampleProcessing
