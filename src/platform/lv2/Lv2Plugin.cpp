#include "platform/lv2/Lv2Plugin.h"

#include "platform/Locations.h"
#include "platform/SpscRing.h"
#include "platform/Log.h"
#include "platform/lv2/Lv2Worker.h"
#include "platform/lv2/Lv2World.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <lilv/lilv.h>
#include <thread>
#include <lv2/atom/atom.h>
#include <lv2/atom/forge.h>
#include <lv2/atom/util.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/event/event.h>
#include <lv2/log/log.h>
#include <lv2/midi/midi.h>
#include <lv2/options/options.h>
#include <lv2/parameters/parameters.h>
#include <lv2/state/state.h>
#include <lv2/time/time.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

namespace platform::lv2 {
namespace {

constexpr uint32_t kAtomCapacity = 16384;  // bytes of one event buffer
constexpr size_t kEventQueueBytes = 65536;  // atoms between an interface and the audio thread
constexpr uint32_t kMaxEventBody = 4096;
constexpr const char* kStateUri = "urn:wavelocker:state";

// Set while a plugin runs on this thread: its log lines are dropped there, since the audio
// thread must not wait for the log.
thread_local bool tProcessing = false;

const char* const kSupportedFeatures[] = {
    LV2_URID__map,        LV2_URID__unmap,          LV2_OPTIONS__options,
    LV2_WORKER__schedule, LV2_LOG__log,             LV2_STATE__makePath,
    LV2_STATE__loadDefaultState, LV2_BUF_SIZE__boundedBlockLength, LV2_BUF_SIZE__fixedBlockLength,
    LV2_BUF_SIZE__powerOf2BlockLength, LV2_CORE__isLive, LV2_CORE__hardRTCapable,
};

enum class Kind { AudioIn, AudioOut, ControlIn, ControlOut, AtomIn, AtomOut, CvIn, CvOut };

struct Port {
    Kind kind;
    uint32_t index;
    int ordinal;  // among the ports of its kind
    bool midi = false;
    bool time = false;
    QString symbol;
};

// 64-bit aligned storage for one atom buffer.
struct AtomBuffer {
    std::vector<uint64_t> words = std::vector<uint64_t>(kAtomCapacity / 8);
    LV2_Atom* atom() { return reinterpret_cast<LV2_Atom*>(words.data()); }
};

bool isPowerOf2(uint32_t n) { return n && !(n & (n - 1)); }

// Atoms tagged with a port number, between one producer and one consumer thread; each is
// written whole, so the reader never sees half of one.
class EventQueue {
public:
    static constexpr uint32_t kHeader = 12;  // port, type, size

    EventQueue() : mRing(kEventQueueBytes) {}
    bool push(uint32_t port, uint32_t type, const void* body, uint32_t size)
    {
        if (size > kMaxEventBody || mRing.writable() < kHeader + size)
            return false;
        uint8_t record[kHeader + kMaxEventBody];
        const uint32_t header[3] = {port, type, size};
        std::memcpy(record, header, kHeader);
        std::memcpy(record + kHeader, body, size);
        return mRing.write(std::span<const uint8_t>(record, kHeader + size)) == kHeader + size;
    }
    // Into out (kHeader + kMaxEventBody bytes); answers the bytes taken, 0 when empty.
    uint32_t pop(uint8_t* out)
    {
        if (mRing.readable() < kHeader)
            return 0;
        mRing.read(std::span<uint8_t>(out, kHeader));
        uint32_t size = 0;
        std::memcpy(&size, out + 8, 4);
        mRing.read(std::span<uint8_t>(out + kHeader, size));
        return kHeader + size;
    }

private:
    SpscRing<uint8_t> mRing;
};

int logPrintf(LV2_Log_Handle, LV2_URID, const char* format, va_list args)
{
    if (tProcessing)
        return 0;
    char line[1024];
    const int n = vsnprintf(line, sizeof line, format, args);
    log(QStringLiteral("LV2: %1").arg(QString::fromUtf8(line).trimmed()));
    return n;
}

int logPrintfVariadic(LV2_Log_Handle handle, LV2_URID type, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const int n = logPrintf(handle, type, format, args);
    va_end(args);
    return n;
}

}  // namespace

struct Plugin::Impl {
    World& world = World::shared();
    const LilvPlugin* plugin = nullptr;
    std::vector<Port> ports;
    int latencyPort = -1;

