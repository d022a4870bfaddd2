// The engine's four plugin chosen (0 the source, 1-3 effects on it), the installed units and
// the graph rebuild that makes the chosen' choice live.
#include "audiofiles/FilePlayer.h"
#include "platform/Alerts.h"
#include "platform/Log.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/Settings.h"
#include "platform/lv2/Lv2LoadCheck.h"
#include "platform/lv2/Lv2World.h"
#include "recording/AudioEngine.h"
#include "recording/AudioEngineState.h"
#include "recording/IaaErrors.h"
#include "recording/RemoteAudioUnit.h"

#include <array>
#include <mutex>

namespace AudioEngine {
namespace {

constexpr const char* kAutoMonitorKey = "recording.abmonitor";
constexpr uint32_t kDefaultBufferFrames = 512;

struct Units {
    std::array<std::shared_ptr<RemoteAU>, kSlotCount> chosen;
    // The server's notification thread reads the live units too (block-length changes).
    std::mutex liveMutex;
    std::array<std::shared_ptr<RemoteAudioUnit>, kSlotCount> live;
    std::array<QByteArray, kSlotCount> pendingStates;
    std::shared_ptr<RemoteAU> fakePlayer;
    QList<std::shared_ptr<RemoteAU>> sources;
    QList<std::shared_ptr<RemoteAU>> filters;
    bool listed = false;
    std::function<void(int, RemoteAudioUnit&)> interfacePresenter;
};

Units& units()
{
    static Units u;
    return u;
}

bool validSlot(int slot) { return slot >= 0 && slot < kSlotCount; }

double rateNow()
{
    const platform::HostEngine* controller = AudioEngine::audioController();
    return controller ? controller->sampleRate() : platform::HostEngine::kDefaultSampleRate;
}

uint32_t blockNow()
{
    const platform::HostEngine* controller = AudioEngine::audioController();
    return controller && controller->bufferSize() ? controller->bufferSize() : kDefaultBufferFrames;
}

// Whether a live unit can go on as it is at the server's rate and block length.
bool fits(RemoteAudioUnit& unit)
{
    return unit.plugin().sampleRate() == rateNow() && unit.plugin().runsAt(blockNow());
}

void setLive(const std::array<std::shared_ptr<RemoteAudioUnit>, kSlotCount>& live)
{
    Units& u = units();
    std::lock_guard lock(u.liveMutex);
    u.live = live;
    // Units made before a block-length change that the server announced meanwhile.
    for (const auto& unit : u.live)
        if (unit)
            unit->plugin().setBlockLength(blockNow());
}

}  // namespace

namespace detail {
void followSampleRate()
{
    // Plugins run at the rate they were made for: a new server rate makes them anew, with
    // the settings they had. So do plugins that need blocks of one length when it changed.
    Units& u = units();
    bool any = false;
    for (int slot = 0; slot < kSlotCount; ++slot)
        if (u.live[slot] && !fits(*u.live[slot])) {
            u.pendingStates[slot] = u.live[slot]->plugin().saveState();
            any = true;
        }
    if (any)
        updateIaaUnits();
}

void followBufferSize() { followSampleRate(); }

void tellUnitsBlockLength(uint32_t frames)
{
    Units& u = units();
    std::lock_guard lock(u.liveMutex);
    for (const auto& unit : u.live)
        if (unit && !unit->plugin().setBlockLength(frames))
            platform::log(QStringLiteral("%1 needs to be made anew for blocks of %2 frames")
                              .arg(unit->rau()->name())
                              .arg(frames));
}

void teardownUnits()
{
    Units& u = units();
    u.chosen = {};
    setLive({});
    u.pendingStates = {};
}
}  // namespace detail

std::shared_ptr<RemoteAU> fakePlayerRau()
{
    Units& u = units();
    if (!u.fakePlayer) {
        u.fakePlayer = std::make_shared<RemoteAU>(AudioComponentDescription{RemoteAU::kGenerator, 0, 0, 0, 0},
                                                  QString(), QStringLiteral("File Player"));
        u.fakePlayer->setImage(QStringLiteral("iaa_file"));
    }
    return u.fakePlayer;
}

void setRau(std::shared_ptr<RemoteAU> rau, int slot)
{
    if (!validSlot(slot))
        return;
    Units& u = units();
    // One unit is never in two chosen.
    if (rau)
        for (int i = 0; i < kSlotCount; ++i)
            if (u.chosen[i] && u.chosen[i]->isEqual(rau.get()))
                u.chosen[i].reset();
    if (rau)
        rau->markActive();
    u.chosen[slot] = std::move(rau);
    u.pendingStates[slot].clear();
}

void setRauState(int slot, const QByteArray& state)
{
    if (validSlot(slot))
        units().pendingStates[slot] = state;
}

std::shared_ptr<RemoteAU> rauAtSlot(int slot) { return validSlot(slot) ? units().chosen[slot] : nullptr; }

std::shared_ptr<RemoteAudioUnit> iaaAtSlot(int slot) { return validSlot(slot) ? units().live[slot] : nullptr; }

bool iaaRunning()
{
    for (const auto& unit : units().live)
        if (unit)
            return true;
    return false;
}

bool slotHoldsFilePlayer()
{
    const auto& slot0 = units().chosen[0];
    return slot0 && slot0 == units().fakePlayer;
}

std::shared_ptr<RemoteAudioUnit> createIaaUnit(const std::shared_ptr<RemoteAU>& rau, int* error)
{
    platform::log(QStringLiteral("Creating IAA node for %1").arg(rau->name()));
    // A plugin loaded here for the first time is loaded in a child process first: one that
    // crashes or hangs there is left out instead of taking the program down.
    using platform::lv2::LoadCheck::Result;
    if (const auto* info = platform::lv2::World::shared().find(rau->component())) {
        QString reason;
        const Result checked = platform::lv2::LoadCheck::check(*info, rateNow(), blockNow(), &reason);
        if (checked == Result::Crashed || checked == Result::TimedOut) {
            const int code = checked == Result::Crashed ? IaaErrors::kInvalidFormat : IaaErrors::kTimedOut;
            platform::log(QStringLiteral("Could not create IAA node: %1").arg(reason));
            refreshAUList(false);
            if (error)
                *error = code;
            return nullptr;
        }
    }
    int code = 0;
    auto unit = RemoteAudioUnit::create(rau, rateNow(), blockNow(), &code);
    if (!unit) {
        platform::log(QStringLiteral("Could not create IAA node: %1").arg(IaaErrors::iaaErrorText(code)));
        if (error)
            *error = code;
        return nullptr;
    }
    // A hosted plugin hears the transport through the engine's words; media keys reach the
    // engine through the desktop's media-player interface, not through the plugin.
    platform::log(QStringLiteral("Setting remote AU property listeners"));
    return unit;
}

int updateIaaUnits()
{
    detail::State& s = detail::state();
    Units& u = units();
    platform::log(QStringLiteral("Updating TAAE channels (updateIaaUnits)"));
    platform::HostEngine* controller = s.controller.get();
    if (!controller || !s.source)
        return 0;
    const bool keepMute = s.source->isMuted();
    bool mute = keepMute;

    std::array<std::shared_ptr<RemoteAudioUnit>, kSlotCount> fresh;
    int error = 0;
    for (int slot = 0; slot < kSlotCount; ++slot) {
        const auto rau = u.chosen[slot];
        if (!rau || rau == u.fakePlayer)
            continue;
        for (const auto& unit : u.live)
            if (unit && unit->rau()->isEqual(rau.get()) && fits(*unit)) {
                platform::log(QStringLiteral("Found existing unit %1").arg(rau->name()));
                fresh[slot] = unit;
                break;
            }
        if (fresh[slot])
            continue;
        int code = 0;
        fresh[slot] = createIaaUnit(rau, &code);
        if (fresh[slot]) {
            if (!u.pendingStates[slot].isEmpty() && !fresh[slot]->plugin().restoreState(u.pendingStates[slot]))
                platform::log(QStringLiteral("Could not restore the settings of %1").arg(rau->name()));
            if (slot == 0)
                mute = false;
        } else {
            setRau(nullptr, slot);
            error = code;
        }
        u.pendingStates[slot].clear();
    }

    // Every edit below reaches the audio thread as one graph, so no cycle plays half of it.
    const auto player = FilePlayer::sharedPlayer()->channel();
    platform::HostEngine::Batch batch(*controller);
    removeRecorder(s.recorder);
    removeLevelController();
    for (int slot = 1; slot < kSlotCount; ++slot)
        if (u.live[slot])
            controller->removeFilter(u.live[slot].get(), s.source.get());
    if (s.source != player) {
        platform::log(QStringLiteral("Removing source channel: %1").arg(sourceName(s.source.get())));
        controller->removeChannel(s.source.get());
    }

    std::shared_ptr<platform::HostChannel> source;
    if (fresh[0]) {
        source = fresh[0];
        platform::log(QStringLiteral("Using source: %1").arg(fresh[0]->rau()->name()));
    } else if (slotHoldsFilePlayer()) {
        source = player;
        platform::log(QStringLiteral("Using source: internal file player"));
        if (s.source != player)
            mute = false;
    } else {
        source = s.mainInput;
        platform::log(QStringLiteral("Using source: main input"));
        if (s.source != s.mainInput)
            mute = !controller->receiverConnected();
    }
    if (!platform::Settings::value(QLatin1String(kAutoMonitorKey)).toBool())
        mute = keepMute;
    source->setMuted(mute);
    if (source != player) {
        platform::log(QStringLiteral("Adding source channel: %1").arg(sourceName(source.get())));
        controller->addChannel(source);
        FilePlayer::sharedPlayer()->setChannelIsMuted(false);
    }
    for (int slot = 1; slot < kSlotCount; ++slot)
        if (fresh[slot]) {
            platform::log(QStringLiteral("Adding channel filter: %1").arg(fresh[slot]->rau()->name()));
            controller->addFilter(fresh[slot], source.get());
        }
    s.source = source;
    // Units no longer chosen go with the graph that held them, once the audio thread let go.
    setLive(fresh);
    batch.commit();

    controller->performAsync({}, [] {
        addLevelController();
        addRecorder();
        updateAutoMonitoring(false);
    });
    platform::NotificationCenter::defaultCenter().post(notifications::kUpdatedIAAGraph);
    updateIdleInhibit();
    return error;
}

QString sourceName(const platform::HostChannel* channel)
{
    const detail::State& s = detail::state();
    if (channel && channel == s.mainInput.get())
        return QStringLiteral("main input");
    if (channel && channel == FilePlayer::sharedPlayer()->channel().get())
        return QStringLiteral("internal file player");
    for (const auto& unit : units().live)
        if (unit && unit.get() == channel)
            return unit->rau()->name();
    return QStringLiteral("(none)");
}

uint32_t effectLatency()
{
    uint32_t total = 0;
    for (int slot = 1; slot < kSlotCount; ++slot)
        if (const auto& unit = units().live[slot])
            total += unit->latency();
    return total;
}

platform::lv2::Transport transportState()
{
    if (recState())
        return {true, recordingPosition()};
    const FilePlayer* player = FilePlayer::sharedPlayer();
    return {player->isPlaying(), double(player->playFrames())};
}

void setIaaInterfacePresenter(std::function<void(int slot, RemoteAudioUnit& unit)> presenter)
{
    units().interfacePresenter = std::move(presenter);
}

void gotoIaaApp(int slot)
{
    const auto unit = iaaAtSlot(slot);
    if (!unit)
        return;
    if (units().interfacePresenter)
        units().interfacePresenter(slot, *unit);
    else
        platform::log(QStringLiteral("No window to show %1 in").arg(unit->rau()->name()));
}

void reportIaaError(int code)
{
    platform::showAlert(QStringLiteral("Sorry"),
                        QStringLiteral("Could not create IAA node. %1").arg(IaaErrors::iaaErrorText(code)));
}

void refreshAUList(bool rescan)
{
    Units& u = units();
    u.sources.clear();
    u.filters.clear();
    platform::log(QStringLiteral("*** Refreshing IAA list"));
    auto& world = platform::lv2::World::shared();
    if (rescan && u.listed)
        world.refresh();
    u.listed = true;
    for (const auto& plugin : world.plugins()) {
        auto rau = RemoteAU::fromPlugin(plugin);
        (rau->isFilter() ? u.filters : u.sources).append(rau);
    }
    RemoteAU::sortRaus(u.sources, false);
    RemoteAU::sortRaus(u.filters, false);
    selectDownloadableNodes();
}

QList<std::shared_ptr<RemoteAU>> remoteSources() { return units().sources; }
QList<std::shared_ptr<RemoteAU>> remoteFilters() { return units().filters; }

std::shared_ptr<RemoteAU> findRau(const AudioComponentDescription& description)
{
    for (const auto* list : {&units().sources, &units().filters})
        for (const auto& rau : *list)
            if (rau->matchesDesc(description))
                return rau;
    return nullptr;
}

std::shared_ptr<RemoteAU> findRau(const QString& component)
{
    for (const auto* list : {&units().sources, &units().filters})
        for (const auto& rau : *list)
            if (rau->component() == component)
                return rau;
    return nullptr;
}

}  // namespace AudioEngine
