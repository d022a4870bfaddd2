#include "audiofiles/AudioOperations.h"
#include "audiofiles/RecFormats.h"
#include "audiofiles/editor/EditorTools.h"
#include "shell/tool/AudioCommandSupport.h"
#include "shell/tool/ToolCommands.h"

namespace tool {

namespace {

struct Choice {
    const char* option;
    int ConversionOptions::*field;
    QList<int> allowed;  // empty: any positive value
};

}  // namespace

int runConvert(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "convert SRC [DEST] [--format N] [--channels N] [--stereomono N] [--bits N] [--samplerate HZ] [--bitrate BPS]");
    const Choice choices[] = {
        {"--format", &ConversionOptions::format, {0, 1, 2, 3, 4}},
        {"--channels", &ConversionOptions::channels, {1, 2}},
        {"--stereomono", &ConversionOptions::stereomono, {0, 1, 2}},
        {"--bits", &ConversionOptions::bits, {16, 24, 32}},
        {"--samplerate", &ConversionOptions::samplerate, {}},
        {"--bitrate", &ConversionOptions::bitrate, {}},
    };
    QStringList names;
    for (const Choice& c : choices)
        names << QLatin1String(c.option);
    Arguments a(args, names);
    // Unset options come from the stored conversion format.
    ConversionOptions options = ConversionOptions::stored();
    for (const Choice& c : choices) {
        const auto value = a.integer(QLatin1String(c.option));
        if (!value)
            continue;
        if (c.allowed.isEmpty() ? *value < 0 : !c.allowed.contains(int(*value))) {
            return usageError(usage, QStringLiteral("%1 can't be %2").arg(QLatin1String(c.option)).arg(*value));
        }
        options.*c.field = int(*value);
    }
    if (!a.ok())
        return usageError(usage, a.error());
    if (a.positionals().isEmpty() || a.positionals().size() > 2)
        return usageError(usage);
    ProgressBar bar(QStringLiteral("convert"));
    const auto progress = [&bar](float f) { bar.update(f); };
    const QString src = absolutePath(a.positionals()[0]);
    if (a.positionals().size() == 1)  // named beside the source, as the editor names it
        return reportWritten(EditorTools::convert(src, options, progress));
    const QString dest = absolutePath(a.positionals()[1]);
    return reportWritten(Utils::convert(src, dest, options, progress) ? std::optional(dest) : std::nullopt);
}

}  // namespace tool