    // Control ports: what the audio thread hands the plugin, what the main thread asked for,
    // and the main thread's own copy (for saving state).
    std::vector<float> controls;
    std::unique_ptr<std::atomic<float>[]> requested;
    std::vector<float> mainValues;
    std::unique_ptr<std::atomic<float>[]> published;  // outputs, after each cycle

    // Atoms from an interface to the plugin and back; the staging area holds one cycle's
    // worth taken off the queue, so every event input can pick its own.
    EventQueue toPlugin, fromPlugin;
    std::vector<uint8_t> staged = std::vector<uint8_t>(kEventQueueBytes + EventQueue::kHeader + kMaxEventBody);
    size_t stagedBytes = 0;
    std::atomic<bool> collecting{false};

    // A main-thread call that must not overlap a cycle holds the plugin; a cycle that finds
    // it held leaves the plugin out rather than wait.
    std::atomic<bool> inCycle{false};
    std::atomic<bool> held{false};

    struct Instance {
        LilvInstance* instance = nullptr;
        std::unique_ptr<Worker> worker;
        std::vector<LV2_Feature> featureStore;
        std::vector<const LV2_Feature*> features;
        std::vector<AtomBuffer> atomOut;
        const LV2_Options_Interface* options = nullptr;
    };
    std::vector<Instance> instances;
    bool split = false;  // one instance a channel

    std::vector<std::vector<float>> inputs;  // copies of the input, one a channel
    std::vector<float> silence, trash, mono;
    std::vector<AtomBuffer> atomIn;

    LV2_URID_Map map{};
    LV2_URID_Unmap unmap{};
    LV2_Log_Log logFeature{};
    LV2_State_Make_Path makePath{};
    QByteArray stateDir;
    int32_t minBlock = 1, maxBlock = 0, nominalBlock = 0, sequenceSize = int32_t(kAtomCapacity);
    float rate = 0;
    std::vector<LV2_Options_Option> options;
    LV2_Feature mapF{}, unmapF{}, optionsF{}, logF{}, makePathF{}, boundedF{}, fixedF{}, pow2F{}, defaultStateF{};

    LV2_Atom_Forge forge{};
    struct Urids {
        LV2_URID atomChunk, atomSequence, atomFloat, atomInt, atomLong, atomDouble, midiEvent, timePosition,
            timeFrame, timeSpeed, timeBar, timeBarBeat, timeBeat, timeBeatUnit, timeBeatsPerBar, timeBeatsPerMinute,
            maxBlockLength, nominalBlockLength;
    } urid{};
    bool sentTransport = false;
    bool lastRolling = false;
    double expectedFrame = 0;

    ~Impl()
    {
        for (Instance& i : instances)
            i.worker.reset();  // the worker thread may be inside the plugin
        for (Instance& i : instances) {
            if (i.instance) {
                lilv_instance_deactivate(i.instance);
                lilv_instance_free(i.instance);
            }
        }
    }

    void setFeatures(uint32_t maxFrames, uint32_t nominalFrames, double sampleRate, const QString& uri)
    {
        map.handle = &world;
        map.map = [](LV2_URID_Map_Handle h, const char* u) { return static_cast<World*>(h)->map(u); };
        unmap.handle = &world;
        unmap.unmap = [](LV2_URID_Unmap_Handle h, LV2_URID id) { return static_cast<World*>(h)->unmap(id); };
        logFeature.handle = nullptr;
        logFeature.printf = logPrintfVariadic;
        logFeature.vprintf = logPrintf;
        // Files a plugin makes for its state live in our private temporary folder.
        QString name = uri;
        name.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9._-]")), QStringLiteral("_"));
        stateDir = (Locations::tempDir() + QStringLiteral("/lv2/") + name + QLatin1Char('/')).toLocal8Bit();
        makePath.handle = this;
        makePath.path = [](LV2_State_Make_Path_Handle h, const char* path) -> char* {
            auto* self = static_cast<Impl*>(h);
            const QByteArray full = self->stateDir + path;
            QDir().mkpath(QFileInfo(QString::fromLocal8Bit(full)).absolutePath());
            return strdup(full.constData());
        };
        maxBlock = int32_t(maxFrames);
        nominalBlock = int32_t(nominalFrames);
        rate = float(sampleRate);
        const LV2_URID intType = world.map(LV2_ATOM__Int);
        auto option = [&](const char* key, LV2_URID type, const void* value, uint32_t size) {
            options.push_back({LV2_OPTIONS_INSTANCE, 0, world.map(key), size, type, value});
        };
        option(LV2_BUF_SIZE__minBlockLength, intType, &minBlock, sizeof minBlock);
        option(LV2_BUF_SIZE__maxBlockLength, intType, &maxBlock, sizeof maxBlock);
        option(LV2_BUF_SIZE__nominalBlockLength, intType, &nominalBlock, sizeof nominalBlock);
        option(LV2_BUF_SIZE__sequenceSize, intType, &sequenceSize, sizeof sequenceSize);
        option(LV2_PARAMETERS__sampleRate, world.map(LV2_ATOM__Float), &rate, sizeof rate);
        options.push_back({LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr});
        mapF = {LV2_URID__map, &map};
        unmapF = {LV2_URID__unmap, &unmap};
        optionsF = {LV2_OPTIONS__options, options.data()};
        logF = {LV2_LOG__log, &logFeature};
        makePathF = {LV2_STATE__makePath, &makePath};
        boundedF = {LV2_BUF_SIZE__boundedBlockLength, nullptr};
        fixedF = {LV2_BUF_SIZE__fixedBlockLength, nullptr};
        pow2F = {LV2_BUF_SIZE__powerOf2BlockLength, nullptr};
        defaultStateF = {LV2_STATE__loadDefaultState, nullptr};

