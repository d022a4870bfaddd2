#pragma once
#include <QString>
#include <cstdint>
#include <vector>

namespace testsupport {

// A whole file read back through the app's reader, as float at its own rate.
struct DecodedAudio {
    std::vector<float> samples;  // interleaved
    int channels = 0;
    double rate = 0;
    uint32_t fileType = 0;
    uint32_t dataFormat = 0;
    int bits = 0;
    int64_t frames() const { return channels ? int64_t(samples.size()) / channels : 0; }
    float at(int64_t frame, int channel = 0) const { return samples[size_t(frame * channels + channel)]; }
};

// Empty (no channels) when the file can't be opened; that also fails the running test.
DecodedAudio decodeFile(const QString& path);

// Frames of a take that is still being written, as a kill now would leave them: a copy at
// `scratch`, repaired as the next start would. 0 while nothing is recoverable yet.
int64_t framesOnDisk(const QString& take, const QString& scratch);
// Looks a few times a second until the take holds `atLeast` frames or `timeoutMs` pass;
// answers the frames seen last. Each look reads the whole take: in a tight loop it would
// starve the audio clients of the very recording it watches.
int64_t waitForFramesOnDisk(const QString& take, const QString& scratch, int64_t atLeast, int timeoutMs);

}  // namespace testsupport
