#include "audiofiles/ConversionOptions.h"

#include "platform/Settings.h"

namespace {
const QString kSettingsKey = QStringLiteral("ConverterFormat");
}

ConversionOptions ConversionOptions::fromMap(const QVariantMap& map)
{
    ConversionOptions o;
    o.format = map.value(QStringLiteral("format"), o.format).toInt();
    o.channels = map.value(QStringLiteral("channels"), o.channels).toInt();
    o.stereomono = map.value(QStringLiteral("stereomono"), o.stereomono).toInt();
    o.bits = map.value(QStringLiteral("bits"), o.bits).toInt();
    o.samplerate = map.value(QStringLiteral("samplerate"), o.samplerate).toInt();
    o.bitrate = map.value(QStringLiteral("bitrate"), o.bitrate).toInt();
    return o;
}

QVariantMap ConversionOptions::toMap() const
{
    return {{QStringLiteral("format"), format},         {QStringLiteral("channels"), channels},
            {QStringLiteral("stereomono"), stereomono}, {QStringLiteral("bits"), bits},
            {QStringLiteral("samplerate"), samplerate}, {QStringLiteral("bitrate"), bitrate}};
}

ConversionOptions ConversionOptions::stored()
{
    return fromMap(platform::Settings::value(kSettingsKey).toMap());
}

void ConversionOptions::store() const { platform::Settings::setValue(kSettingsKey, toMap()); }
