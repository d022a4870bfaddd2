#pragma once
#include "platform/HostNodes.h"
#include "platform/lv2/Lv2PluginInfo.h"

#include <QByteArray>
#include <QString>
#include <atomic>
#include <memory>
#include <vector>

namespace platform::lv2 {

// The host's transport as plugins that follow it see it. The host keeps no musical time of
// its own, so the tempo and metre are a fixed 120 beats a minute in 4/4, from frame zero.
struct Transport {
    static constexpr double kDefaultBeatsPerMinute = 120;
    bool rolling = false;
    double frame = 0;  // the position in frames while rolling or where it stopped
    double beatsPerMinute = kDefaultBeatsPerMinute;
    float beatsPerBar = 4;
    int beatUnit = 4;
};

// Where a frame falls in bars and beats at a transport's tempo and metre.
struct MusicalPosition {
    int64_t bar = 0;      // from 0
    double barBeat = 0;   // beats since the bar began
    double beat = 0;      // beats since frame zero
};
MusicalPosition musicalPosition(const Transport& transport, double sampleRate);

// One plugin made live on a stereo path at a given rate. A plugin with one audio input and
// one output runs as two instances, one a channel; a mono generator's output goes to both
// channels. Control ports start at their defaults (or the plugin's default state); inputs
// nothing uses get silence. Callers never see lilv.
class Plugin {
public:
    enum class Failure { None, NotInstalled, Unsupported, Refused };

    // threaded: a worker thread for the plugin's slow jobs (live use); offline, jobs run at
    // once. maxFrames bounds every process() call; nominalFrames is the usual block.
    static std::unique_ptr<Plugin> instantiate(const QString& uri, double sampleRate, uint32_t maxFrames,
                                               uint32_t nominalFrames, bool threaded, Failure* failure = nullptr,
                                               QString* reason = nullptr);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    const PluginInfo& info() const { return mInfo; }
    bool isSource() const { return mInfo.audioInputs == 0; }
    double sampleRate() const { return mRate; }
    // Whether this plugin needs every block to be exactly the nominal length.
    bool needsFixedBlocks() const { return mFixedBlocks; }

    // Main thread. Values are taken by the audio thread at its next cycle.
    bool setControlValue(const QString& symbol, float value);
    float controlValue(const QString& symbol) const;
    // The plugin's state (control values and whatever it keeps itself) as text.
    QByteArray saveState();
    // Only before the first process() call: plugins may not be restored while they run.
    bool restoreState(const QByteArray& state);
    // Frames by which the output lags the input, as the plugin last reported.
    uint32_t latency() const { return mLatency.load(std::memory_order_relaxed); }

    // Ports by number, for an interface that speaks in port numbers (main thread).
    uint32_t portCount() const;
    QString portSymbol(uint32_t index) const;
    bool isControlInput(uint32_t index) const;
    bool isControlOutput(uint32_t index) const;
    bool isEventInput(uint32_t index) const;
    bool setControlValue(uint32_t index, float value);
    // An input as it was last set; an output as the plugin last wrote it.
    float portValue(uint32_t index) const;
    // An atom for an event input, delivered at the start of the next cycle; false when the
    // queue is full or the port takes no events.
    bool sendEvent(uint32_t portIndex, uint32_t type, const void* body, uint32_t size);
    // While collecting, the atoms the plugin writes to its event outputs are queued for
    // takeOutputEvent (an interface shows them); otherwise they are dropped at once.
    void setCollectingOutputEvents(bool on);
    struct OutputEvent {
        uint32_t port = 0;
        uint32_t type = 0;
        QByteArray body;
    };
    bool takeOutputEvent(OutputEvent* event);

    // The server's blocks are now `frames` long: plugins with the options interface are told.
    // It waits for a cycle in progress to end and keeps cycles from running the plugin
    // meanwhile, so call it where no cycle is expected (the server's buffer-size
    // notification). False when the plugin cannot run at that length without being made
    // anew (it needs fixed blocks and takes no change of them).
    bool setBlockLength(uint32_t frames);
    uint32_t blockLength() const;
    // Whether blocks of this length suit the plugin as it is now.
    bool runsAt(uint32_t frames) const;

    // Audio thread: processes kHostChannels buffers of `frames` in place; a source's input is
    // ignored. MIDI goes to plugins that take it, the transport to those that follow it.
    void process(float* const* buffers, uint32_t frames, const HostMidiEvent* midi, uint32_t midiCount,
                 const Transport& transport);

private:
    struct Impl;
    Plugin(PluginInfo info, double rate);

    PluginInfo mInfo;
    double mRate;
    bool mFixedBlocks = false;
    std::unique_ptr<Impl> d;
    std::atomic<uint32_t> mLatency{0};
};

}  // namespace platform::lv2
