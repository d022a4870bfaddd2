#include "shell/tool/ToolCommands.h"

namespace tool {

const QList<Command>& commands()
{
    static const QList<Command> list = {
    };
    return list;
}

}  // namespace tool