        urid = {world.map(LV2_ATOM__Chunk),
                world.map(LV2_ATOM__Sequence),
                world.map(LV2_ATOM__Float),
                world.map(LV2_ATOM__Int),
                world.map(LV2_ATOM__Long),
                world.map(LV2_ATOM__Double),
                world.map(LV2_MIDI__MidiEvent),
                world.map(LV2_TIME__Position),
                world.map(LV2_TIME__frame),
                world.map(LV2_TIME__speed),
                world.map(LV2_TIME__bar),
                world.map(LV2_TIME__barBeat),
                world.map(LV2_TIME__beat),
                world.map(LV2_TIME__beatUnit),
                world.map(LV2_TIME__beatsPerBar),
                world.map(LV2_TIME__beatsPerMinute),
                world.map(LV2_BUF_SIZE__maxBlockLength),
                world.map(LV2_BUF_SIZE__nominalBlockLength)};
        lv2_atom_forge_init(&forge, &map);
    }

    // The features one instance gets; the worker's is its own.
    void buildFeatures(Instance& inst, bool threaded)
    {
        inst.worker = std::make_unique<Worker>(threaded);
        inst.featureStore = {mapF, unmapF, optionsF, logF, makePathF, boundedF, fixedF, pow2F, defaultStateF,
                             {LV2_WORKER__schedule, inst.worker->feature()}};
        for (const LV2_Feature& f : inst.featureStore)
            inst.features.push_back(&f);
        inst.features.push_back(nullptr);
    }

    int findControl(const QString& symbol) const
    {
        for (const Port& p : ports)
            if (p.kind == Kind::ControlIn && p.symbol == symbol)
                return int(p.index);
        return -1;
    }

    const Port* port(uint32_t index) const
    {
        for (const Port& p : ports)
            if (p.index == index)
                return &p;
        return nullptr;
    }

    void setControl(int index, float value)
    {
        mainValues[index] = value;
        requested[index].store(value, std::memory_order_relaxed);
    }

    static void setPortValue(const char* symbol, void* self, const void* value, uint32_t size, uint32_t type)
    {
        auto* d = static_cast<Impl*>(self);
        const int index = d->findControl(QString::fromUtf8(symbol));
        if (index < 0 || size != sizeof(float))
            return;
        float v = 0;
        if (type == d->urid.atomFloat)
            std::memcpy(&v, value, sizeof v);
        else if (type == d->urid.atomInt) {
            int32_t i = 0;
            std::memcpy(&i, value, sizeof i);
            v = float(i);
        } else
            return;
        d->setControl(index, v);
    }

    static const void* getPortValue(const char* symbol, void* self, uint32_t* size, uint32_t* type)
    {
        auto* d = static_cast<Impl*>(self);
        const int index = d->findControl(QString::fromUtf8(symbol));
        if (index < 0) {
            *size = *type = 0;
            return nullptr;
        }
        *size = sizeof(float);
        *type = d->urid.atomFloat;
        return &d->mainValues[index];
    }

