#pragma once
#include <QString>
#include <functional>
#include <memory>

namespace platform {
class HostEngine;
class HostChannel;
class HostReceiver;
}  // namespace platform

// The one process-wide audio engine: the host engine (a JACK client), the main input channel,
// the file player's channel, the recorder and level controller on the source channel, the
// record level and monitoring, and the rules for when audio may stop. All of it runs on the
// main thread except the callbacks the host engine calls on its audio thread.
namespace AudioEngine {

inline constexpr const char* kRemoteTogglePlay = "AudioEngineRemoteTogglePlay";
inline constexpr const char* kRemoteToggleRecord = "AudioEngineRemoteToggleRecord";
inline constexpr const char* kRemoteRewind = "AudioEngineRemoteRewind";
inline constexpr const char* kClientName = "Wavelocker";

// Builds everything once; without a JACK server it logs why and the program goes on silent.
void setup();
// Releases the host engine and the channels (end of the program, tests).
void teardown();
bool isSetUp();
bool start();
// Stops all audio unless something needs it; true when it stopped.
bool maybeStop();

platform::HostEngine* audioController();
// The channel whose audio feeds the recorder and the level controller.
platform::HostChannel* sourceChannel();
bool sourceIsFilePlayer();

void setRecorder(std::shared_ptr<platform::HostReceiver> recorder);
std::shared_ptr<platform::HostReceiver> recorder();
void addRecorder();
void removeRecorder(const std::shared_ptr<platform::HostReceiver>& recorder);
void addLevelController();
void removeLevelController();

float recLevel();
void setRecLevel(float level);
void setRecState(bool recording);
bool recState();
void setRecordingPosition(double samples);
double recordingPosition();

void setMonitoring(bool on);
// The desktop stays awake exactly while audio is heard or recorded: playing, recording or
// monitoring on a running engine.
void updateIdleInhibit();
bool isMonitoring();
void updateAutoMonitoring(bool connectionChanged);

// Linux has no per-program microphone permission: the answer is always yes.
void checkMicAccess(const std::function<void(bool granted)>& done);

// Routing state of the inter-app ports (see platform::HostEngine).
bool audiobusConnected();
bool memberOfActiveAudiobusSession();
bool abConnectedToSelf();
void onConnectionChanged();
void onAudiobusSessionChanged();
void updateNowPlaying();
// A remote-control event from a hosted unit: 1 toggle play, 2 toggle record, 3 rewind.
void remoteControlEvent(int event);

// Whether the program is in the background; the application delegate keeps it current.
void setAppInBackground(bool background);
bool appInBackground();

void setAutoPlayNext(bool on);
bool autoPlayNext();

}  // namespace AudioEngine
