#include "shell/tool/ToolCommands.h"

namespace tool {

const QList<Command>& commands()
{
    static const QList<Command> list = {
        {"ls", "ls [FOLDER] [--sort name|date|size] [--search TEXT]  list a folder as the browser does", runLs},
        {"zip", "zip ITEM                 pack a file or folder into ITEM-NAME.zip beside it", runZip},
        {"unzip", "unzip ARCHIVE            extract an archive into the folder that holds it", runUnzip},
        {"waveform", "waveform FILE [--points N] [--start S] [--end S] [--png OUT --width W --height H]", runWaveform},
    };
    return list;
}

}  // namespace tool
