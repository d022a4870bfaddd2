// wavelocker-tool: the command line over the library code.
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"
#include "shell/Startup.h"

#include <QCoreApplication>
#include <QDateTime>

int main(int argc, char** argv)
{
    const QDateTime processStart = QDateTime::currentDateTime();
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);

    // Global options come before the subcommand.
    while (!args.isEmpty() && args.first().startsWith(QLatin1String("--"))) {
        const QString option = args.takeFirst();
        if (option == QLatin1String("--library") && !args.isEmpty()) {
            Startup::setLibraryOverride(args.takeFirst());
        } else if (option == QLatin1String("--help")) {
            args.clear();
            break;
        } else {
            return tool::usageError(QStringLiteral("[--library DIR] COMMAND ..."),
                                    QStringLiteral("unknown option %1").arg(option));
        }
    }
    if (args.isEmpty()) {
        tool::printError(QStringLiteral("usage: wavelocker-tool [--library DIR] COMMAND ...\ncommands:"));
        for (const tool::Command& c : tool::commands())
            tool::printError(QStringLiteral("  %1").arg(QLatin1String(c.usage)));
        return tool::kUsage;
    }
    const QString name = args.takeFirst();
    for (const tool::Command& c : tool::commands()) {
        if (name == QLatin1String(c.name)) {
            Startup::registerDefaults();
            Startup::removeLeftovers(processStart, Startup::Sweep::Recorded);
            return c.run(args);
        }
    }
    return tool::usageError(QStringLiteral("[--library DIR] COMMAND ..."),
                            QStringLiteral("unknown command %1").arg(name));
}
