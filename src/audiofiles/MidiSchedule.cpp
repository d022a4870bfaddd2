#include "audiofiles/MidiSchedule.h"

#include "platform/Sampler.h"

#include <algorithm>
#include <cmath>

MidiSchedule::MidiSchedule(const platform::MidiFile& file, double outputRate)
{
    mEvents.reserve(file.events().size());
    for (const platform::MidiEvent& e : file.events())
        mEvents.push_back({int64_t(std::llround(e.seconds * outputRate)), e});
}

void MidiSchedule::cue(int64_t frame)
{
    mPosition = frame;
    mNext = size_t(std::lower_bound(mEvents.begin(), mEvents.end(), frame,
                                    [](const Timed& t, int64_t f) { return t.frame < f; }) -
                   mEvents.begin());
    mChaseUpTo = mNext;
    mChasing = mNext > 0;
}

void MidiSchedule::render(platform::Sampler& sampler, float* const* buffers, uint32_t frames)
{
    if (mChasing) {
        for (size_t i = 0; i < mChaseUpTo; ++i)
            if (!mEvents[i].event.isNote())
                sampler.send(mEvents[i].event.bytes, mEvents[i].event.size);
        mChasing = false;
    }
    uint32_t done = 0;
    while (done < frames) {
        uint32_t until = frames;
        while (mNext < mEvents.size() && mEvents[mNext].frame < mPosition + int64_t(frames)) {
            const int64_t at = std::max<int64_t>(mEvents[mNext].frame - mPosition, done);
            if (at > done) {
                until = uint32_t(at);
                break;
            }
            sampler.send(mEvents[mNext].event.bytes, mEvents[mNext].event.size);
            ++mNext;
        }
        sampler.render(buffers[0] + done, buffers[1] + done, until - done);
        done = until;
    }
    mPosition += frames;
}
