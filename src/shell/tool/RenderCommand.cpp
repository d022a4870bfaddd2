#include "audiofiles/FilePlayer.h"
#include "audiofiles/OfflinePull.h"
#include "library/Utils.h"
#include "platform/AudioFileWriter.h"
#include "platform/FourCC.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"

#include <QFileInfo>
#include <limits>

namespace tool {
namespace {

const QString kRenderUsage = QStringLiteral(
    "render FILE OUT [--start S] [--region START END] [--fade-in S] [--fade-out S] [--loop] [--seconds N]");
constexpr double kRenderRate = 44100;
constexpr int kChannels = 2;
constexpr uint32_t kBlockFrames = 512;  // the engine's buffer
// About a second per write, in whole buffers, so every pull is as large as the engine's.
constexpr int64_t kChunkFrames = 86 * kBlockFrames;

platform::StreamDescription floatWave()
{
    platform::StreamDescription d;
    d.sampleRate = kRenderRate;
    d.formatID = platform::fourCC("lpcm");
    d.formatFlags = platform::kFormatFlagFloat | platform::kFormatFlagPacked;
    d.bytesPerPacket = d.bytesPerFrame = 4 * kChannels;
    d.framesPerPacket = 1;
    d.channelsPerFrame = kChannels;
    d.bitsPerChannel = 32;
    return d;
}

}  // namespace

int runRender(const QStringList& args)
{
    // "--region" takes two values, which the option parser does not; it is taken out first.
    QStringList rest = args;
    std::optional<std::pair<double, double>> region;
    if (const qsizetype at = rest.indexOf(QStringLiteral("--region")); at >= 0) {
        bool startOk = false, endOk = false;
        const double start = rest.value(at + 1).toDouble(&startOk);
        const double end = rest.value(at + 2).toDouble(&endOk);
        if (!startOk || !endOk || start < 0 || end <= start)
            return usageError(kRenderUsage, QStringLiteral("--region takes a start and a later end in seconds"));
        region = std::make_pair(start, end);
        rest.remove(at, 3);
    }
    Arguments arguments(rest,
                        {QStringLiteral("--start"), QStringLiteral("--fade-in"), QStringLiteral("--fade-out"),
                         QStringLiteral("--seconds")},
                        {QStringLiteral("--loop")});
    const auto start = arguments.number(QStringLiteral("--start"));
    const auto fadeIn = arguments.number(QStringLiteral("--fade-in"));
    const auto fadeOut = arguments.number(QStringLiteral("--fade-out"));
    const auto seconds = arguments.number(QStringLiteral("--seconds"));
    if (!arguments.ok())
        return usageError(kRenderUsage, arguments.error());
    if (arguments.positionals().size() != 2)
        return usageError(kRenderUsage, QStringLiteral("a file and an output"));
    const bool loop = arguments.has(QStringLiteral("--loop"));
    if (loop && !seconds)
        return usageError(kRenderUsage, QStringLiteral("--loop needs --seconds"));
    if ((seconds && *seconds <= 0) || (start && *start < 0) || (fadeIn && *fadeIn < 0) || (fadeOut && *fadeOut < 0))
        return usageError(kRenderUsage, QStringLiteral("times are not negative"));
    const QString path = QFileInfo(arguments.positionals().at(0)).absoluteFilePath();
    const QString out = QFileInfo(arguments.positionals().at(1)).absoluteFilePath();

    FilePlayer player;
    player.setupWithSampleRate(kRenderRate);
    const bool loaded = Utils::fileIsMIDI(path) ? player.loadMidiURL(path) : player.loadAudioURL(path);
    if (!loaded) {
        printError(QStringLiteral("wavelocker-tool: could not open %1").arg(path));
        return kFailed;
    }
    if (region) {
        player.setRegionStart(region->first);
        player.setRegionEnd(region->second);
    }
    player.setStartTime(start.value_or(0));
    player.setFadeIn(fadeIn.value_or(0));
    player.setFadeOut(fadeOut.value_or(0));
    player.setLoop(loop);

    auto writer = platform::AudioFileWriter::create(out, platform::fourCC("WAVE"), floatWave());
    if (!writer) {
        printError(QStringLiteral("wavelocker-tool: could not create %1").arg(out));
        return kFailed;
    }
    player.startGraph();
    player.play();
    const int64_t total = seconds ? int64_t(*seconds * kRenderRate) : std::numeric_limits<int64_t>::max();
    ProgressBar progress(QFileInfo(path).fileName());
    int64_t done = 0;
    while (done < total && player.isPlaying()) {
        const std::vector<float> block = pullPlayer(player, std::min(kChunkFrames, total - done), kBlockFrames);
        const int64_t frames = int64_t(block.size()) / kChannels;
        if (frames == 0)
            break;
        if (!writer->write(block.data(), frames)) {
            printError(QStringLiteral("wavelocker-tool: could not write %1").arg(out));
            return kFailed;
        }
        done += frames;
        if (seconds)
            progress.update(float(double(done) / double(total)));
        else if (player.playEnd() > 0)
            progress.update(float(player.getCurrentTime() / player.playEnd()));
    }
    player.stop();
    if (!writer->close()) {
        printError(QStringLiteral("wavelocker-tool: could not finish %1").arg(out));
        return kFailed;
    }
    printOut(QStringLiteral("%1 frames").arg(done));
    return kOk;
}

}  // namespace tool
