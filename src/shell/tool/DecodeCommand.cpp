#include "audiofiles/AudioOperations.h"
#include "shell/tool/AudioCommandSupport.h"
#include "shell/tool/ToolCommands.h"

namespace tool {

int runDecode(const QStringList& args)
{
    const QString usage = QStringLiteral("decode SRC DEST");
    Arguments a(args, {});
    if (!a.ok())
        return usageError(usage, a.error());
    if (a.positionals().size() != 2)
        return usageError(usage);
    const QString dest = absolutePath(a.positionals()[1]);
    ProgressBar bar(QStringLiteral("decode"));
    const bool ok = Utils::decode(absolutePath(a.positionals()[0]), dest, [&bar](float f) { bar.update(f); });
    return reportWritten(ok ? std::optional(dest) : std::nullopt);
}

}  // namespace tool
