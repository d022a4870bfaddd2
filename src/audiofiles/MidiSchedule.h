#pragma once
#include "platform/MidiFile.h"

#include <cstdint>
#include <vector>

namespace platform {
class Sampler;
}

// A MIDI file's channel messages placed on the output's frame time line, played into a
// sampler by the render callback with each message at its own frame.
class MidiSchedule {
public:
    MidiSchedule(const platform::MidiFile& file, double outputRate);

    // Main thread, while the audio thread keeps off: play from this frame on. Controller and
    // program messages before it are sent first, so the song sounds as it would there.
    void cue(int64_t frame);
    // Audio thread: renders `frames` frames into the two buffers and advances.
    void render(platform::Sampler& sampler, float* const* buffers, uint32_t frames);
    int64_t position() const { return mPosition; }

private:
    struct Timed {
        int64_t frame;
        platform::MidiEvent event;
    };
    std::vector<Timed> mEvents;
    size_t mNext = 0;
    size_t mChaseUpTo = 0;  // messages before mNext still to be chased
    bool mChasing = false;
    int64_t mPosition = 0;
};