    // Fills an event input with this cycle's transport change and MIDI.
    void fillEvents(AtomBuffer& buffer, const Port& port, const HostMidiEvent* midi, uint32_t midiCount,
                    const Transport& transport, bool sendTransport)
    {
        lv2_atom_forge_set_buffer(&forge, reinterpret_cast<uint8_t*>(buffer.words.data()), kAtomCapacity);
        LV2_Atom_Forge_Frame sequence;
        lv2_atom_forge_sequence_head(&forge, &sequence, 0);
        if (port.time && sendTransport) {
            const MusicalPosition at = musicalPosition(transport, rate);
            lv2_atom_forge_frame_time(&forge, 0);
            LV2_Atom_Forge_Frame object;
            lv2_atom_forge_object(&forge, &object, 0, urid.timePosition);
            lv2_atom_forge_key(&forge, urid.timeFrame);
            lv2_atom_forge_long(&forge, int64_t(transport.frame));
            lv2_atom_forge_key(&forge, urid.timeSpeed);
            lv2_atom_forge_float(&forge, transport.rolling ? 1.0f : 0.0f);
            lv2_atom_forge_key(&forge, urid.timeBar);
            lv2_atom_forge_long(&forge, at.bar);
            lv2_atom_forge_key(&forge, urid.timeBarBeat);
            lv2_atom_forge_float(&forge, float(at.barBeat));
            lv2_atom_forge_key(&forge, urid.timeBeat);
            lv2_atom_forge_double(&forge, at.beat);
            lv2_atom_forge_key(&forge, urid.timeBeatUnit);
            lv2_atom_forge_int(&forge, transport.beatUnit);
            lv2_atom_forge_key(&forge, urid.timeBeatsPerBar);
            lv2_atom_forge_float(&forge, transport.beatsPerBar);
            lv2_atom_forge_key(&forge, urid.timeBeatsPerMinute);
            lv2_atom_forge_float(&forge, float(transport.beatsPerMinute));
            lv2_atom_forge_pop(&forge, &object);
        }
        // What an interface sent this port, ahead of the MIDI (both at frame 0 or later).
        for (size_t at = 0; at < stagedBytes;) {
            uint32_t header[3];
            std::memcpy(header, staged.data() + at, EventQueue::kHeader);
            if (header[0] == port.index) {
                if (!lv2_atom_forge_frame_time(&forge, 0) || !lv2_atom_forge_atom(&forge, header[2], header[1]) ||
                    !lv2_atom_forge_write(&forge, staged.data() + at + EventQueue::kHeader, header[2]))
                    break;
            }
            at += EventQueue::kHeader + header[2];
        }
        if (port.midi) {
            for (uint32_t i = 0; i < midiCount; ++i) {
                if (!lv2_atom_forge_frame_time(&forge, midi[i].frame))
                    break;
                if (!lv2_atom_forge_atom(&forge, midi[i].size, urid.midiEvent))
                    break;
                if (!lv2_atom_forge_write(&forge, midi[i].data, midi[i].size))
                    break;
            }
        }
        lv2_atom_forge_pop(&forge, &sequence);
    }
};

Plugin::Plugin(PluginInfo info, double rate) : mInfo(std::move(info)), mRate(rate), d(std::make_unique<Impl>()) {}

Plugin::~Plugin() = default;

