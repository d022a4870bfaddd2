#include "audiofiles/AudioOperations.h"
#include "shell/tool/AudioCommandSupport.h"
#include "shell/tool/ToolCommands.h"

namespace tool {

int runTrim(const QStringList& args)
{
    const QString usage = QStringLiteral("trim SRC DEST --start S --end S [--fade-in S] [--fade-out S]");
    Arguments a(args, {QStringLiteral("--start"), QStringLiteral("--end"), QStringLiteral("--fade-in"),
                       QStringLiteral("--fade-out")});
    const auto start = a.number(QStringLiteral("--start"));
    const auto end = a.number(QStringLiteral("--end"));
    const auto fadeIn = a.number(QStringLiteral("--fade-in"));
    const auto fadeOut = a.number(QStringLiteral("--fade-out"));
    if (!a.ok())
        return usageError(usage, a.error());
    if (a.positionals().size() != 2 || !start || !end)
        return usageError(usage);
    if (*start < 0 || *end <= *start || fadeIn.value_or(0) < 0 || fadeOut.value_or(0) < 0)
        return usageError(usage, QStringLiteral("the region must start at 0 or later and end after it; fades are 0 or longer"));
    ProgressBar bar(QStringLiteral("trim"));
    return reportWritten(Utils::trim(absolutePath(a.positionals()[0]), absolutePath(a.positionals()[1]), *start, *end,
                                     fadeIn.value_or(0), fadeOut.value_or(0), [&bar](float f) { bar.update(f); }));
}

}  // namespace tool
