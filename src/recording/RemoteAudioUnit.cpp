#include "recording/RemoteAudioUnit.h"

#include "platform/HostGraph.h"
#include "platform/Log.h"
#include "recording/AudioEngine.h"
#include "recording/IaaErrors.h"

RemoteAudioUnit::RemoteAudioUnit(std::shared_ptr<RemoteAU> rau, std::unique_ptr<platform::lv2::Plugin> plugin)
    : mRau(std::move(rau)), mPlugin(std::move(plugin))
{
}

std::shared_ptr<RemoteAudioUnit> RemoteAudioUnit::create(std::shared_ptr<RemoteAU> rau, double sampleRate,
                                                         uint32_t bufferFrames, int* error)
{
    using Failure = platform::lv2::Plugin::Failure;
    Failure failure = Failure::None;
    QString reason;
    auto plugin = platform::lv2::Plugin::instantiate(rau->component(), sampleRate, platform::HostGraph::kMaxFrames,
                                                     bufferFrames, true, &failure, &reason);
    if (!plugin) {
        platform::log(reason);
        if (error)
            *error = IaaErrors::codeForFailure(failure);
        return nullptr;
    }
    return std::shared_ptr<RemoteAudioUnit>(new RemoteAudioUnit(std::move(rau), std::move(plugin)));
}

void RemoteAudioUnit::render(float* const* buffers, uint32_t frames, const platform::AudioTimeStamp& time)
{
    mPlugin->process(buffers, frames, time.midi, time.midiCount, AudioEngine::transportState());
}

void RemoteAudioUnit::filter(float* const* buffers, uint32_t frames, const platform::AudioTimeStamp& time)
{
    mPlugin->process(buffers, frames, time.midi, time.midiCount, AudioEngine::transportState());
}
