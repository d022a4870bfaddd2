#pragma once
#include <atomic>
#include <cstdint>

// The pieces the host engine runs on its audio thread. Every callback here is real-time:
// it must not lock, allocate, block or log except through platform::RealtimeLog.
namespace platform {

// The working format: non-interleaved 32-bit float, two channels, at the server's rate.
inline constexpr int kHostChannels = 2;

// One short MIDI message received in a cycle, at its frame within the cycle.
struct HostMidiEvent {
    uint32_t frame = 0;
    uint8_t size = 0;
    uint8_t data[3] = {};
};

struct AudioTimeStamp {
    double sampleTime = 0;  // frames since the engine's clock began
    // What arrived at the MIDI input port in this cycle, in time order.
    const HostMidiEvent* midi = nullptr;
    uint32_t midiCount = 0;
};

// A source of audio mixed into the main output.
class HostChannel {
public:
    virtual ~HostChannel() = default;
    // Fills kHostChannels buffers of `frames` samples; they arrive zeroed.
    virtual void render(float* const* buffers, uint32_t frames, const AudioTimeStamp& time) = 0;

    // A muted channel is still rendered, filtered and heard by its receivers, but not mixed.
    bool isMuted() const { return mMuted.load(std::memory_order_relaxed); }
    void setMuted(bool muted) { mMuted.store(muted, std::memory_order_relaxed); }
    float volume() const { return mVolume.load(std::memory_order_relaxed); }
    void setVolume(float volume) { mVolume.store(volume, std::memory_order_relaxed); }

private:
    std::atomic<bool> mMuted{false};
    std::atomic<float> mVolume{1.0f};
};

// Processes a channel's audio in place, after the channel rendered it.
class HostFilter {
public:
    virtual ~HostFilter() = default;
    virtual void filter(float* const* buffers, uint32_t frames, const AudioTimeStamp& time) = 0;
};

// Hears a channel's audio after its filters (or the main mix when source is null). Receivers
// run in the order they were added and may change the audio in place for those after them.
class HostReceiver {
public:
    virtual ~HostReceiver() = default;
    virtual void receive(const HostChannel* source, const AudioTimeStamp& time, uint32_t frames,
                         float* const* buffers) = 0;
};

// Hears the input: the receiver port while something is connected to it, else the hardware.
// The buffers are valid for the current cycle only.
class HostInputReceiver {
public:
    virtual ~HostInputReceiver() = default;
    virtual void receiveInput(const AudioTimeStamp& time, uint32_t frames, const float* const* buffers) = 0;
};

}  // namespace platform
