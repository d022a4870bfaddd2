#include "library/ItemZipper.h"
#include "library/Utils.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"
#include "shell/tool/ToolZipDelegate.h"

#include <QDir>
#include <QFileInfo>
#include <memory>

namespace tool {

int runZip(const QStringList& args)
{
    const QString usage = QStringLiteral("zip ITEM");
    Arguments parsed(args, {});
    if (!parsed.ok())
        return usageError(usage, parsed.error());
    if (parsed.positionals().size() != 1)
        return usageError(usage);
    const QFileInfo info(parsed.positionals().first());
    if (!info.exists()) {
        printError(QStringLiteral("%1: no such file or folder").arg(info.filePath()));
        return kFailed;
    }
    const QString item = QDir::cleanPath(info.absoluteFilePath());
    if (!info.isDir() && Utils::fileIsZip(item)) {
        printError(QStringLiteral("%1 is a zip archive already; use unzip").arg(info.filePath()));
        return kFailed;
    }
    ToolZipDelegate delegate;
    auto bar = std::make_shared<ProgressBar>(QStringLiteral("Compressing to Zip"));
    ItemZipper::Hooks hooks;
    hooks.progress = [bar](float fraction) { bar->update(fraction); };
    const bool ok = ItemZipper::zipItem(item, info.absolutePath(), &delegate, hooks);
    bar->update(1.0f);
    if (!ok || delegate.errors() > 0)
        return kFailed;
    printOut(ItemZipper::archivePathForItem(item, info.absolutePath()));
    return kOk;
}

}  // namespace tool
