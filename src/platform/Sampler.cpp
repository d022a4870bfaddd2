#include "platform/Sampler.h"

#include "platform/Log.h"

#include <fluidsynth.h>

namespace platform {
namespace {

constexpr const char* kGeneralMidiSoundFont = "/usr/share/sounds/sf2/TimGM6mb.sf2";
constexpr int kDrumChannel = 9;
constexpr int kDrumBank = 128;
constexpr int kPolyphony = 128;
constexpr double kGain = 0.5;
constexpr int kResetAllControllers = 121;
constexpr int kBlockFrames = 64;
constexpr int kPitchBendCentre = 8192;

// FluidSynth's own chatter stays quiet; errors reach the log from whatever thread set-up runs on.
void fluidLog(int level, const char* message, void*)
{
    if (level <= FLUID_ERR)
        log(QStringLiteral("FluidSynth: %1").arg(QString::fromUtf8(message)));
}

}  // namespace

struct Sampler::Handles {
    fluid_settings_t* settings = nullptr;
    fluid_synth_t* synth = nullptr;
    ~Handles()
    {
        if (synth)
            delete_fluid_synth(synth);
        if (settings)
            delete_fluid_settings(settings);
    }
};

Sampler::~Sampler() = default;

QString Sampler::defaultSoundFont() { return QLatin1String(kGeneralMidiSoundFont); }

std::unique_ptr<Sampler> Sampler::create(double sampleRate, QString* error)
{
    static const bool quiet = [] {
        for (int level : {FLUID_PANIC, FLUID_ERR, FLUID_WARN, FLUID_INFO, FLUID_DBG})
            fluid_set_log_function(level, fluidLog, nullptr);
        return true;
    }();
    (void)quiet;
    std::unique_ptr<Sampler> sampler(new Sampler);
    sampler->mHandles = std::make_unique<Handles>();
    Handles& h = *sampler->mHandles;
    h.settings = new_fluid_settings();
    if (!h.settings) {
        if (error)
            *error = QStringLiteral("could not create the sampler's settings");
        return nullptr;
    }
    fluid_settings_setnum(h.settings, "synth.sample-rate", sampleRate);
    fluid_settings_setint(h.settings, "synth.threadsafe-api", 0);
    fluid_settings_setint(h.settings, "synth.polyphony", kPolyphony);
    fluid_settings_setint(h.settings, "synth.cpu-cores", 1);
    fluid_settings_setint(h.settings, "synth.dynamic-sample-loading", 0);
    // A dry instrument: reverb tails would outlive a stop and leak into the next play.
    fluid_settings_setint(h.settings, "synth.reverb.active", 0);
    fluid_settings_setint(h.settings, "synth.chorus.active", 0);
    fluid_settings_setnum(h.settings, "synth.gain", kGain);
    h.synth = new_fluid_synth(h.settings);
    if (!h.synth) {
        if (error)
            *error = QStringLiteral("could not create the sampler");
        return nullptr;
    }
    return sampler;
}

int Sampler::loadSoundFont(const QString& path, int patch)
{
    fluid_synth_t* synth = mHandles->synth;
    const int id = fluid_synth_sfload(synth, path.toLocal8Bit().constData(), 1);
    if (id == FLUID_FAILED)
        return FLUID_FAILED;
    if (mFontId >= 0)
        fluid_synth_sfunload(synth, mFontId, 1);
    mFontId = id;
    mPatch = patch;
    reset();
    return 0;
}

void Sampler::send(const uint8_t* bytes, int size)
{
    if (size < 1)
        return;
    fluid_synth_t* synth = mHandles->synth;
    const int channel = bytes[0] & 0x0F;
    const int d1 = size > 1 ? bytes[1] : 0;
    const int d2 = size > 2 ? bytes[2] : 0;
    switch (bytes[0] & 0xF0) {
    case 0x80:
        fluid_synth_noteoff(synth, channel, d1);
        break;
    case 0x90:
        if (d2 == 0)
            fluid_synth_noteoff(synth, channel, d1);
        else
            fluid_synth_noteon(synth, channel, d1, d2);
        break;
    case 0xA0:
        fluid_synth_key_pressure(synth, channel, d1, d2);
        break;
    case 0xB0:
        fluid_synth_cc(synth, channel, d1, d2);
        break;
    case 0xC0:
        fluid_synth_program_change(synth, channel, d1);
        break;
    case 0xD0:
        fluid_synth_channel_pressure(synth, channel, d1);
        break;
    case 0xE0:
        fluid_synth_pitch_bend(synth, channel, d1 | (d2 << 7));
        break;
    default:
        break;
    }
}

void Sampler::reset()
{
    fluid_synth_t* synth = mHandles->synth;
    // A system reset would let the voices it stops ring out; sounds-off cuts them. FluidSynth
    // renders in blocks of its own, so what is left of the block it is in is thrown away.
    fluid_synth_all_sounds_off(synth, -1);
    fluid_synth_write_float(synth, kBlockFrames, mFlush.data(), 0, 1, mFlush.data() + kBlockFrames, 0, 1);
    const int channels = fluid_synth_count_midi_channels(synth);
    for (int c = 0; c < channels; ++c) {
        fluid_synth_cc(synth, c, kResetAllControllers, 0);
        fluid_synth_pitch_bend(synth, c, kPitchBendCentre);
        if (mFontId < 0)
            continue;
        if (c == kDrumChannel)
            fluid_synth_program_select(synth, c, mFontId, kDrumBank, 0);
        else
            fluid_synth_program_select(synth, c, mFontId, 0, mPatch);
    }
}

void Sampler::render(float* left, float* right, uint32_t frames)
{
    fluid_synth_write_float(mHandles->synth, int(frames), left, 0, 1, right, 0, 1);
}

}  // namespace platform
