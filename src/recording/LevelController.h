#pragma once
#include "platform/HostNodes.h"

#include <atomic>

// Scales the source channel's audio in place by the record level, ahead of the recorder.
class LevelController : public platform::HostReceiver {
public:
    explicit LevelController(const std::atomic<float>& level) : mLevel(level) {}
    void receive(const platform::HostChannel* source, const platform::AudioTimeStamp& time, uint32_t frames,
                 float* const* buffers) override;

private:
    const std::atomic<float>& mLevel;
};
