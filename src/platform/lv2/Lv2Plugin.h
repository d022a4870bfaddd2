#pragma once
#include "platform/HostNodes.h"
#include "platform/lv2/Lv2PluginInfo.h"

#include <QByteArray>
#include <QString>
#include <atomic>
#include <memory>
#include <vector>

namespace platform::lv2 {

// The host's transport as plugins that follow it see it.
struct Transport {
    bool rolling = false;
    double frame = 0;  // the position in frames while rolling or where it stopped
};

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
