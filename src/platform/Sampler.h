#pragma once
#include <QString>
#include <array>
#include <cstdint>
#include <memory>

namespace platform {

// A General MIDI software instrument (FluidSynth) played by channel messages and pulled for
// audio. After set-up only one thread may use it at a time, the audio thread while it plays:
// it is built without internal locks so that the audio thread never waits on one.
class Sampler {
public:
    // The General MIDI SoundFont the program ships with (Debian's TimGM6mb).
    static QString defaultSoundFont();

    static std::unique_ptr<Sampler> create(double sampleRate, QString* error = nullptr);
    ~Sampler();
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    // Loads a SoundFont and selects `patch` (a General MIDI program) on every melodic
    // channel; the drum channel keeps the drum kit. Replaces any SoundFont loaded before.
    // Answers 0 or FluidSynth's failure code.
    int loadSoundFont(const QString& path, int patch);
    bool hasSoundFont() const { return mFontId >= 0; }

    // Real-time: one channel message of 1 to 3 bytes.
    void send(const uint8_t* bytes, int size);
    // Real-time: silences every voice at once and returns the channels to their patch.
    void reset();
    // Real-time: adds nothing, overwrites the two buffers with `frames` samples.
    void render(float* left, float* right, uint32_t frames);

private:
    Sampler() = default;
    struct Handles;
    std::unique_ptr<Handles> mHandles;
    int mFontId = -1;
    int mPatch = 0;
    std::array<float, 128> mFlush{};
};

}  // namespace platform
