// How the engine reacts to routing changes, to hosted units' remote controls and to the
// microphone question.
#include "audiofiles/FilePlayer.h"
#include "platform/Log.h"
#include "platform/NotificationCenter.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "recording/AudioEngineState.h"
#include "platform/Notifications.h"

namespace AudioEngine {
namespace {

constexpr const char* kAutoMonitorKey = "recording.abmonitor";
bool gBackground = false;

}  // namespace

namespace detail {

// Called by the host engine whenever a routing connection of our ports changed.
void connectionsChanged()
{
    State& s = state();
    const bool routed = audiobusConnected();
    const bool receiver = s.controller && s.controller->receiverConnected();
    const bool routedChanged = routed != s.audiobusConnected;
    const bool receiverChanged = receiver != s.receiverConnected;
    s.audiobusConnected = routed;
    s.receiverConnected = receiver;
    if (routedChanged) {
        onConnectionChanged();
        onAudiobusSessionChanged();
    }
    if (receiverChanged)
        updateAutoMonitoring(true);
}

}  // namespace detail

bool audiobusConnected()
{
    const platform::HostEngine* controller = audioController();
    return controller && (controller->receiverConnected() || controller->senderConnected());
}

// A routing session exists exactly while something is connected to our ports.
bool memberOfActiveAudiobusSession() { return audiobusConnected(); }

bool abConnectedToSelf()
{
    const platform::HostEngine* controller = audioController();
    return controller && controller->connectedToSelf();
}

void onConnectionChanged()
{
    const bool connected = audiobusConnected();
    platform::log(QStringLiteral("onConnectionChanged: %1").arg(int(connected)));
    if (connected) {
        start();
    } else if (appInBackground()) {
        FilePlayer* player = FilePlayer::sharedPlayer();
        player->stop();
        platform::NotificationCenter::defaultCenter().post(notifications::kFilePlayerDidFinish, player);
        maybeStop();
    }
    updateAutoMonitoring(true);
    updateNowPlaying();
    platform::NotificationCenter::defaultCenter().post(notifications::kConnectionsChanged);
}

void onAudiobusSessionChanged()
{
    platform::log(QStringLiteral("memberOfActiveAudiobusSession changed: %1").arg(int(memberOfActiveAudiobusSession())));
    if (appInBackground())
        maybeStop();
}

// What the desktop's media controls show: playing while the player plays or a take records.
void updateNowPlaying()
{
    platform::MediaPlayerService* media = detail::state().mediaPlayer.get();
    if (!media)
        return;
    if (FilePlayer::sharedPlayer()->isPlaying() || recState())
        media->setPlaybackStatus(QStringLiteral("Playing"));
    else
        media->setPlaybackStatus(FilePlayer::sharedPlayer()->type() != FilePlayer::kNone ? QStringLiteral("Paused")
                                                                                        : QStringLiteral("Stopped"));
}

void updateAutoMonitoring(bool connectionChanged)
{
    if (!platform::Settings::value(QLatin1String(kAutoMonitorKey)).toBool())
        return;
    platform::log(QStringLiteral("auto-monitor..."));
    const platform::HostEngine* controller = audioController();
    const bool connected = controller && controller->receiverConnected();
    if (!iaaAtSlot(0) && connectionChanged) {
        setMonitoring(connected);
        return;
    }
    if (iaaRunning() || rauAtSlot(0) == fakePlayerRau() || connected)
        return;
    setMonitoring(false);
}

void remoteControlEvent(int event)
{
    auto& center = platform::NotificationCenter::defaultCenter();
    switch (event) {
    case 1:
        center.post(notifications::kRemoteTogglePlay);
        break;
    case 2:
        center.post(notifications::kRemoteToggleRecord);
        break;
    case 3:
        center.post(notifications::kRemoteRewind);
        break;
    default:
        platform::log(QStringLiteral("REMOTE: unknown event: %1").arg(event));
    }
}

void checkMicAccess(const std::function<void(bool granted)>& done)
{
    const bool granted = true;
    if (done)
        done(granted);
    platform::log(QStringLiteral("Mic access granted: %1").arg(int(granted)));
}

void setAppInBackground(bool background) { gBackground = background; }
bool appInBackground() { return gBackground; }

}  // namespace AudioEngine