std::unique_ptr<Plugin> Plugin::instantiate(const QString& uri, double sampleRate, uint32_t maxFrames,
                                            uint32_t nominalFrames, bool threaded, Failure* failure, QString* reason)
{
    auto fail = [&](Failure f, const QString& why) -> std::unique_ptr<Plugin> {
        if (failure)
            *failure = f;
        if (reason)
            *reason = why;
        return nullptr;
    };
    World& world = World::shared();
    const PluginInfo* info = world.find(uri);
    const auto* lp = static_cast<const LilvPlugin*>(world.lilvPlugin(uri));
    if (!info || !lp)
        return fail(Failure::NotInstalled, QStringLiteral("%1 is not installed").arg(uri));
    auto* lworld = static_cast<LilvWorld*>(world.lilvWorld());

    bool fixed = false;
    if (LilvNodes* required = lilv_plugin_get_required_features(lp)) {
        QString missing;
        LILV_FOREACH (nodes, i, required) {
            const char* feature = lilv_node_as_uri(lilv_nodes_get(required, i));
            if (!std::any_of(std::begin(kSupportedFeatures), std::end(kSupportedFeatures),
                             [&](const char* f) { return std::strcmp(f, feature) == 0; }))
                missing = QString::fromUtf8(feature);
            if (!std::strcmp(feature, LV2_BUF_SIZE__fixedBlockLength) ||
                !std::strcmp(feature, LV2_BUF_SIZE__powerOf2BlockLength))
                fixed = true;
        }
        lilv_nodes_free(required);
        if (!missing.isEmpty())
            return fail(Failure::Unsupported, QStringLiteral("%1 needs %2").arg(uri, missing));
    }
    if (fixed && !isPowerOf2(nominalFrames))
        return fail(Failure::Unsupported, QStringLiteral("%1 needs blocks of a power of two frames").arg(uri));

    std::unique_ptr<Plugin> self(new Plugin(*info, sampleRate));
    self->mFixedBlocks = fixed;
    Impl& d = *self->d;
    d.plugin = lp;
    d.setFeatures(maxFrames, nominalFrames, sampleRate, uri);

    auto node = [&](const char* u) { return lilv_new_uri(lworld, u); };
    LilvNode* audio = node(LV2_CORE__AudioPort);
    LilvNode* control = node(LV2_CORE__ControlPort);
    LilvNode* atom = node(LV2_ATOM__AtomPort);
    LilvNode* cv = node(LV2_CORE__CVPort);
    LilvNode* input = node(LV2_CORE__InputPort);
    LilvNode* optional = node(LV2_CORE__connectionOptional);
    LilvNode* midi = node(LV2_MIDI__MidiEvent);
    LilvNode* time = node(LV2_TIME__Position);
    const uint32_t count = lilv_plugin_get_num_ports(lp);
    int audioIn = 0, audioOut = 0, atomIn = 0, atomOut = 0;
    QString unsupported;
    std::vector<float> defaults(count, 0.0f);
    lilv_plugin_get_port_ranges_float(lp, nullptr, nullptr, defaults.data());
    for (uint32_t k = 0; k < count; ++k) {
        const LilvPort* port = lilv_plugin_get_port_by_index(lp, k);
        const bool in = lilv_port_is_a(lp, port, input);
        Port p{Kind::ControlIn, k, 0, false, false, {}};
        p.symbol = QString::fromUtf8(lilv_node_as_string(lilv_port_get_symbol(lp, port)));
        if (lilv_port_is_a(lp, port, audio)) {
            p.kind = in ? Kind::AudioIn : Kind::AudioOut;
            p.ordinal = in ? audioIn++ : audioOut++;
        } else if (lilv_port_is_a(lp, port, control)) {
            p.kind = in ? Kind::ControlIn : Kind::ControlOut;
        } else if (lilv_port_is_a(lp, port, atom)) {
            p.kind = in ? Kind::AtomIn : Kind::AtomOut;
            p.ordinal = in ? atomIn++ : atomOut++;
            p.midi = in && lilv_port_supports_event(lp, port, midi);
            p.time = in && lilv_port_supports_event(lp, port, time);
        } else if (lilv_port_is_a(lp, port, cv)) {
            p.kind = in ? Kind::CvIn : Kind::CvOut;
        } else if (lilv_port_has_property(lp, port, optional)) {
            continue;  // left unconnected, as it allows
        } else {
            unsupported = QString::fromUtf8(lilv_node_as_string(lilv_port_get_symbol(lp, port)));
        }
        d.ports.push_back(p);
    }
    for (LilvNode* n : {audio, control, atom, cv, input, optional, midi, time})
        lilv_node_free(n);
    if (!unsupported.isEmpty())
        return fail(Failure::Unsupported, QStringLiteral("%1 has a port of a kind we cannot feed (%2)").arg(uri, unsupported));
    if (lilv_plugin_has_latency(lp))
        d.latencyPort = int(lilv_plugin_get_latency_port_index(lp));

    d.controls.assign(count, 0.0f);
    d.mainValues.assign(count, 0.0f);
    d.requested = std::make_unique<std::atomic<float>[]>(count);
    d.published = std::make_unique<std::atomic<float>[]>(count);
    for (const Port& p : d.ports)
        if (p.kind == Kind::ControlIn) {
            const float v = std::isnan(defaults[p.index]) ? 0.0f : defaults[p.index];
            d.controls[p.index] = v;
            d.setControl(int(p.index), v);
        }
    d.split = audioIn == 1 && audioOut == 1;
    d.inputs.assign(size_t(std::max(audioIn, kHostChannels)), std::vector<float>(maxFrames, 0.0f));
    d.silence.assign(maxFrames, 0.0f);
    d.trash.assign(maxFrames, 0.0f);
    d.atomIn.resize(size_t(atomIn));

    const int copies = d.split ? kHostChannels : 1;
    d.instances.resize(size_t(copies));
    for (int i = 0; i < copies; ++i) {
        Impl::Instance& inst = d.instances[size_t(i)];
        d.buildFeatures(inst, threaded);
        World::markLoading(uri);
        inst.instance = lilv_plugin_instantiate(lp, sampleRate, inst.features.data());
        World::clearLoading();
        if (!inst.instance)
            return fail(Failure::Refused, QStringLiteral("%1 could not be instantiated").arg(uri));
        const auto* iface = static_cast<const LV2_Worker_Interface*>(
            lilv_instance_get_extension_data(inst.instance, LV2_WORKER__interface));
        inst.worker->attach(lilv_instance_get_handle(inst.instance), iface);
        inst.options = static_cast<const LV2_Options_Interface*>(
            lilv_instance_get_extension_data(inst.instance, LV2_OPTIONS__interface));
        inst.atomOut.resize(size_t(atomOut));
        for (const Port& p : d.ports) {
            void* buffer = nullptr;
            switch (p.kind) {
            case Kind::ControlIn:
            case Kind::ControlOut:
                buffer = &d.controls[p.index];
                break;
            case Kind::AtomIn:
                buffer = d.atomIn[size_t(p.ordinal)].atom();
                break;
            case Kind::AtomOut:
                buffer = inst.atomOut[size_t(p.ordinal)].atom();
                break;
            default:
                continue;  // audio and CV ports are connected at every cycle
            }
            lilv_instance_connect_port(inst.instance, p.index, buffer);
        }
    }
    // Plugins that keep a default state of their own start from it.
    if (LilvNode* self_uri = lilv_new_uri(lworld, uri.toUtf8().constData())) {
        if (LilvState* state = lilv_state_new_from_world(lworld, &d.map, self_uri)) {
            for (Impl::Instance& inst : d.instances)
                lilv_state_restore(state, inst.instance, &Impl::setPortValue, &d, 0, inst.features.data());
            lilv_state_free(state);
        }
        lilv_node_free(self_uri);
    }
    for (Impl::Instance& inst : d.instances)
        lilv_instance_activate(inst.instance);
    return self;
}

