#include "audiofiles/AudioOperations.h"
#include "shell/tool/AudioCommandSupport.h"
#include "shell/tool/ToolCommands.h"

namespace tool {

int runNormalize(const QStringList& args)
{
    const QString usage = QStringLiteral("normalize SRC DEST");
    Arguments a(args, {});
    if (!a.ok())
        return usageError(usage, a.error());
    if (a.positionals().size() != 2)
        return usageError(usage);
    ProgressBar bar(QStringLiteral("normalize"));
    return reportWritten(Utils::normalize(absolutePath(a.positionals()[0]), absolutePath(a.positionals()[1]),
                                          [&bar](float f) { bar.update(f); }));
}

}  // namespace tool
