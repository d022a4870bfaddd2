#pragma once
#include "platform/HostNodes.h"
#include "platform/lv2/Lv2Plugin.h"
#include "recording/RemoteAU.h"

#include <memory>

// A live unit: an LV2 plugin running in the audio thread, as the engine's source channel
// (slot 0) or as a filter on it (slots 1-3). Plugins that follow the host's transport hear
// the engine's answer: rolling while recording (at the recording position) or while the file
// player plays (at the player's position).
class RemoteAudioUnit : public platform::HostChannel, public platform::HostFilter {
public:
    // The unit at the given rate and buffer; nullptr with an error code of the engine's
    // table (see iaaErrorText) and the reason logged when it cannot be made.
    static std::shared_ptr<RemoteAudioUnit> create(std::shared_ptr<RemoteAU> rau, double sampleRate,
                                                   uint32_t bufferFrames, int* error);

    const std::shared_ptr<RemoteAU>& rau() const { return mRau; }
    platform::lv2::Plugin& plugin() { return *mPlugin; }
    uint32_t latency() const { return mPlugin->latency(); }

    void render(float* const* buffers, uint32_t frames, const platform::AudioTimeStamp& time) override;
    void filter(float* const* buffers, uint32_t frames, const platform::AudioTimeStamp& time) override;

private:
    RemoteAudioUnit(std::shared_ptr<RemoteAU> rau, std::unique_ptr<platform::lv2::Plugin> plugin);

    std::shared_ptr<RemoteAU> mRau;
    std::unique_ptr<platform::lv2::Plugin> mPlugin;
};
