#include "platform/HostEngine.h"

#include "platform/Log.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/RealtimeLog.h"

#include <jack/jack.h>
#include <jack/metadata.h>
#include <jack/midiport.h>
#include <cerrno>
#include <cstring>
#include <utility>

namespace platform {
namespace {

constexpr size_t kMessageSlots = 4096;
constexpr int kPumpIntervalMs = 10;
constexpr int kRetryIntervalMs = 1000;

// libjack reports through one process-wide function. Its complaints while we look for a
// server are expected, and the audio thread must not reach the log's lock.
std::atomic<int> gQuiet{0};
thread_local bool tOnAudioThread = false;

void jackError(const char* text)
{
    if (gQuiet.load(std::memory_order_relaxed) || tOnAudioThread)
        return;
    log(QStringLiteral("JACK: %1").arg(QString::fromLocal8Bit(text)));
}

void jackInfo(const char*) {}

jack_client_t* client(void* c) { return static_cast<jack_client_t*>(c); }

}  // namespace

struct HostEngine::Ports {
    std::array<jack_port_t*, kHostChannels> in{};
    std::array<jack_port_t*, kHostChannels> out{};
    std::array<jack_port_t*, kHostChannels> receiver{};
    std::array<jack_port_t*, kHostChannels> sender{};
    jack_port_t* midiIn = nullptr;
};

HostEngine::HostEngine(QString clientName, QObject* parent)
    : QObject(parent), mName(std::move(clientName)), mToAudio(kMessageSlots), mFromAudio(kMessageSlots)
{
    for (auto& s : mScratch)
        s.assign(HostGraph::kMaxFrames, 0.0f);
    mAudioGraph = new HostGraph;
    mPump.setInterval(kPumpIntervalMs);
    connect(&mPump, &QTimer::timeout, this, &HostEngine::pump);
    mRetry.setInterval(kRetryIntervalMs);
    connect(&mRetry, &QTimer::timeout, this, &HostEngine::retryServer);
    static const bool handlersSet = [] {
        jack_set_error_function(jackError);
        jack_set_info_function(jackInfo);
        return true;
    }();
    (void)handlersSet;
}

HostEngine::~HostEngine()
{
    setSessionActive(false);
    delete mAudioGraph;
}

double HostEngine::sampleRate() const
{
    const uint32_t rate = mSampleRate.load(std::memory_order_relaxed);
    return rate ? double(rate) : mLastRate;
}

QString HostEngine::clientName() const
{
    return mClient ? QString::fromUtf8(jack_get_client_name(client(mClient))) : QString();
}

bool HostEngine::setSessionActive(bool active)
{
    mSessionWanted = active;
    if (!active) {
        mRetry.stop();
        closeClient();
        return true;
    }
    return mClient || openClient(false);
}

bool HostEngine::openClient(bool quiet)
{
    if (mClient)
        return true;
    jack_status_t status{};
    gQuiet.fetch_add(1);
    const QByteArray server = mServerName.toUtf8();
    jack_client_t* c = server.isEmpty()
                           ? jack_client_open(mName.toUtf8().constData(), JackNoStartServer, &status)
                           : jack_client_open(mName.toUtf8().constData(), jack_options_t(JackNoStartServer | JackServerName),
                                              &status, server.constData());
    gQuiet.fetch_sub(1);
    if (!c) {
        if (!quiet && !std::exchange(mReportedNoServer, true))
            log(QStringLiteral("No JACK server could be reached (status 0x%1); going on without audio")
                    .arg(unsigned(status), 0, 16));
        return false;
    }
    auto ports = std::make_unique<Ports>();
    bool ok = true;
    auto reg = [&](const QString& name, unsigned long flags, const QString& title, const char* group) {
        jack_port_t* p = jack_port_register(c, name.toUtf8().constData(), JACK_DEFAULT_AUDIO_TYPE, flags, 0);
        if (!p) {
            log(QStringLiteral("Could not register JACK port %1").arg(name));
            ok = false;
            return p;
        }
        const jack_uuid_t uuid = jack_port_uuid(p);
        if (!title.isEmpty())
            jack_set_property(c, uuid, JACK_METADATA_PRETTY_NAME, title.toUtf8().constData(), "text/plain");
        if (group)
            jack_set_property(c, uuid, JACK_METADATA_PORT_GROUP, group, "text/plain");
        return p;
    };
    for (int i = 0; i < kHostChannels; ++i) {
        const QString n = QString::number(i + 1);
        ports->in[i] = reg(QStringLiteral("in_") + n, JackPortIsInput, {}, nullptr);
        ports->out[i] = reg(QStringLiteral("out_") + n, JackPortIsOutput, {}, nullptr);
        ports->receiver[i] = reg(QLatin1String(kReceiverName) + QLatin1Char('_') + n, JackPortIsInput,
                                 QLatin1String(kReceiverTitle) + QLatin1Char(' ') + n, kReceiverTitle);
        ports->sender[i] = reg(QLatin1String(kSenderName) + QLatin1Char('_') + n, JackPortIsOutput,
                               QLatin1String(kSenderTitle) + QLatin1Char(' ') + n, kSenderTitle);
    }
    ports->midiIn = jack_port_register(c, kMidiInName, JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    if (!ports->midiIn) {
        log(QStringLiteral("Could not register JACK port %1").arg(QLatin1String(kMidiInName)));
        ok = false;
    }
    if (!ok) {
        jack_client_close(c);
        return false;
    }
    jack_set_process_callback(c, &HostEngine::process, this);
    jack_on_info_shutdown(
        c, [](jack_status_t, const char*, void* self) { static_cast<HostEngine*>(self)->mServerLost = true; },
        this);
    jack_set_port_connect_callback(
        c, [](jack_port_id_t, jack_port_id_t, int, void* self) { static_cast<HostEngine*>(self)->mConnectionsDirty = true; },
        this);
    jack_set_buffer_size_callback(
        c,
        [](jack_nframes_t frames, void* self) {
            auto* engine = static_cast<HostEngine*>(self);
            engine->mBufferSize = frames;
            if (engine->onBufferSizeChanging)
                engine->onBufferSizeChanging(frames);
            return 0;
        },
        this);
    jack_set_sample_rate_callback(
        c,
        [](jack_nframes_t rate, void* self) {
            static_cast<HostEngine*>(self)->mSampleRate = rate;
            return 0;
        },
        this);
    jack_set_xrun_callback(
        c,
        [](void* self) {
            static_cast<HostEngine*>(self)->mXruns.fetch_add(1, std::memory_order_relaxed);
            return 0;
        },
        this);

    int captures = 0;
    if (const char** found = jack_get_ports(c, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsOutput)) {
        while (found[captures])
            ++captures;
        jack_free(found);
    }
    mInputChannels = std::min(captures, kHostChannels);
    mReportedNoServer = false;
    mClient = c;
    mPorts = std::move(ports);
    mServerLost = false;
    mBufferSize = jack_get_buffer_size(c);
    mSampleRate = jack_get_sample_rate(c);
    mPump.start();
    pump();  // reports a rate that differs from the last server's
    return true;
}

void HostEngine::closeClient()
{
    if (!mClient)
        return;
    mPump.stop();
    jack_client_close(client(mClient));
    mClient = nullptr;
    mPorts.reset();
    // The audio thread is gone: whatever it did not take is done here.
    runPendingHere();
    setRunning(false);
    mReceiverConnected = false;
    mSenderConnected = mConnectedToSelf = false;
    mInputChannels = 0;
}

bool HostEngine::start(QString* error)
{
    if (!mClient && !openClient(false)) {
        if (error)
            *error = QStringLiteral("No JACK server could be reached");
        return false;
    }
    if (mRunning)
        return true;
    if (const int rc = jack_activate(client(mClient)); rc != 0) {
        log(QStringLiteral("Could not activate the JACK client (%1)").arg(rc));
        if (error)
            *error = QStringLiteral("Could not activate the JACK client (%1)").arg(rc);
        return false;
    }
    setRunning(true);
    connectHardware();
    updateConnections();
    return true;
}

void HostEngine::stop()
{
    if (!mRunning || !mClient)
        return;
    jack_deactivate(client(mClient));
    runPendingHere();
    setRunning(false);
}

void HostEngine::setRunning(bool running)
{
    if (mRunning == running)
        return;
    mRunning = running;
    if (onRunningChanged)
        onRunningChanged(running);
}

QStringList HostEngine::captureAliases() const
{
    QStringList aliases;
    if (!mClient)
        return aliases;
    jack_client_t* c = client(mClient);
    const char** found = jack_get_ports(c, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsOutput);
    if (!found)
        return aliases;
    if (found[0]) {
        if (jack_port_t* port = jack_port_by_name(c, found[0])) {
            const auto room = static_cast<size_t>(jack_port_name_size());
            std::vector<char> a(room), b(room);
            char* both[2] = {a.data(), b.data()};
            const int count = jack_port_get_aliases(port, both);
            for (int i = 0; i < count && i < 2; ++i)
                aliases << QString::fromUtf8(both[i]);
        }
    }
    jack_free(found);
    return aliases;
}

bool HostEngine::setPreferredBufferSize(uint32_t frames)
{
    if (!mClient || frames == 0 || frames > HostGraph::kMaxFrames)
        return false;
    if (jack_set_buffer_size(client(mClient), frames) != 0)
        return false;
    mBufferSize = jack_get_buffer_size(client(mClient));
    return mBufferSize == frames;
}

void HostEngine::connectHardware()
{
    jack_client_t* c = client(mClient);
    auto connectAll = [&](unsigned long physicalFlags, bool ours_are_inputs, const std::array<jack_port_t*, kHostChannels>& ours) {
        const char** hw = jack_get_ports(c, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | physicalFlags);
        if (!hw)
            return;
        int count = 0;
        while (hw[count])
            ++count;
        for (int i = 0; i < kHostChannels && count > 0; ++i) {
            const char* other = hw[i % count];
            const char* mine = jack_port_name(ours[i]);
            const int rc = ours_are_inputs ? jack_connect(c, other, mine) : jack_connect(c, mine, other);
            if (rc != 0 && rc != EEXIST)
                log(QStringLiteral("Could not connect %1 and %2").arg(QLatin1String(mine), QLatin1String(other)));
        }
        jack_free(hw);
    };
    connectAll(JackPortIsOutput, true, mPorts->in);
    connectAll(JackPortIsInput, false, mPorts->out);
}

QStringList HostEngine::receiverSources() const
{
    QStringList sources;
    if (!mClient)
        return sources;
    jack_client_t* c = client(mClient);
    for (int i = 0; i < kHostChannels; ++i) {
        const char** peers = jack_port_get_all_connections(c, mPorts->receiver[i]);
        if (!peers)
            continue;
        for (int p = 0; peers[p]; ++p) {
            jack_port_t* peer = jack_port_by_name(c, peers[p]);
            const QString name = QString::fromUtf8(peers[p]);
            if (peer && !(jack_port_flags(peer) & JackPortIsPhysical) && !sources.contains(name))
                sources << name;
        }
        jack_free(peers);
    }
    return sources;
}

void HostEngine::updateConnections()
{
    if (!mClient)
        return;
    jack_client_t* c = client(mClient);
    QStringList senderNames = senderPortNames();
    bool receiver = false, sender = false, self = false;
    auto scan = [&](jack_port_t* port, bool& connected, bool* toSelf) {
        const char** peers = jack_port_get_all_connections(c, port);
        if (!peers)
            return;
        for (int i = 0; peers[i]; ++i) {
            jack_port_t* peer = jack_port_by_name(c, peers[i]);
            if (peer && (jack_port_flags(peer) & JackPortIsPhysical))
                continue;
            connected = true;
            if (toSelf && senderNames.contains(QString::fromUtf8(peers[i])))
                *toSelf = true;
        }
        jack_free(peers);
    };
    for (int i = 0; i < kHostChannels; ++i) {
        scan(mPorts->receiver[i], receiver, &self);
        scan(mPorts->sender[i], sender, nullptr);
    }
    const bool changed = receiver != mReceiverConnected || sender != mSenderConnected || self != mConnectedToSelf;
    mReceiverConnected = receiver;
    mSenderConnected = sender;
    mConnectedToSelf = self;
    if (changed && onConnectionsChanged)
        onConnectionsChanged();
}

namespace {
QStringList namesOf(const std::array<jack_port_t*, kHostChannels>& ports)
{
    QStringList names;
    for (jack_port_t* p : ports)
        names << QString::fromUtf8(jack_port_name(p));
    return names;
}
}  // namespace

QStringList HostEngine::receiverPortNames() const { return mPorts ? namesOf(mPorts->receiver) : QStringList(); }

QStringList HostEngine::senderPortNames() const { return mPorts ? namesOf(mPorts->sender) : QStringList(); }

QStringList HostEngine::outputPortNames() const { return mPorts ? namesOf(mPorts->out) : QStringList(); }

QString HostEngine::midiInputPortName() const
{
    return mPorts ? QString::fromUtf8(jack_port_name(mPorts->midiIn)) : QString();
}

void HostEngine::performAsync(std::function<void()> block, std::function<void()> response)
{
    if (!mRunning) {
        if (block)
            block();
        if (response)
            response();
        return;
    }
    if (mInFlight >= kMessageSlots) {
        log(QStringLiteral("Audio thread message queue is full; dropping a message"));
        return;
    }
    auto* message = new Message{std::move(block), std::move(response)};
    mToAudio.push(message);
    ++mInFlight;
}

void HostEngine::runPendingHere()
{
    Message* m = nullptr;
    while (mFromAudio.pop(m)) {
        --mInFlight;
        std::unique_ptr<Message> own(m);
        if (own->response)
            own->response();
    }
    while (mToAudio.pop(m)) {
        --mInFlight;
        std::unique_ptr<Message> own(m);
        if (own->block)
            own->block();
        if (own->response)
            own->response();
    }
    RealtimeLog::drain();
}

void HostEngine::Batch::commit()
{
    if (std::exchange(mDone, true))
        return;
    if (--mEngine.mBatchDepth == 0 && std::exchange(mEngine.mBatchDirty, false))
        mEngine.publishGraph();
}

void HostEngine::publishGraph()
{
    if (mBatchDepth > 0) {
        mBatchDirty = true;
        return;
    }
    auto* fresh = new HostGraph(mGraph);
    if (!mRunning) {
        delete std::exchange(mAudioGraph, fresh);
        return;
    }
    struct Swap {
        HostGraph* fresh;
        HostGraph* old = nullptr;
    };
    auto swap = std::make_shared<Swap>(Swap{fresh});
    performAsync([this, swap] { swap->old = std::exchange(mAudioGraph, swap->fresh); },
                 [swap] { delete swap->old; });
}

void HostEngine::addChannel(std::shared_ptr<HostChannel> channel)
{
    mGraph.addChannel(std::move(channel));
    publishGraph();
}

void HostEngine::removeChannel(const HostChannel* channel)
{
    mGraph.removeChannel(channel);
    publishGraph();
}

void HostEngine::addFilter(std::shared_ptr<HostFilter> filter, const HostChannel* channel)
{
    if (mGraph.addFilter(std::move(filter), channel))
        publishGraph();
}

void HostEngine::removeFilter(const HostFilter* filter, const HostChannel* channel)
{
    mGraph.removeFilter(filter, channel);
    publishGraph();
}

void HostEngine::addOutputReceiver(std::shared_ptr<HostReceiver> receiver, const HostChannel* channel)
{
    if (mGraph.addOutputReceiver(std::move(receiver), channel))
        publishGraph();
}

void HostEngine::removeOutputReceiver(const HostReceiver* receiver, const HostChannel* channel)
{
    mGraph.removeOutputReceiver(receiver, channel);
    publishGraph();
}

void HostEngine::addInputReceiver(std::shared_ptr<HostInputReceiver> receiver)
{
    mGraph.addInputReceiver(std::move(receiver));
    publishGraph();
}

void HostEngine::removeInputReceiver(const HostInputReceiver* receiver)
{
    mGraph.removeInputReceiver(receiver);
    publishGraph();
}

void HostEngine::setSenderChannel(const HostChannel* channel)
{
    mGraph.setSenderChannel(channel);
    publishGraph();
}

void HostEngine::pump()
{
    Message* m = nullptr;
    while (mFromAudio.pop(m)) {
        --mInFlight;
        std::unique_ptr<Message> own(m);
        if (own->response)
            own->response();
    }
    RealtimeLog::drain();
    if (mServerLost.exchange(false)) {
        serverLost();
        return;
    }
    if (mConnectionsDirty.exchange(false))
        updateConnections();
    const uint32_t rate = mSampleRate.load(std::memory_order_relaxed);
    if (rate && rate != mLastRate) {
        mLastRate = rate;
        if (onSampleRateChanged)
            onSampleRateChanged(rate);
        emit sampleRateChanged(rate);
    }
    const uint32_t frames = mBufferSize.load(std::memory_order_relaxed);
    if (frames && frames != mLastBufferSize) {
        const bool first = mLastBufferSize == 0;
        mLastBufferSize = frames;
        if (!first)
            emit bufferSizeChanged(frames);
    }
}

void HostEngine::setServerName(const QString& name)
{
    if (name == mServerName)
        return;
    mServerName = name;
    const QString shown = name.isEmpty() ? QStringLiteral("default") : name;
    if (mClient) {
        log(QStringLiteral("Moving to the JACK server '%1'").arg(shown));
        leaveServer();
        retryServer();
        return;
    }
    // A session that is wanted but found no server goes looking for the new one now, and
    // keeps looking until it appears; a closed session goes there when it next opens.
    if (!mSessionWanted)
        return;
    log(QStringLiteral("Looking for the JACK server '%1'").arg(shown));
    retryServer();
    if (!mClient)
        mRetry.start();
}

void HostEngine::serverLost()
{
    log(QStringLiteral("The JACK server went away"));
    leaveServer();
}

void HostEngine::leaveServer()
{
    const bool wasRouted = mReceiverConnected || mSenderConnected;
    closeClient();
    mRetry.start();
    mInterrupted = true;
    NotificationCenter::defaultCenter().post(notifications::kInterruptionBegan, this);
    // Nothing is routed to a server that is gone: whoever follows the routing hears it now.
    if (wasRouted && onConnectionsChanged)
        onConnectionsChanged();
}

void HostEngine::retryServer()
{
    if (!openClient(true))
        return;
    mRetry.stop();
    // Only a server that went away comes back; one found for the first time ends nothing.
    if (!std::exchange(mInterrupted, false)) {
        log(QStringLiteral("Reached the JACK server '%1'").arg(mServerName.isEmpty() ? QStringLiteral("default") : mServerName));
        return;
    }
    log(QStringLiteral("The JACK server is back"));
    NotificationCenter::defaultCenter().post(notifications::kInterruptionEnded, this);
}

int HostEngine::process(uint32_t frames, void* self) { return static_cast<HostEngine*>(self)->processCycle(frames); }

int HostEngine::processCycle(uint32_t frames)
{
    tOnAudioThread = true;
    Message* m = nullptr;
    while (mToAudio.pop(m)) {
        if (m->block)
            m->block();
        mFromAudio.push(m);
    }
    std::array<float*, kHostChannels> out{}, sender{}, scratch{};
    std::array<const float*, kHostChannels> in{};
    const bool fromReceiver = mReceiverConnected.load(std::memory_order_relaxed);
    for (int c = 0; c < kHostChannels; ++c) {
        out[c] = static_cast<float*>(jack_port_get_buffer(mPorts->out[c], frames));
        sender[c] = static_cast<float*>(jack_port_get_buffer(mPorts->sender[c], frames));
        in[c] = static_cast<const float*>(
            jack_port_get_buffer(fromReceiver ? mPorts->receiver[c] : mPorts->in[c], frames));
        scratch[c] = mScratch[c].data();
    }
    if (frames > HostGraph::kMaxFrames) {
        for (int c = 0; c < kHostChannels; ++c) {
            std::memset(out[c], 0, frames * sizeof(float));
            std::memset(sender[c], 0, frames * sizeof(float));
        }
        return 0;
    }
    AudioTimeStamp time;
    time.sampleTime = double(jack_last_frame_time(client(mClient)));
    void* midi = jack_port_get_buffer(mPorts->midiIn, frames);
    const uint32_t events = jack_midi_get_event_count(midi);
    for (uint32_t i = 0; i < events && time.midiCount < kMaxMidiEvents; ++i) {
        jack_midi_event_t event;
        if (jack_midi_event_get(&event, midi, i) != 0 || event.size == 0 || event.size > 3)
            continue;  // system exclusive messages are not passed on
        HostMidiEvent& e = mMidi[time.midiCount++];
        e.frame = event.time;
        e.size = uint8_t(event.size);
        std::memcpy(e.data, event.buffer, event.size);
    }
    time.midi = mMidi.data();
    mAudioGraph->render({in.data(), out.data(), sender.data(), scratch.data()}, frames, time);
    return 0;
}

}  // namespace platform
