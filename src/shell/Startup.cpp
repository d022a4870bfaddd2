#include "shell/Startup.h"

#include "library/Utils.h"
#include "platform/Locations.h"
#include "platform/Settings.h"

namespace Startup {

void registerDefaults()
{
    platform::Settings::registerDefaults({
        {QStringLiteral("SortMode"), 0},
        {QStringLiteral("AutoPlayNext"), true},
        {QStringLiteral("ConverterFormat"),
         QVariantMap{{QStringLiteral("format"), 0},
                     {QStringLiteral("channels"), 2},
                     {QStringLiteral("stereomono"), 0},
                     {QStringLiteral("bits"), 16},
                     {QStringLiteral("samplerate"), 44100},
                     {QStringLiteral("bitrate"), 128000}}},
        {QStringLiteral("SnapBpm"), 0.0f},
        {QStringLiteral("recording.format"), 0},
        {QStringLiteral("recording.channels"), 2},
        {QStringLiteral("recording.bits"), 16},
        {QStringLiteral("recording.bitrate"), 128000},
        {QStringLiteral("recording.samplerate"), 44100},
        {QStringLiteral("recording.normalize"), true},
        {QStringLiteral("recording.autoopen"), true},
        {QStringLiteral("recording.abmonitor"), true},
    });
}

void setLibraryOverride(const QString& dir)
{
    platform::Locations::setLibraryOverride(dir);
    Utils::resetCachedLocations();
}

}  // namespace Startup
