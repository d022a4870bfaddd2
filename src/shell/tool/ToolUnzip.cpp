#include "library/ItemZipper.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"
#include "shell/tool/ToolZipDelegate.h"

#include <QFileInfo>

namespace tool {

int runUnzip(const QStringList& args)
{
    const QString usage = QStringLiteral("unzip ARCHIVE");
    Arguments parsed(args, {});
    if (!parsed.ok())
        return usageError(usage, parsed.error());
    if (parsed.positionals().size() != 1)
        return usageError(usage);
    const QFileInfo info(parsed.positionals().first());
    ToolZipDelegate delegate;
    if (!ItemZipper::unzip(info.absoluteFilePath(), info.absolutePath(), &delegate))
        return kFailed;
    return delegate.errors() > 0 ? kFailed : kOk;
}

}  // namespace tool
