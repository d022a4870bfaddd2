#include "recording/RecordingSettings.h"

#include "audiofiles/RecFormats.h"
#include "platform/Log.h"
#include "platform/Settings.h"

#include <algorithm>

const QString RecordingSettings::kFormatKey = QStringLiteral("recording.format");
const QString RecordingSettings::kChannelsKey = QStringLiteral("recording.channels");
const QString RecordingSettings::kBitsKey = QStringLiteral("recording.bits");
const QString RecordingSettings::kBitRateKey = QStringLiteral("recording.bitrate");
const QString RecordingSettings::kSampleRateKey = QStringLiteral("recording.samplerate");
const QString RecordingSettings::kNormalizeKey = QStringLiteral("recording.normalize");
const QString RecordingSettings::kAutoOpenKey = QStringLiteral("recording.autoopen");
const QString RecordingSettings::kAbMonitorKey = QStringLiteral("recording.abmonitor");

namespace {

constexpr int kMinSampleRate = 8000;
constexpr int kMaxSampleRate = 192000;
constexpr int kMaxBitRate = 512000;
// Below this rate the encoder is asked for at most kBitsPerSampleCap bits a sample.
constexpr int kLowRate = 40000;
constexpr int kBitsPerSampleCap = 4;

int checkedInt(const QString& key, int fallback, const std::function<bool(int)>& valid)
{
    const QVariant stored = platform::Settings::value(key);
    bool ok = false;
    const int value = stored.isValid() ? stored.toInt(&ok) : fallback;
    if (stored.isValid() && (!ok || !valid(value))) {
        platform::log(QStringLiteral("Ignoring %1 = %2, using %3").arg(key, stored.toString()).arg(fallback));
        return fallback;
    }
    return value;
}

bool checkedBool(const QString& key, bool fallback)
{
    const QVariant stored = platform::Settings::value(key);
    return stored.isValid() ? stored.toBool() : fallback;
}

}  // namespace

RecordingSettings RecordingSettings::current()
{
    RecordingSettings s;
    s.format = checkedInt(kFormatKey, kDefaultFormat, [](int v) { return v >= 0 && v < Utils::kRecFormatCount; });
    s.channels = checkedInt(kChannelsKey, kDefaultChannels, [](int v) { return v == 1 || v == 2; });
    s.bits = checkedInt(kBitsKey, kDefaultBits, [](int v) { return v == 16 || v == 24 || v == 32; });
    s.bitrate = checkedInt(kBitRateKey, kDefaultBitRate, [](int v) { return v >= 0 && v <= kMaxBitRate; });
    s.samplerate = checkedInt(kSampleRateKey, kDefaultSampleRate,
                              [](int v) { return v >= kMinSampleRate && v <= kMaxSampleRate; });
    s.normalize = checkedBool(kNormalizeKey, true);
    s.autoopen = checkedBool(kAutoOpenKey, true);
    s.abmonitor = checkedBool(kAbMonitorKey, true);
    // AIFF has no float samples and the lossless encoder stops at 24 bits.
    s.bits = std::min(s.bits, Utils::highestBitsForRecFormat(s.format));
    return s;
}

void RecordingSettings::store() const
{
    platform::Settings::setValue(kFormatKey, format);
    platform::Settings::setValue(kChannelsKey, channels);
    platform::Settings::setValue(kBitsKey, bits);
    platform::Settings::setValue(kBitRateKey, bitrate);
    platform::Settings::setValue(kSampleRateKey, samplerate);
    platform::Settings::setValue(kNormalizeKey, normalize);
    platform::Settings::setValue(kAutoOpenKey, autoopen);
    platform::Settings::setValue(kAbMonitorKey, abmonitor);
}

QString RecordingSettings::infoText() const
{
    const QStringList& names = Utils::recFormatNames();
    const QString name = names.value(std::clamp(format, 0, int(names.size()) - 1));
    return QStringLiteral("%1 %2 %3 Hz \u2022 Normalize: %4")
        .arg(name, channels == 1 ? QStringLiteral("Mono") : QStringLiteral("Stereo"))
        .arg(samplerate)
        .arg(normalize ? QStringLiteral("on") : QStringLiteral("off"));
}

int RecordingSettings::encodeBitRate() const
{
    int rate = bitrate == 0 ? kDefaultBitRate : bitrate;
    if (samplerate < kLowRate)
        rate = std::min(rate, kBitsPerSampleCap * samplerate);
    if (channels == 1)
        rate >>= 1;
    return rate;
}

double RecordingSettings::bytesPerSecond() const
{
    if (format == Utils::kRecFormatAAC)
        return encodeBitRate() / 8.0;
    return double(samplerate) * channels * (bits / 8);
}
