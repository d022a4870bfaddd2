#include "audiofiles/AudioOperations.h"
#include "audiofiles/editor/EditorTools.h"
#include "shell/tool/AudioCommandSupport.h"
#include "shell/tool/ToolCommands.h"

namespace tool {

int runTrim(const QStringList& args)
{
    const QString usage = QStringLiteral("trim SRC [DEST] --start S --end S [--fade-in S] [--fade-out S]");
    Arguments a(args, {QStringLiteral("--start"), QStringLiteral("--end"), QStringLiteral("--fade-in"),
                       QStringLiteral("--fade-out")});
    const auto start = a.number(QStringLiteral("--start"));
    const auto end = a.number(QStringLiteral("--end"));
    const auto fadeIn = a.number(QStringLiteral("--fade-in"));
    const auto fadeOut = a.number(QStringLiteral("--fade-out"));
    if (!a.ok())
        return usageError(usage, a.error());
    if (a.positionals().isEmpty() || a.positionals().size() > 2 || !start || !end)
        return usageError(usage);
    if (*start < 0 || *end <= *start || fadeIn.value_or(0) < 0 || fadeOut.value_or(0) < 0)
        return usageError(usage, QStringLiteral("the region must start at 0 or later and end after it; fades are 0 or longer"));
    ProgressBar bar(QStringLiteral("trim"));
    const auto progress = [&bar](float f) { bar.update(f); };
    const QString src = absolutePath(a.positionals()[0]);
    if (a.positionals().size() == 1)  // named beside the source, as the editor names it
        return reportWritten(EditorTools::trim(src, {*start, *end, fadeIn.value_or(0), fadeOut.value_or(0)}, progress));
    return reportWritten(Utils::trim(src, absolutePath(a.positionals()[1]), *start, *end, fadeIn.value_or(0),
                                     fadeOut.value_or(0), progress));
}

}  // namespace tool
