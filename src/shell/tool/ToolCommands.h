#pragma once
#include <QStringList>

namespace tool {

struct Command {
    const char* name;
    const char* usage;  // after "wavelocker-tool "
    int (*run)(const QStringList& args);
};

// Every subcommand, in the order the help lists them.
const QList<Command>& commands();

// One function per subcommand, each in its own file beside this one.
int runLs(const QStringList& args);
int runZip(const QStringList& args);
int runUnzip(const QStringList& args);
int runWaveform(const QStringList& args);
int runInfo(const QStringList& args);
int runDecode(const QStringList& args);
int runConvert(const QStringList& args);
int runNormalize(const QStringList& args);
int runTrim(const QStringList& args);
int runPlay(const QStringList& args);
int runRecord(const QStringList& args);
int runRender(const QStringList& args);
int runDropbox(const QStringList& args);
int runCopy(const QStringList& args);
int runPaste(const QStringList& args);
int runPasteboards(const QStringList& args);
int runUnits(const QStringList& args);
int runProcess(const QStringList& args);
int runCheckUnit(const QStringList& args);

}  // namespace tool