bool Plugin::setControlValue(const QString& symbol, float value)
{
    const int index = d->findControl(symbol);
    if (index < 0 || !std::isfinite(value))
        return false;
    if (const ControlPort* c = mInfo.control(symbol))
        value = std::clamp(value, std::min(c->minimum, c->maximum), std::max(c->minimum, c->maximum));
    d->setControl(index, value);
    return true;
}

float Plugin::controlValue(const QString& symbol) const
{
    const int index = d->findControl(symbol);
    return index < 0 ? 0.0f : d->mainValues[index];
}

QByteArray Plugin::saveState()
{
    auto* lworld = static_cast<LilvWorld*>(d->world.lilvWorld());
    Impl::Instance& inst = d->instances.front();
    LilvState* state = lilv_state_new_from_instance(d->plugin, inst.instance, &d->map, nullptr, nullptr, nullptr,
                                                    nullptr, &Impl::getPortValue, d.get(),
                                                    LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE, inst.features.data());
    if (!state)
        return {};
    char* text = lilv_state_to_string(lworld, &d->map, &d->unmap, state, kStateUri, nullptr);
    lilv_state_free(state);
    const QByteArray result(text ? text : "");
    lilv_free(text);
    return result;
}

bool Plugin::restoreState(const QByteArray& text)
{
    auto* lworld = static_cast<LilvWorld*>(d->world.lilvWorld());
    LilvState* state = lilv_state_new_from_string(lworld, &d->map, text.constData());
    if (!state)
        return false;
    const LilvNode* of = lilv_state_get_plugin_uri(state);
    const bool matches = of && QString::fromUtf8(lilv_node_as_uri(of)) == mInfo.uri;
    if (matches)
        for (Impl::Instance& inst : d->instances)
            lilv_state_restore(state, inst.instance, &Impl::setPortValue, d.get(), 0, inst.features.data());
    lilv_state_free(state);
    return matches;
}

