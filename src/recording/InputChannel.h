#pragma once
#include "platform/HostNodes.h"

#include <array>

// The main input as a channel: its input side keeps the cycle's incoming buffers, its render
// side copies them out once and forgets them, so a buffer is never played twice. Its mute
// flag is the monitoring switch.
class InputChannel : public platform::HostChannel, public platform::HostInputReceiver {
public:
    void receiveInput(const platform::AudioTimeStamp& time, uint32_t frames, const float* const* buffers) override;
    void render(float* const* buffers, uint32_t frames, const platform::AudioTimeStamp& time) override;
    const platform::AudioTimeStamp& lastTimeStamp() const { return mTime; }

private:
    std::array<const float*, platform::kHostChannels> mPending{};
    uint32_t mPendingFrames = 0;
    platform::AudioTimeStamp mTime;
};
