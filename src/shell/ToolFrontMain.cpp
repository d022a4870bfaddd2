// wavelocker-tool: lists folders and describes files itself, and hands every other command to
// the program that links the whole library code (audio server, plugins, network, codecs).
// Listing and describing are what scripts call thousands of times; loading some sixty
// libraries they never use would cost them more than the work itself.
#include "shell/ToolFront.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"
#include "shell/Startup.h"

#include <QCoreApplication>
#include <QDateTime>

int main(int argc, char** argv)
{
    const QDateTime processStart = QDateTime::currentDateTime();
    const tool::FrontCommand command = tool::frontCommandOf(argc, argv);
    if (command == tool::FrontCommand::None)
        return tool::runWholeTool(argv);

    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    while (!args.isEmpty() && args.first().startsWith(QLatin1String("--"))) {
        // frontCommandOf let only --library DIR through.
        args.takeFirst();
        Startup::setLibraryOverride(args.takeFirst());
    }
    args.takeFirst();
    Startup::registerDefaults();
    Startup::removeLeftovers(processStart, Startup::Sweep::Recorded);
    return command == tool::FrontCommand::Ls ? tool::runLs(args) : tool::runInfo(args);
}
