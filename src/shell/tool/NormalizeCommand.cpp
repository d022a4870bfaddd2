#include "audiofiles/AudioOperations.h"
#include "audiofiles/editor/EditorTools.h"
#include "shell/tool/AudioCommandSupport.h"
#include "shell/tool/ToolCommands.h"

namespace tool {

int runNormalize(const QStringList& args)
{
    const QString usage = QStringLiteral("normalize SRC [DEST]");
    Arguments a(args, {});
    if (!a.ok())
        return usageError(usage, a.error());
    if (a.positionals().isEmpty() || a.positionals().size() > 2)
        return usageError(usage);
    ProgressBar bar(QStringLiteral("normalize"));
    const auto progress = [&bar](float f) { bar.update(f); };
    const QString src = absolutePath(a.positionals()[0]);
    if (a.positionals().size() == 1)  // named beside the source, as the editor names it
        return reportWritten(EditorTools::normalize(src, progress));
    return reportWritten(Utils::normalize(src, absolutePath(a.positionals()[1]), progress));
}

}  // namespace tool
