#pragma once
#include <cstdint>

// The linear fade law shared by trimming a file and playing a region: frame p of a region of
// `total` frames is scaled by p ÷ fadeIn inside the fade-in, by (total − p) ÷ fadeOut inside
// the fade-out, by both where they overlap, and silenced past the region's end. The first
// frame is silent; the last keeps 1 ÷ fadeOut of its level.
namespace Utils {

inline float fadeGain(int64_t p, int64_t total, int64_t fadeInFrames, int64_t fadeOutFrames)
{
    float gain = 1.0f;
    if (fadeInFrames > 0 && p < fadeInFrames)
        gain *= float(p) / float(fadeInFrames);
    if (fadeOutFrames > 0) {
        if (p > total)
            return 0.0f;
        if (p > total - fadeOutFrames)
            gain *= float(total - p) / float(fadeOutFrames);
    }
    return gain;
}

}  // namespace Utils
