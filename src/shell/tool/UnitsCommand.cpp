#include "platform/FourCC.h"
#include "platform/lv2/Lv2World.h"
#include "recording/RemoteAU.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"

namespace tool {

int runUnits(const QStringList& args)
{
    if (!args.isEmpty())
        return usageError(QStringLiteral("units"), QStringLiteral("no arguments"));
    const auto& world = platform::lv2::World::shared();
    for (const QString& uri : world.skippedPlugins())
        printError(QStringLiteral("wavelocker-tool: skipped %1: the program ended while loading it").arg(uri));
    for (const auto& plugin : world.plugins()) {
        const auto unit = RemoteAU::fromPlugin(plugin);
        const AudioComponentDescription& d = unit->description();
        printOut(QStringLiteral("%1\t%2\t%3\t%4\t%5")
                     .arg(platform::fourCCString(d.componentType), platform::fourCCString(d.componentSubType),
                          platform::fourCCString(d.componentManufacturer), unit->name(), plugin.uri));
    }
    return kOk;
}

}  // namespace tool
