#include "audiofiles/SampleProcessing.h"

#include <cmath>

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
    if (fadeInFrames > 0 && done < fadeInFrames) {
        for (int i = 0; i < frames; ++i) {
            const int64_t p = done + i;
            if (p >= fadeInFrames)
                break;
            const float gain = float(p) / float(fadeInFrames);
            for (int c = 0; c < channels; ++c)
                chunk[i * channels + c] *= gain;
        }
    }
    if (fadeOutFrames > 0 && (total - fadeOutFrames) - frames <= done) {
        for (int i = 0; i < frames; ++i) {
            const int64_t p = done + i;
            float gain;
            if (p > total)
                gain = 0.0f;
            else if (p > total - fadeOutFrames)
                gain = float(total - p) / float(fadeOutFrames);
            else
                continue;
            for (int c = 0; c < channels; ++c)
                chunk[i * channels + c] *= gain;
        }
    }
}

}  // namespace SampleProcessing
