#include "shell/tool/ToolCommands.h"

namespace tool {

const QList<Command>& commands()
{
    static const QList<Command> list = {
        {"ls", "ls [FOLDER] [--sort name|date|size] [--search TEXT]  list a folder as the browser does", runLs},
        {"zip", "zip ITEM                 pack a file or folder into ITEM-NAME.zip beside it", runZip},
        {"unzip", "unzip ARCHIVE            extract an archive into the folder that holds it", runUnzip},
        {"waveform", "waveform FILE [--points N] [--start S] [--end S] [--png OUT --width W --height H]", runWaveform},
        {"info", "info FILE", runInfo},
        {"decode", "decode SRC DEST", runDecode},
        {"convert", "convert SRC DEST [--format N] [--channels N] [--stereomono N] [--bits N] [--samplerate HZ] [--bitrate BPS]",
         runConvert},
        {"normalize", "normalize SRC DEST", runNormalize},
        {"trim", "trim SRC DEST --start S --end S [--fade-in S] [--fade-out S]", runTrim},
    };
    return list;
}

}  // namespace tool
