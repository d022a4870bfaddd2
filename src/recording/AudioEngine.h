#pragma once
#include "platform/lv2/Lv2Plugin.h"
#include "recording/RemoteAU.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <functional>
#include <memory>

namespace platform {
class HostEngine;
class HostChannel;
class HostReceiver;
}  // namespace platform
class RemoteAudioUnit;

// The one process-wide audio engine: the host engine (a JACK client), the main input channel,
// the file player's channel, the recorder and level controller on the source channel, the
// record level and monitoring, and the rules for when audio may stop. All of it runs on the
// main thread except the callbacks the host engine calls on its audio thread.
namespace AudioEngine {

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

// The four plugin slots: 0 the source, 1-3 effects applied in order to the source. Putting
// a unit in a slot takes it out of any other; the caller then calls updateIaaUnits.
inline constexpr int kSlotCount = 4;
void setRau(std::shared_ptr<RemoteAU> rau, int slot);
// A choice for a slot that waits for no plugin check: each unit whose plugin was not checked
// yet is loaded in a child process first, in the background; then the units still chosen go
// into their slots and updateIaaUnits runs (at once when no check is needed). done gets its
// error code on the main thread, or that of a unit whose check crashed or hung (its slot is
// emptied); applied is false when later choices for every slot came first. Nothing happens
// once context is gone. A null unit empties its slot.
struct SlotChoice {
    int slot = 0;
    std::shared_ptr<RemoteAU> rau;
    QByteArray state;  // the settings it starts with, or empty
};
void chooseUnits(const QList<SlotChoice>& choices, QObject* context, std::function<void(int code, bool applied)> done);
// Settings (a plugin's saved state) the unit of a slot starts with when it is next created.
void setRauState(int slot, const QByteArray& state);
std::shared_ptr<RemoteAU> rauAtSlot(int slot);
std::shared_ptr<RemoteAudioUnit> iaaAtSlot(int slot);
bool iaaRunning();
// The entry that makes the file player the source when it is in slot 0.
std::shared_ptr<RemoteAU> fakePlayerRau();
// Makes the slots' choice live; 0, or the error code of the last unit that failed (its slot
// is emptied). Posts notifications::kUpdatedIAAGraph.
int updateIaaUnits();
std::shared_ptr<RemoteAudioUnit> createIaaUnit(const std::shared_ptr<RemoteAU>& rau, int* error);
// "main input", "internal file player" or the unit's name.
QString sourceName(const platform::HostChannel* channel);
// Frames by which the effects in slots 1-3 delay the source, as they report it now.
uint32_t effectLatency();
// What hosted plugins that follow the transport hear; safe on the audio thread.
platform::lv2::Transport transportState();
// Opens the interface of the unit in a slot through the presenter the window installs.
void gotoIaaApp(int slot);
void setIaaInterfacePresenter(std::function<void(int slot, RemoteAudioUnit& unit)> presenter);
// The alert for a unit's error code.
void reportIaaError(int code);

// Installed units (rescan: look for plugins installed or removed since the last scan).
void refreshAUList(bool rescan = false);
// Checks, in the background, the plugins of the units put in slots most recently whose code
// changed or was never checked, so that choosing them again needs no wait.
void checkRecentUnits();
QList<std::shared_ptr<RemoteAU>> remoteSources();
QList<std::shared_ptr<RemoteAU>> remoteFilters();
std::shared_ptr<RemoteAU> findRau(const AudioComponentDescription& description);
std::shared_ptr<RemoteAU> findRau(const QString& component);

// The downloadable node list; done (optional) runs on the main thread when a fetch ended.
QString downloadableListUrl();
void loadDownloadableIaaList();
void maybeFetchDownloadableIaaList(std::function<void()> done = {});
void fetchDownloadableIaaList(std::function<void()> done = {});
void selectDownloadableNodes();
QVariantList downloadableSources();
QVariantList downloadableFilters();
AudioComponentDescription descriptionOfNode(const QVariantMap& entry);
bool containsRAUWithACD(const QList<std::shared_ptr<RemoteAU>>& list, const AudioComponentDescription& description);

}  // namespace AudioEngine
