#include "platform/Sampler.h"

#include "platform/FileIO.h"
#include "platform/Log.h"
#include "platform/SharedLibrary.h"

#include <fluidsynth.h>
#include <mutex>

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

// FluidSynth and the many libraries it depends on are opened with the first sampler (see
// SharedLibrary.h): only MIDI playback needs them.
struct FluidSynthFunctions {
    decltype(&::fluid_set_log_function) fluid_set_log_function;
    decltype(&::new_fluid_settings) new_fluid_settings;
    decltype(&::fluid_settings_setnum) fluid_settings_setnum;
    decltype(&::fluid_settings_setint) fluid_settings_setint;
    decltype(&::new_fluid_synth) new_fluid_synth;
    decltype(&::delete_fluid_synth) delete_fluid_synth;
    decltype(&::delete_fluid_settings) delete_fluid_settings;
    decltype(&::fluid_synth_sfload) fluid_synth_sfload;
    decltype(&::fluid_synth_sfunload) fluid_synth_sfunload;
    decltype(&::fluid_synth_noteoff) fluid_synth_noteoff;
    decltype(&::fluid_synth_noteon) fluid_synth_noteon;
    decltype(&::fluid_synth_key_pressure) fluid_synth_key_pressure;
    decltype(&::fluid_synth_cc) fluid_synth_cc;
    decltype(&::fluid_synth_program_change) fluid_synth_program_change;
    decltype(&::fluid_synth_channel_pressure) fluid_synth_channel_pressure;
    decltype(&::fluid_synth_pitch_bend) fluid_synth_pitch_bend;
    decltype(&::fluid_synth_all_sounds_off) fluid_synth_all_sounds_off;
    decltype(&::fluid_synth_write_float) fluid_synth_write_float;
    decltype(&::fluid_synth_count_midi_channels) fluid_synth_count_midi_channels;
    decltype(&::fluid_synth_program_select) fluid_synth_program_select;
};

FluidSynthFunctions gFluidSynth {};

// The functions, once fluidSynthLoaded() answered true.
const FluidSynthFunctions& fs() { return gFluidSynth; }

bool fluidSynthLoaded(QString* error)
{
    static std::once_flag once;
    static bool loaded = false;
    static QString reason;
    std::call_once(once, [] {
        FluidSynthFunctions& f = gFluidSynth;
        loaded = openSharedLibrary(WL_FLUIDSYNTH_SONAME, {
             WL_LIBRARY_FUNCTION(f, fluid_set_log_function),
             WL_LIBRARY_FUNCTION(f, new_fluid_settings),
             WL_LIBRARY_FUNCTION(f, fluid_settings_setnum),
             WL_LIBRARY_FUNCTION(f, fluid_settings_setint),
             WL_LIBRARY_FUNCTION(f, new_fluid_synth),
             WL_LIBRARY_FUNCTION(f, delete_fluid_synth),
             WL_LIBRARY_FUNCTION(f, delete_fluid_settings),
             WL_LIBRARY_FUNCTION(f, fluid_synth_sfload),
             WL_LIBRARY_FUNCTION(f, fluid_synth_sfunload),
             WL_LIBRARY_FUNCTION(f, fluid_synth_noteoff),
             WL_LIBRARY_FUNCTION(f, fluid_synth_noteon),
             WL_LIBRARY_FUNCTION(f, fluid_synth_key_pressure),
             WL_LIBRARY_FUNCTION(f, fluid_synth_cc),
             WL_LIBRARY_FUNCTION(f, fluid_synth_program_change),
             WL_LIBRARY_FUNCTION(f, fluid_synth_channel_pressure),
             WL_LIBRARY_FUNCTION(f, fluid_synth_pitch_bend),
             WL_LIBRARY_FUNCTION(f, fluid_synth_all_sounds_off),
             WL_LIBRARY_FUNCTION(f, fluid_synth_write_float),
             WL_LIBRARY_FUNCTION(f, fluid_synth_count_midi_channels),
             WL_LIBRARY_FUNCTION(f, fluid_synth_program_select)},
            &reason);
        if (!loaded)
            log(QStringLiteral("The sampler is not available: %1").arg(reason));
    });
    if (!loaded && error)
        *error = QStringLiteral("could not load the sampler: %1").arg(reason);
    return loaded;
}

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
            fs().delete_fluid_synth(synth);
        if (settings)
            fs().delete_fluid_settings(settings);
    }
};

