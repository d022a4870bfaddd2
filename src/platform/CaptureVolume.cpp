#include "platform/CaptureVolume.h"

#include "platform/Log.h"

#include <QRegularExpression>
#include <alsa/asoundlib.h>
#include <algorithm>
#include <cmath>

namespace platform {

namespace {
// The control that sets the level of what is recorded, by the names drivers give it, best first.
const QStringList kPreferredControls = {QStringLiteral("Capture"), QStringLiteral("Mic"),
                                        QStringLiteral("Input"), QStringLiteral("Line")};
}  // namespace

struct CaptureVolume::Mixer {
    snd_mixer_t* handle = nullptr;
    snd_mixer_elem_t* element = nullptr;
    long min = 0;
    long max = 0;
    ~Mixer()
    {
        if (handle)
            snd_mixer_close(handle);
    }
};

CaptureVolume::CaptureVolume(std::unique_ptr<Mixer> mixer, QString device, QString control)
    : mMixer(std::move(mixer)), mDevice(std::move(device)), mControl(std::move(control))
{
}

CaptureVolume::~CaptureVolume() = default;

QString CaptureVolume::deviceFromAliases(const QStringList& aliases)
{
    static const QRegularExpression alsaAlias(QStringLiteral("^alsa_pcm:(.+):(?:out|capture_)\\d+$"));
    for (const QString& alias : aliases) {
        const QRegularExpressionMatch m = alsaAlias.match(alias);
        if (!m.hasMatch())
            continue;
        // The mixer belongs to the card: "hw:1,0" and "hw:1" share one.
        QString device = m.captured(1);
        if (const int comma = device.indexOf(QLatin1Char(',')); comma > 0)
            device.truncate(comma);
        if (device.startsWith(QLatin1String("plughw:")))
            device.remove(0, 4);
        return device;
    }
    return {};
}

std::unique_ptr<CaptureVolume> CaptureVolume::open(const QString& device, QString* reason)
{
    auto fail = [&](const QString& why) -> std::unique_ptr<CaptureVolume> {
        if (reason)
            *reason = why;
        return nullptr;
    };
    if (device.isEmpty())
        return fail(QStringLiteral("The audio server names no sound card for its inputs."));
    auto mixer = std::make_unique<Mixer>();
    const QByteArray name = device.toUtf8();
    if (snd_mixer_open(&mixer->handle, 0) < 0) {
        mixer->handle = nullptr;
        return fail(QStringLiteral("The sound system's mixer could not be opened."));
    }
    if (snd_mixer_attach(mixer->handle, name.constData()) < 0 || snd_mixer_selem_register(mixer->handle, nullptr, nullptr) < 0
        || snd_mixer_load(mixer->handle) < 0) {
        log(QStringLiteral("Could not open the mixer of %1").arg(device));
        return fail(QStringLiteral("The mixer of the sound card %1 could not be opened.").arg(device));
    }
    snd_mixer_elem_t* best = nullptr;
    int bestRank = int(kPreferredControls.size());
    for (snd_mixer_elem_t* e = snd_mixer_first_elem(mixer->handle); e; e = snd_mixer_elem_next(e)) {
        if (!snd_mixer_selem_is_active(e) || !snd_mixer_selem_has_capture_volume(e))
            continue;
        const QString control = QString::fromUtf8(snd_mixer_selem_get_name(e));
        int rank = int(kPreferredControls.indexOf(control));
        if (rank < 0)
            rank = int(kPreferredControls.size());
        if (!best || rank < bestRank) {
            best = e;
            bestRank = rank;
        }
    }
    if (!best)
        return fail(QStringLiteral("The sound card %1 has no capture volume.").arg(device));
    mixer->element = best;
    snd_mixer_selem_get_capture_volume_range(best, &mixer->min, &mixer->max);
    if (mixer->max <= mixer->min)
        return fail(QStringLiteral("The sound card %1 has no capture volume.").arg(device));
    const QString control = QString::fromUtf8(snd_mixer_selem_get_name(best));
    return std::unique_ptr<CaptureVolume>(new CaptureVolume(std::move(mixer), device, control));
}

float CaptureVolume::value() const
{
    snd_mixer_handle_events(mMixer->handle);  // another program may have moved it
    long v = mMixer->min;
    if (snd_mixer_selem_get_capture_volume(mMixer->element, SND_MIXER_SCHN_FRONT_LEFT, &v) < 0)
        return 0.0f;
    return float(v - mMixer->min) / float(mMixer->max - mMixer->min);
}

bool CaptureVolume::setValue(float value)
{
    const float clamped = std::clamp(value, 0.0f, 1.0f);
    const long v = mMixer->min + std::lround(double(clamped) * double(mMixer->max - mMixer->min));
    if (const int rc = snd_mixer_selem_set_capture_volume_all(mMixer->element, v); rc < 0) {
        log(QStringLiteral("Could not set the capture volume of %1: %2").arg(mDevice, QString::fromUtf8(snd_strerror(rc))));
        return false;
    }
    return true;
}

}  // namespace platform
