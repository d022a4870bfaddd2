#include "audiofiles/waveform/PeakReader.h"
#include "audiofiles/waveform/Waveform.h"
#include "audiofiles/waveform/WaveformRaster.h"
#include "platform/PngWriter.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"

#include <cstdio>

namespace tool {
namespace {
constexpr int kDefaultPoints = 1000;
// A picture is held whole in memory before it is written.
constexpr int64_t kMaxPngPixels = 64 * 1024 * 1024;
const char* const kWaveformUsage = "waveform FILE [--points N] [--start S] [--end S] [--png OUT --width W --height H]";
}  // namespace

int runWaveform(const QStringList& args)
{
    Arguments a(args, {"--points", "--start", "--end", "--png", "--width", "--height"});
    const auto points = a.integer("--points");
    const auto start = a.number("--start");
    const auto end = a.number("--end");
    const auto width = a.integer("--width");
    const auto height = a.integer("--height");
    if (!a.ok())
        return usageError(kWaveformUsage, a.error());
    if (a.positionals().size() != 1)
        return usageError(kWaveformUsage, QStringLiteral("one FILE is needed"));
    const bool png = a.has("--png");
    if (png && (!width || !height || *width < 1 || *height < 1))
        return usageError(kWaveformUsage, QStringLiteral("--png needs --width and --height above 0"));
    if (png && int64_t(*width) * int64_t(*height) > kMaxPngPixels)
        return usageError(kWaveformUsage, QStringLiteral("--png is limited to %1 pixels").arg(kMaxPngPixels));
    if (points && *points < 1)
        return usageError(kWaveformUsage, QStringLiteral("--points must be above 0"));

    const int count = int(points.value_or(png ? *width : kDefaultPoints));
    Waveform waveform(count);
    const std::atomic<bool> never{false};
    if (PeakReader::readWaveformInto(waveform, a.positionals().first(), start.value_or(0), end.value_or(0), never) == 0)
        return kFailed;

    if (png) {
        const auto pixels = WaveformRaster::render(waveform, int(*width), int(*height));
        if (!platform::writeRgbPng(a.value("--png"), int(*width), int(*height), pixels)) {
            printError(QStringLiteral("Could not write %1").arg(a.value("--png")));
            return kFailed;
        }
        return kOk;
    }
    // One line per point, written in one go: a 10-minute file has no time to lose here.
    QByteArray out;
    out.reserve(waveform.count() * 32);
    char line[96];
    for (int i = 0; i < waveform.count(); ++i) {
        const WavePoint p = waveform.point(i);
        const int n = std::snprintf(line, sizeof line, "%.6g %.6g %.6g\n", p.negative, p.positive, p.meanSquare);
        out.append(line, n);
    }
    std::fwrite(out.constData(), 1, size_t(out.size()), stdout);
    return kOk;
}

}  // namespace tool
