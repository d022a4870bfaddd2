#include "recording/InputChannel.h"

#include <algorithm>
#include <cstring>

void InputChannel::receiveInput(const platform::AudioTimeStamp& time, uint32_t frames, const float* const* buffers)
{
    for (int c = 0; c < platform::kHostChannels; ++c)
        mPending[c] = buffers[c];
    mPendingFrames = frames;
    mTime = time;
}

void InputChannel::render(float* const* buffers, uint32_t frames, const platform::AudioTimeStamp&)
{
    if (!mPending[0])
        return;
    const uint32_t count = std::min(frames, mPendingFrames);
    for (int c = 0; c < platform::kHostChannels; ++c) {
        std::memcpy(buffers[c], mPending[c], count * sizeof(float));
        mPending[c] = nullptr;
    }
}
