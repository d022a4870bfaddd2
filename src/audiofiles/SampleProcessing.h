#pragma once
#include <cstddef>
#include <cstdint>

// The arithmetic of the offline operations over interleaved float chunks.
namespace SampleProcessing {

// The largest absolute sample value, or `peak` when that is larger.
float peak(const float* samples, size_t count, float peak);
void scale(float* samples, size_t count, float factor);

// Rewrites the left channel of stereo frames for a writer that keeps the first channel:
// mode 0 the average of both, 1 the left unchanged, 2 the right.
void stereoToMonoInLeft(float* frames, size_t count, int mode);

// Linear fades of a trimmed region of `total` frames.
struct TrimFades {
    int64_t total = 0;
    int64_t fadeInFrames = 0;
    int64_t fadeOutFrames = 0;
    // Applies both fades to a chunk of `frames` frames whose first frame is frame `done` of
    // the region. The region's first frame is silent; its last keeps 1/fadeOutFrames.
    void apply(float* chunk, int frames, int channels, int64_t done) const;
};

}  // namespace SampleProcessing
