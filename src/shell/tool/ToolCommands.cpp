#include "shell/tool/ToolCommands.h"

namespace tool {

const QList<Command>& commands()
{
    static const QList<Command> list = {
        {"ls", "ls [FOLDER] [--sort name|date|size] [--search TEXT]  list a folder as the browser does", runLs},
        {"zip", "zip ITEM                 pack a file or folder into ITEM-NAME.zip beside it", runZip},
        {"unzip", "unzip ARCHIVE            extract an archive into the folder that holds it", runUnzip},
        {"waveform", "waveform FILE [--points N] [--start S] [--end S] [--png OUT --width W --height H]", runWaveform},
        {"info", "info FILE                channels, type, depth or bit rate, sample rate and duration", runInfo},
        {"decode", "decode SRC DEST          any audio file to 16-bit WAVE at 44100 Hz", runDecode},
        {"convert",
         "convert SRC [DEST] [--format N] [--channels N] [--stereomono N] [--bits N] [--samplerate HZ] [--bitrate BPS]\n"
         "                           to format 0 WAVE, 1 AIFF, 2 CAF, 3 M4A AAC, 4 M4A ALAC; unset options as last saved;\n"
         "                           without DEST, SRC-converted.EXT beside SRC",
         runConvert},
        {"normalize", "normalize SRC [DEST]     scale to full scale, keeping the format where it can be written;\n"
                      "                           without DEST, SRC-normalized.EXT beside SRC",
         runNormalize},
        {"trim", "trim SRC [DEST] --start S --end S [--fade-in S] [--fade-out S]\n"
                 "                           cut a region (seconds) with linear fades;\n"
                 "                           without DEST, SRC-trimmed.EXT (or the next free name) beside SRC",
         runTrim},
        {"render", "render FILE OUT [--start S] [--region START END] [--fade-in S] [--fade-out S] [--loop] [--seconds N]"
                   "  write what the file player plays as a 44.1 kHz float WAVE file", runRender},
        {"dropbox",
         "dropbox link|unlink|ls [PATH]|import PATH... [--to FOLDER]|export ITEM... --to PATH\n"
         "                           link the Dropbox account, list a Dropbox folder, import into the library\n"
         "                           (the library root without --to) or export library items to a Dropbox folder",
         runDropbox},
        {"copy", "copy FILE [--general | --pasteboard N | --mapped]  copy audio to the next AudioCopy slot, the\n"
                 "                           general pasteboard, or pasteboard N (a slot number or a name); --mapped\n"
                 "                           sends a 16-bit 44.1 kHz WAV file's samples without decoding",
         runCopy},
        {"paste", "paste [--general | --slot N] [--name NAME] [FOLDER]  paste the latest AudioCopy slot, slot N or\n"
                  "                           the general pasteboard as a new file in FOLDER (the library when none)",
         runPaste},
        {"pasteboards", "pasteboards              the twelve AudioCopy slots: name, sender, duration, channels, tempo",
         runPasteboards},
        {"play", "play FILE [--buffer FRAMES]  play an audio or MIDI file through the audio engine to its end", runPlay},
        {"record",
         "record OUT [--seconds N] [--format N] [--channels N] [--bits N] [--bitrate BPS] [--samplerate HZ] "
         "[--source input|player FILE]\n"
         "      record the engine's source into OUT (format 0 WAVE, 1 AIFF, 2 CAF, 3 M4A AAC, 4 M4A ALAC) for N seconds\n"
         "      or until Ctrl+C, SIGTERM or, with the player as source, the file's end",
         runRecord},
        {"units", "units                    list the installed plugin units: type, subtype, maker code, name, URI", runUnits},
        {"process", "process IN OUT --effect URI [--effect URI ...] [--set URI:PORT=VALUE ...]\n"
                    "                           run a file through up to three plugin effects, in order, into a\n"
                    "                           32-bit float WAVE file",
         runProcess},
        {"check-unit", "check-unit URI [--rate HZ] [--frames N]\n"
                       "                           load a plugin unit and run it briefly; exit status 0 when it runs",
         runCheckUnit},
    };
    return list;
}

}  // namespace tool
