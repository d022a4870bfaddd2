#pragma once
#include "platform/HostEngine.h"
#include "platform/MediaPlayerService.h"
#include "platform/NotificationCenter.h"
#include "recording/InputChannel.h"
#include "recording/LevelController.h"

#include <atomic>
#include <memory>

// What AudioEngine keeps between calls; shared by its source files only.
namespace AudioEngine::detail {

struct State {
    std::unique_ptr<platform::HostEngine> controller;
    std::shared_ptr<InputChannel> mainInput;
    std::shared_ptr<platform::HostChannel> source;
    std::shared_ptr<platform::HostReceiver> recorder;
    std::shared_ptr<LevelController> levelController;
    std::unique_ptr<platform::MediaPlayerService> mediaPlayer;
    bool audiobusConnected = false;
    bool receiverConnected = false;
    bool restartAfterInterruption = false;
    platform::ScopedObserver interruptionBegan;
    platform::ScopedObserver interruptionEnded;
};

State& state();
std::atomic<float>& recLevelWord();
// Empties the slots and lets go of the live units.
void teardownUnits();
// Makes the live units anew at the server's rate when it changed.
void followSampleRate();
// On the server's notification thread: the live units hear the new block length.
void tellUnitsBlockLength(uint32_t frames);
// Makes anew the live units that cannot run at the server's new block length.
void followBufferSize();

}  // namespace AudioEngine::detail