Sampler::~Sampler() = default;

QString Sampler::defaultSoundFont() { return QLatin1String(kGeneralMidiSoundFont); }

std::unique_ptr<Sampler> Sampler::create(double sampleRate, QString* error)
{
    if (!fluidSynthLoaded(error))
        return nullptr;
    static const bool quiet = [] {
        for (int level : {FLUID_PANIC, FLUID_ERR, FLUID_WARN, FLUID_INFO, FLUID_DBG})
            fs().fluid_set_log_function(level, fluidLog, nullptr);
        return true;
    }();
    (void)quiet;
    std::unique_ptr<Sampler> sampler(new Sampler);
    sampler->mHandles = std::make_unique<Handles>();
    Handles& h = *sampler->mHandles;
    h.settings = fs().new_fluid_settings();
    if (!h.settings) {
        if (error)
            *error = QStringLiteral("could not create the sampler's settings");
        return nullptr;
    }
    fs().fluid_settings_setnum(h.settings, "synth.sample-rate", sampleRate);
    fs().fluid_settings_setint(h.settings, "synth.threadsafe-api", 0);
    fs().fluid_settings_setint(h.settings, "synth.polyphony", kPolyphony);
    fs().fluid_settings_setint(h.settings, "synth.cpu-cores", 1);
    fs().fluid_settings_setint(h.settings, "synth.dynamic-sample-loading", 0);
    // A dry instrument: reverb tails would outlive a stop and leak into the next play.
    fs().fluid_settings_setint(h.settings, "synth.reverb.active", 0);
    fs().fluid_settings_setint(h.settings, "synth.chorus.active", 0);
    fs().fluid_settings_setnum(h.settings, "synth.gain", kGain);
    h.synth = fs().new_fluid_synth(h.settings);
    if (!h.synth) {
        if (error)
            *error = QStringLiteral("could not create the sampler");
        return nullptr;
    }
    return sampler;
}

int Sampler::loadSoundFont(const QString& path, int patch)
{
    if (!isRegularFile(path))
        return FLUID_FAILED;
    fluid_synth_t* synth = mHandles->synth;
    const int id = fs().fluid_synth_sfload(synth, path.toLocal8Bit().constData(), 1);
    if (id == FLUID_FAILED)
        return FLUID_FAILED;
    if (mFontId >= 0)
        fs().fluid_synth_sfunload(synth, mFontId, 1);
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
        fs().fluid_synth_noteoff(synth, channel, d1);
        break;
    case 0x90:
        if (d2 == 0)
            fs().fluid_synth_noteoff(synth, channel, d1);
        else
            fs().fluid_synth_noteon(synth, channel, d1, d2);
        break;
    case 0xA0:
        fs().fluid_synth_key_pressure(synth, channel, d1, d2);
        break;
    case 0xB0:
        fs().fluid_synth_cc(synth, channel, d1, d2);
        break;
    case 0xC0:
        fs().fluid_synth_program_change(synth, channel, d1);
        break;
    case 0xD0:
        fs().fluid_synth_channel_pressure(synth, channel, d1);
        break;
    case 0xE0:
        fs().fluid_synth_pitch_bend(synth, channel, d1 | (d2 << 7));
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
    fs().fluid_synth_all_sounds_off(synth, -1);
    fs().fluid_synth_write_float(synth, kBlockFrames, mFlush.data(), 0, 1, mFlush.data() + kBlockFrames, 0, 1);
    const int channels = fs().fluid_synth_count_midi_channels(synth);
    for (int c = 0; c < channels; ++c) {
        fs().fluid_synth_cc(synth, c, kResetAllControllers, 0);
        fs().fluid_synth_pitch_bend(synth, c, kPitchBendCentre);
        if (mFontId < 0)
            continue;
        if (c == kDrumChannel)
            fs().fluid_synth_program_select(synth, c, mFontId, kDrumBank, 0);
        else
            fs().fluid_synth_program_select(synth, c, mFontId, 0, mPatch);
    }
}

void Sampler::render(float* left, float* right, uint32_t frames)
{
    fs().fluid_synth_write_float(mHandles->synth, int(frames), left, 0, 1, right, 0, 1);
}

}  // namespace platform