void Plugin::process(float* const* buffers, uint32_t frames, const HostMidiEvent* midi, uint32_t midiCount,
                     const Transport& transport)
{
    Impl& s = *d;
    if (frames == 0 || frames > uint32_t(s.maxBlock))
        return;
    // seq_cst on both flags: either the holder sees this cycle, or this cycle sees the hold.
    s.inCycle.store(true);
    if (s.held.load()) {
        s.inCycle.store(false);
        return;
    }
    tProcessing = true;
    for (const Port& p : s.ports)
        if (p.kind == Kind::ControlIn)
            s.controls[p.index] = s.requested[p.index].load(std::memory_order_relaxed);

    const bool sendTransport = !s.sentTransport || transport.rolling != s.lastRolling ||
                               std::fabs(transport.frame - s.expectedFrame) > 0.5;
    s.sentTransport = true;
    s.lastRolling = transport.rolling;
    s.expectedFrame = transport.frame + (transport.rolling ? frames : 0);
    s.stagedBytes = 0;
    while (s.stagedBytes + EventQueue::kHeader + kMaxEventBody <= s.staged.size()) {
        const uint32_t taken = s.toPlugin.pop(s.staged.data() + s.stagedBytes);
        if (!taken)
            break;
        s.stagedBytes += taken;
    }
    for (const Port& p : s.ports)
        if (p.kind == Kind::AtomIn)
            s.fillEvents(s.atomIn[size_t(p.ordinal)], p, midi, midiCount, transport, sendTransport);

    // The plugin writes its output over the channels, so it reads a copy of them.
    const int audioIn = mInfo.audioInputs;
    if (audioIn > 0)
        for (int c = 0; c < kHostChannels; ++c)
            std::memcpy(s.inputs[size_t(c)].data(), buffers[c], frames * sizeof(float));
    if (audioIn == 1 && !s.split) {
        float* mono = s.inputs[0].data();
        for (uint32_t i = 0; i < frames; ++i)
            mono[i] = 0.5f * (buffers[0][i] + buffers[1][i]);
    }
    for (size_t n = 0; n < s.instances.size(); ++n) {
        Impl::Instance& inst = s.instances[n];
        for (AtomBuffer& out : inst.atomOut) {
            out.atom()->type = s.urid.atomChunk;
            out.atom()->size = kAtomCapacity - sizeof(LV2_Atom);
        }
        for (const Port& p : s.ports) {
            void* buffer = nullptr;
            switch (p.kind) {
            case Kind::AudioIn:
                buffer = s.split ? s.inputs[n].data()
                                 : (p.ordinal < kHostChannels ? s.inputs[size_t(p.ordinal)].data() : s.silence.data());
                break;
            case Kind::AudioOut:
                buffer = s.split ? buffers[n] : (p.ordinal < kHostChannels ? buffers[p.ordinal] : s.trash.data());
                break;
            case Kind::CvIn:
                buffer = s.silence.data();
                break;
            case Kind::CvOut:
                buffer = s.trash.data();
                break;
            default:
                continue;
            }
            lilv_instance_connect_port(inst.instance, p.index, buffer);
        }
        lilv_instance_run(inst.instance, frames);
        inst.worker->deliverResponses();
    }
    if (!s.split && mInfo.audioOutputs == 1)
        std::memcpy(buffers[1], buffers[0], frames * sizeof(float));
    if (s.latencyPort >= 0)
        mLatency.store(uint32_t(std::max(0.0f, s.controls[size_t(s.latencyPort)])), std::memory_order_relaxed);
    for (const Port& p : s.ports)
        if (p.kind == Kind::ControlOut)
            s.published[p.index].store(s.controls[p.index], std::memory_order_relaxed);
    if (s.collecting.load(std::memory_order_relaxed)) {
        Impl::Instance& first = s.instances.front();
        for (const Port& p : s.ports) {
            if (p.kind != Kind::AtomOut)
                continue;
            auto* sequence = reinterpret_cast<LV2_Atom_Sequence*>(first.atomOut[size_t(p.ordinal)].atom());
            if (sequence->atom.type != s.urid.atomSequence || sequence->atom.size > kAtomCapacity - sizeof(LV2_Atom))
                continue;
            LV2_ATOM_SEQUENCE_FOREACH (sequence, ev)
                s.fromPlugin.push(p.index, ev->body.type, LV2_ATOM_BODY_CONST(&ev->body), ev->body.size);
        }
    }
    tProcessing = false;
    s.inCycle.store(false);
}

