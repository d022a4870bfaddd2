#include "recording/AudioEngine.h"

#include "audiofiles/FilePlayer.h"
#include "platform/IdleTimer.h"
#include "platform/Log.h"
#include "platform/Settings.h"
#include "platform/Notifications.h"
#include "recording/AudioEngineState.h"

#include <utility>

namespace AudioEngine {
namespace detail {

State& state()
{
    static State s;
    return s;
}

std::atomic<float>& recLevelWord()
{
    static std::atomic<float> level{1.0f};
    return level;
}

void connectionsChanged();

}  // namespace detail

namespace {

using detail::state;

// Plain words the audio thread reads (the transport callbacks of hosted units).
std::atomic<bool> gRecording{false};
std::atomic<double> gRecordingPosition{0};
bool gAutoPlayNext = true;

QString yesNo(bool value) { return value ? QStringLiteral("YES") : QStringLiteral("NO"); }

void addFilePlayer()
{
    platform::HostEngine* controller = state().controller.get();
    const auto channel = FilePlayer::sharedPlayer()->channel();
    controller->addChannel(channel);
    controller->setSenderChannel(channel.get());
}

}  // namespace

void setup()
{
    detail::State& s = state();
    if (s.controller)
        return;
    s.controller = std::make_unique<platform::HostEngine>(QLatin1String(kClientName));
    platform::HostEngine* controller = s.controller.get();
    controller->setServerName(platform::Settings::value(QLatin1String(platform::HostEngine::kServerNameSetting)).toString());
    controller->onBufferSizeChanging = [](uint32_t frames) { detail::tellUnitsBlockLength(frames); };
    QObject::connect(controller, &platform::HostEngine::bufferSizeChanged, controller,
                     [] { detail::followBufferSize(); });
    // The server's buffer size is every client's latency: it changes only when the user asks.
    controller->setSessionActive(true);
    controller->onSampleRateChanged = [](double rate) {
        FilePlayer::sharedPlayer()->configureFormats(rate);
        detail::followSampleRate();
    };
    controller->onRunningChanged = [](bool running) {
        platform::log(QStringLiteral("AudioUnit: IsRunningCallback: %1").arg(int(running)));
        updateIdleInhibit();
    };
    FilePlayer::sharedPlayer()->setupWithAudioController(controller);
    s.mediaPlayer = std::make_unique<platform::MediaPlayerService>([](int event) { remoteControlEvent(event); });
    start();

    platform::log(QStringLiteral("Setting up Audiobus"));
    s.mainInput = std::make_shared<InputChannel>();
    s.mainInput->setMuted(true);
    controller->addChannel(s.mainInput);
    controller->addInputReceiver(s.mainInput);
    s.source = s.mainInput;
    s.levelController = std::make_shared<LevelController>(detail::recLevelWord());
    addFilePlayer();
    // The level controller goes on only once the graph above is live on the audio thread.
    controller->performAsync({}, [] { addLevelController(); });
    controller->onConnectionsChanged = [] { detail::connectionsChanged(); };
    fakePlayerRau();
    loadDownloadableIaaList();
    refreshAUList();
    QObject::connect(FilePlayer::sharedPlayer(), &FilePlayer::playingChanged, controller, [] {
        updateIdleInhibit();
        updateNowPlaying();
    });
    // The input heard through the speakers is never left on across a server going away: when
    // it returns, nothing says the routing that justified it is still there. An engine that
    // ran for monitoring runs again at once, hardware connected, its input muted.
    s.interruptionBegan =
        platform::ScopedObserver(notifications::kInterruptionBegan, [](const auto&) {
            state().restartAfterInterruption = isMonitoring();
            setMonitoring(false);
        });
    s.interruptionEnded =
        platform::ScopedObserver(notifications::kInterruptionEnded, [](const auto&) {
            if (std::exchange(state().restartAfterInterruption, false))
                start();
        });
}

void teardown()
{
    detail::State& s = state();
    FilePlayer::sharedPlayer()->stop();
    detail::teardownUnits();
    s.controller.reset();
    s = detail::State{};
    gRecording = false;
    gRecordingPosition = 0;
    platform::IdleTimer::setDisabled(false);
}

bool isSetUp() { return state().controller != nullptr; }

platform::HostEngine* audioController() { return state().controller.get(); }

bool start()
{
    platform::HostEngine* controller = audioController();
    if (!controller)
        return false;
    controller->setSessionActive(true);
    platform::log(QStringLiteral("Audio engine already running: %1").arg(yesNo(controller->isRunning())));
    if (!controller->isRunning()) {
        QString error;
        if (!controller->start(&error))
            platform::log(QStringLiteral("Could not start TAAE: %1").arg(error));
        else
            FilePlayer::sharedPlayer()->startGraph();
    }
    updateNowPlaying();
    return true;
}

bool maybeStop()
{
    platform::log(QStringLiteral("Maybe stopping..."));
    const detail::State& s = state();
    if (audiobusConnected())
        return false;
    if (memberOfActiveAudiobusSession())
        return false;
    if (recState())
        return false;
    if (FilePlayer::sharedPlayer()->isPlaying())
        return false;
    if (iaaRunning())
        return false;
    if (s.source && s.source == s.mainInput && !s.mainInput->isMuted())
        return false;
    if (s.controller)
        s.controller->stop();
    FilePlayer::sharedPlayer()->stopGraph();
    if (s.controller)
        s.controller->setSessionActive(false);
    return true;
}

platform::HostChannel* sourceChannel() { return state().source.get(); }

bool sourceIsFilePlayer()
{
    const auto& source = state().source;
    return source && source == FilePlayer::sharedPlayer()->channel();
}

void setRecorder(std::shared_ptr<platform::HostReceiver> recorder)
{
    detail::State& s = state();
    if (recorder == s.recorder)
        return;
    removeRecorder(s.recorder);
    s.recorder = std::move(recorder);
    addRecorder();
}

std::shared_ptr<platform::HostReceiver> recorder() { return state().recorder; }

void addRecorder()
{
    detail::State& s = state();
    if (!s.controller || !s.recorder || !s.source)
        return;
    // Never twice: a second copy would hear the audio twice over.
    s.controller->removeOutputReceiver(s.recorder.get(), s.source.get());
    s.controller->addOutputReceiver(s.recorder, s.source.get());
}

void removeRecorder(const std::shared_ptr<platform::HostReceiver>& recorder)
{
    detail::State& s = state();
    if (s.controller && recorder && s.source)
        s.controller->removeOutputReceiver(recorder.get(), s.source.get());
}

void addLevelController()
{
    detail::State& s = state();
    if (!s.controller || !s.levelController || !s.source)
        return;
    s.controller->removeOutputReceiver(s.levelController.get(), s.source.get());
    s.controller->addOutputReceiver(s.levelController, s.source.get());
    // The recorder must hear the level applied, so it moves behind the level controller.
    if (s.recorder) {
        s.controller->removeOutputReceiver(s.recorder.get(), s.source.get());
        s.controller->addOutputReceiver(s.recorder, s.source.get());
    }
}

void removeLevelController()
{
    detail::State& s = state();
    if (s.controller && s.levelController && s.source)
        s.controller->removeOutputReceiver(s.levelController.get(), s.source.get());
}

float recLevel() { return detail::recLevelWord().load(std::memory_order_relaxed); }
void setRecLevel(float level) { detail::recLevelWord().store(level, std::memory_order_relaxed); }
void setRecState(bool recording)
{
    gRecording.store(recording, std::memory_order_relaxed);
    updateIdleInhibit();
    updateNowPlaying();
}
bool recState() { return gRecording.load(std::memory_order_relaxed); }
void setRecordingPosition(double samples) { gRecordingPosition.store(samples, std::memory_order_relaxed); }
double recordingPosition() { return gRecordingPosition.load(std::memory_order_relaxed); }

void setMonitoring(bool on)
{
    if (const auto& source = state().source)
        source->setMuted(!on);
    updateIdleInhibit();
}

void updateIdleInhibit()
{
    const bool running = state().controller && state().controller->isRunning();
    platform::IdleTimer::setDisabled(running && (FilePlayer::sharedPlayer()->isPlaying() || recState() || isMonitoring()));
}

bool isMonitoring()
{
    const auto& source = state().source;
    return source && !source->isMuted();
}

void setAutoPlayNext(bool on) { gAutoPlayNext = on; }
bool autoPlayNext() { return gAutoPlayNext; }

}  // namespace AudioEngine
