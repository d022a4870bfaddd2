#include "cloud/DropboxAccount.h"
#include "cloud/DropboxClient.h"
#include "cloud/DropboxConfig.h"
#include "cloud/DropboxLink.h"
#include "cloud/DropboxTransfer.h"
#include "library/Utils.h"
#include "platform/Alerts.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QSocketNotifier>
#include <memory>
#include <unistd.h>

namespace tool {
namespace {
const QString kDropboxUsage = QStringLiteral(
    "dropbox link|unlink|ls [PATH]|import PATH... [--to FOLDER]|export ITEM... --to PATH");

QString parentOf(const QString& dropboxPath)
{
    const QString path = cloud::DropboxClient::apiPath(dropboxPath);
    return path.left(qMax(0, int(path.lastIndexOf(QLatin1Char('/')))));
}

// Waits in the event loop until done is set.
void waitFor(const bool& done)
{
    while (!done)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

int link(cloud::DropboxAccount& account, cloud::DropboxClient& client)
{
    cloud::DropboxLink linker(&account, client.network());
    if (!linker.begin()) {
        printError(QStringLiteral("%1: %2").arg(cloud::DropboxLink::errorTitle(), linker.errorString()));
        return kFailed;
    }
    printError(QStringLiteral("Open this address in a web browser on this computer and allow access:\n  %1")
                   .arg(linker.authorizeUrl().toString(QUrl::FullyEncoded)));
    printError(QStringLiteral("Or, from a browser elsewhere, open this address and type the code it shows here:\n  %1")
                   .arg(linker.pasteCodeUrl().toString(QUrl::FullyEncoded)));
    // A pasted code arrives on standard input, one line.
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray typed;
    QObject::connect(&input, &QSocketNotifier::activated, &linker, [&] {
        char buffer[512];
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (got <= 0) {
            input.setEnabled(false);  // no more input: wait for the browser alone
            return;
        }
        typed.append(buffer, got);
        if (typed.contains('\n'))
            linker.submitCode(QString::fromUtf8(typed.left(typed.indexOf('\n'))));
    });
    bool finished = false;
    int code = kFailed;
    QObject::connect(&linker, &cloud::DropboxLink::finished, &linker,
                     [&](cloud::DropboxLink::Outcome outcome, const QString& description) {
                         finished = true;
                         if (outcome == cloud::DropboxLink::Outcome::Success) {
                             printError(cloud::DropboxLink::successMessage());
                             code = kOk;
                         } else if (outcome == cloud::DropboxLink::Outcome::Error) {
                             printError(QStringLiteral("%1: %2").arg(cloud::DropboxLink::errorTitle(), description));
                         }
                     });
    waitFor(finished);
    return code;
}

int list(cloud::DropboxClient& client, const QString& path)
{
    bool finished = false;
    int code = kOk;
    std::function<void(const cloud::ListFolderResult&, const cloud::DropboxError&)> page;
    page = [&](const cloud::ListFolderResult& result, const cloud::DropboxError& error) {
        if (error) {
            printError(QStringLiteral("Dropbox error: %1").arg(error.description()));
            code = kFailed;
            finished = true;
            return;
        }
        for (const cloud::DropboxEntry& e : result.entries) {
            if (e.isFolder)
                printOut(e.name + QStringLiteral("/"));
            else
                printOut(QStringLiteral("%1\t%2\t%3").arg(e.name).arg(e.size).arg(e.modified.toString(Qt::ISODate)));
        }
        if (result.hasMore)
            client.listFolderContinue(result.cursor, page);
        else
            finished = true;
    };
    client.listFolder(path, page);
    waitFor(finished);
    return code;
}

cloud::DropboxTransfer::Display commandLineDisplay(std::shared_ptr<ProgressBar>& bar)
{
    cloud::DropboxTransfer::Display display;
    display.open = [](const QString& message) { printError(message); };
    display.label = [&bar](const QString& label) {
        bar.reset();
        bar = std::make_shared<ProgressBar>(label);
    };
    display.progress = [&bar](float fraction) {
        if (bar)
            bar->update(fraction);
    };
    display.done = [&bar](const QString& message) {
        bar.reset();
        printError(message);
    };
    display.finish = display.done;
    display.close = [&bar] { bar.reset(); };
    display.alert = [](const QString& title, const QString& message) { printError(QStringLiteral("%1: %2").arg(title, message)); };
    return display;
}

int importItems(cloud::DropboxClient& client, const QStringList& paths, const QString& folder)
{
    // Each picked path is looked up first: the queue needs to know files from folders.
    QList<cloud::DropboxPendingEntry> picked;
    const QString base = parentOf(paths.first());
    for (const QString& path : paths) {
        if (parentOf(path).compare(base, Qt::CaseInsensitive) != 0)
            return usageError(kDropboxUsage, QStringLiteral("the items to import must be in one Dropbox folder"));
        bool found = false;
        cloud::DropboxError failure;
        cloud::DropboxEntry entry;
        client.getMetadata(path, [&](const cloud::DropboxEntry& e, const cloud::DropboxError& error) {
            entry = e;
            failure = error;
            found = true;
        });
        waitFor(found);
        if (failure) {
            printError(QStringLiteral("Dropbox error: %1: %2").arg(path, failure.description()));
            return kFailed;
        }
        picked.append({entry.pathDisplay, entry.isFolder});
    }
    std::shared_ptr<ProgressBar> bar;
    cloud::DropboxTransfer transfer(&client, commandLineDisplay(bar));
    bool finished = false;
    QObject::connect(&transfer, &cloud::DropboxTransfer::finished, [&finished] { finished = true; });
    transfer.importItems(picked, base, folder);
    waitFor(finished);
    return transfer.failedCount() == 0 ? kOk : kFailed;
}

int exportItems(cloud::DropboxClient& client, const QStringList& items, const QString& destination)
{
    QSet<cloud::DropboxPendingEntry> files;
    const QString current = QFileInfo(QFileInfo(items.first()).absoluteFilePath()).absolutePath();
    for (const QString& item : items) {
        const QString path = QFileInfo(item).absoluteFilePath();
        if (!QFileInfo::exists(path)) {
            printError(QStringLiteral("wavelocker-tool: no such item: %1").arg(item));
            return kFailed;
        }
        if (QFileInfo(path).absolutePath() != current)
            return usageError(kDropboxUsage, QStringLiteral("the items to export must be in one folder"));
        cloud::DropboxTransfer::scanFilesRecurse(path, files);
    }
    std::shared_ptr<ProgressBar> bar;
    cloud::DropboxTransfer transfer(&client, commandLineDisplay(bar));
    bool finished = false;
    QObject::connect(&transfer, &cloud::DropboxTransfer::finished, [&finished] { finished = true; });
    transfer.dropboxUpload(files, current, destination);
    waitFor(finished);
    return transfer.failedCount() == 0 ? kOk : kFailed;
}
}  // namespace

int runDropbox(const QStringList& args)
{
    Arguments arguments(args, {QStringLiteral("--to")});
    if (!arguments.ok())
        return usageError(kDropboxUsage, arguments.error());
    QStringList positionals = arguments.positionals();
    if (positionals.isEmpty())
        return usageError(kDropboxUsage);
    const QString verb = positionals.takeFirst();
    cloud::DropboxAccount account;
    cloud::DropboxClient client(&account);
    account.loadSync();

    if (verb == QLatin1String("link")) {
        if (!positionals.isEmpty())
            return usageError(kDropboxUsage);
        return link(account, client);
    }
    if (verb == QLatin1String("unlink")) {
        if (!positionals.isEmpty())
            return usageError(kDropboxUsage);
        bool finished = false;
        account.unlink(client.network(), [&finished] { finished = true; });
        waitFor(finished);
        printError(QStringLiteral("Dropbox is unlinked."));
        return kOk;
    }
    if (verb != QLatin1String("ls") && verb != QLatin1String("import") && verb != QLatin1String("export"))
        return usageError(kDropboxUsage, QStringLiteral("unknown dropbox command %1").arg(verb));
    if (!account.isLinked()) {
        printError(QStringLiteral("Dropbox is not linked: run wavelocker-tool dropbox link (or set WAVELOCKER_DROPBOX_TOKEN)."));
        return kFailed;
    }
    if (verb == QLatin1String("ls")) {
        if (positionals.size() > 1)
            return usageError(kDropboxUsage, QStringLiteral("one path at most"));
        return list(client, positionals.value(0));
    }
    if (verb == QLatin1String("import")) {
        if (positionals.isEmpty())
            return usageError(kDropboxUsage, QStringLiteral("nothing to import"));
        const QString folder = arguments.has(QStringLiteral("--to"))
                                   ? QDir::cleanPath(QFileInfo(arguments.value(QStringLiteral("--to"))).absoluteFilePath())
                                   : Utils::documentsURL();
        if (!QFileInfo(folder).isDir()) {
            printError(QStringLiteral("wavelocker-tool: no such folder: %1").arg(folder));
            return kFailed;
        }
        return importItems(client, positionals, folder);
    }
    if (positionals.isEmpty() || !arguments.has(QStringLiteral("--to")))
        return usageError(kDropboxUsage, QStringLiteral("export needs items and --to PATH"));
    return exportItems(client, positionals, arguments.value(QStringLiteral("--to")));
}

}  // namespace tool