MusicalPosition musicalPosition(const Transport& transport, double sampleRate)
{
    MusicalPosition at;
    if (sampleRate <= 0 || transport.beatsPerMinute <= 0 || transport.beatsPerBar <= 0)
        return at;
    at.beat = transport.frame / sampleRate * transport.beatsPerMinute / 60.0;
    at.bar = int64_t(std::floor(at.beat / transport.beatsPerBar));
    at.barBeat = at.beat - double(at.bar) * transport.beatsPerBar;
    return at;
}

uint32_t Plugin::portCount() const { return uint32_t(d->controls.size()); }

QString Plugin::portSymbol(uint32_t index) const
{
    const Port* p = d->port(index);
    return p ? p->symbol : QString();
}

bool Plugin::isControlInput(uint32_t index) const
{
    const Port* p = d->port(index);
    return p && p->kind == Kind::ControlIn;
}

bool Plugin::isControlOutput(uint32_t index) const
{
    const Port* p = d->port(index);
    return p && p->kind == Kind::ControlOut;
}

bool Plugin::isEventInput(uint32_t index) const
{
    const Port* p = d->port(index);
    return p && p->kind == Kind::AtomIn;
}

bool Plugin::setControlValue(uint32_t index, float value)
{
    return isControlInput(index) && setControlValue(d->port(index)->symbol, value);
}

float Plugin::portValue(uint32_t index) const
{
    if (isControlInput(index))
        return d->mainValues[index];
    if (isControlOutput(index))
        return d->published[index].load(std::memory_order_relaxed);
    return 0.0f;
}

bool Plugin::sendEvent(uint32_t portIndex, uint32_t type, const void* body, uint32_t size)
{
    return isEventInput(portIndex) && d->toPlugin.push(portIndex, type, body, size);
}

void Plugin::setCollectingOutputEvents(bool on)
{
    d->collecting.store(on, std::memory_order_relaxed);
    if (!on) {
        OutputEvent dropped;
        while (takeOutputEvent(&dropped)) {
        }
    }
}

bool Plugin::takeOutputEvent(OutputEvent* event)
{
    uint8_t record[EventQueue::kHeader + kMaxEventBody];
    const uint32_t taken = d->fromPlugin.pop(record);
    if (!taken)
        return false;
    uint32_t header[3];
    std::memcpy(header, record, EventQueue::kHeader);
    event->port = header[0];
    event->type = header[1];
    event->body = QByteArray(reinterpret_cast<const char*>(record + EventQueue::kHeader), int(header[2]));
    return true;
}

uint32_t Plugin::blockLength() const { return uint32_t(d->nominalBlock); }

bool Plugin::runsAt(uint32_t frames) const
{
    return frames > 0 && frames <= uint32_t(d->maxBlock) && (!mFixedBlocks || uint32_t(d->nominalBlock) == frames);
}

bool Plugin::setBlockLength(uint32_t frames)
{
    Impl& s = *d;
    if (frames == 0 || frames > uint32_t(s.maxBlock))
        return false;
    if (int32_t(frames) == s.nominalBlock)
        return true;
    const bool told = std::all_of(s.instances.begin(), s.instances.end(),
                                  [](const Impl::Instance& i) { return i.options && i.options->set; });
    if (mFixedBlocks && (!told || !isPowerOf2(frames)))
        return false;
    s.held.store(true);
    while (s.inCycle.load())
        std::this_thread::yield();
    s.nominalBlock = int32_t(frames);
    if (told) {
        const LV2_URID intType = s.world.map(LV2_ATOM__Int);
        const LV2_Options_Option changed[] = {
            {LV2_OPTIONS_INSTANCE, 0, s.urid.nominalBlockLength, sizeof(int32_t), intType, &s.nominalBlock},
            {LV2_OPTIONS_INSTANCE, 0, s.urid.maxBlockLength, sizeof(int32_t), intType, &s.maxBlock},
            {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}};
        for (Impl::Instance& inst : s.instances)
            inst.options->set(lilv_instance_get_handle(inst.instance), changed);
    }
    s.held.store(false);
    return true;
}

}  // namespace platform::lv2
