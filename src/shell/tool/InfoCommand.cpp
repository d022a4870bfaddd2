#include "audiofiles/FileInformation.h"
#include "shell/tool/AudioCommandSupport.h"
#include "shell/tool/ToolCommands.h"

namespace tool {

int runInfo(const QStringList& args)
{
    const QString usage = QStringLiteral("info FILE");
    Arguments a(args, {});
    if (!a.ok())
        return usageError(usage, a.error());
    if (a.positionals().size() != 1)
        return usageError(usage);
    const QString path = absolutePath(a.positionals().first());
    const auto info = Utils::fileInformation(path);
    if (!info)
        return kFailed;
    printOut(info->text);
    return kOk;
}

}  // namespace tool
