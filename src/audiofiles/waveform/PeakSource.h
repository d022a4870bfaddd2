#pragma once
#include <cstdint>

// What reading peaks needs of an opened file: its rate, channels and length, a seek, and
// reads of interleaved float frames. Peaks are taken over every channel alike, so a mono
// file reads as if its one channel were heard on both sides.
class PeakSource {
public:
    virtual ~PeakSource() = default;
    virtual double sampleRate() const = 0;
    virtual int channels() const = 0;
    virtual int64_t lengthFrames() const = 0;
    virtual bool seek(int64_t frame) = 0;
    // Reads up to `frames` frames into `interleaved`; 0 at the end.
    virtual int read(float* interleaved, int frames) = 0;
};
