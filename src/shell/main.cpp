// wavelocker: the application window, or with --serve the same start without a display.
#include "library/Utils.h"
#include "platform/Log.h"
#include "platform/QuitSignals.h"
#include "platform/lv2/Lv2LoadCheck.h"
#include "platform/lv2/Lv2UiHost.h"
#include "shell/AppDelegate.h"
#include "shell/HandOverServer.h"
#include "shell/SingleInstance.h"
#include "shell/screens/AppWindow.h"
#include "shell/Startup.h"
#include "ui/screens/MessageBoxAlerts.h"
#include "wifidrive/MyWebUploader.h"

#include <QDateTime>
#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTimer>
#include <QUrl>
#include <cstdio>
#include <memory>

namespace {

constexpr int kUsageExit = 2;
const char* const kUsage = "usage: wavelocker [--library DIR] [--serve [--port N] [--upload-quota MB] [--password-file FILE] [--https]]\n"
                           "                  [--source-app ID] [URL|FILE...]\n";
constexpr qint64 kMegabyte = 1024 * 1024;

struct Options {
    bool serve = false;
    QString library;
    int port = -1;  // the port chosen in the settings
    qint64 uploadQuotaMB = 0;
    QString password;
    bool https = false;
    // Set when an option shapes the instance that starts (and so can't reach a running one).
    bool instanceOptions = false;
    QStringList urls;
    QString sourceApp;
};

// A file path becomes an absolute file URL; an existing file wins over a name that merely
// looks like a URL ("Take:1.wav").
QString argumentToUrl(const QString& argument)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]+:"));
    if (!QFileInfo::exists(argument) && scheme.match(argument).hasMatch())
        return argument;
    return QUrl::fromLocalFile(QFileInfo(argument).absoluteFilePath()).toString(QUrl::FullyEncoded);
}

// The first line of the file, without its line end; empty when unreadable.
QString readPassword(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray line = file.readLine(4096);
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    return QString::fromUtf8(line);
}

std::optional<Options> parse(QStringList args)
{
    Options options;
    args.removeFirst();
    const QStringList instanceOptions{"--serve", "--library", "--port", "--password-file", "--upload-quota", "--https"};
    // Qt's own options (one dash) are its business; these take a value.
    const QStringList qtOptionsWithValue{"-platform", "-platformpluginpath", "-platformtheme", "-plugin", "-display",
                                         "-style", "-stylesheet", "-session", "-qwindowgeometry", "-qwindowtitle",
                                         "-qwindowicon", "-geometry", "-name", "-title"};
    while (!args.isEmpty()) {
        const QString a = args.takeFirst();
        options.instanceOptions = options.instanceOptions || instanceOptions.contains(a);
        if (a == QLatin1String("--source-app") && !args.isEmpty()) {
            options.sourceApp = args.takeFirst();
        } else if (a.startsWith(QLatin1Char('-')) && !a.startsWith(QLatin1String("--")) && a.size() > 1) {
            if (qtOptionsWithValue.contains(a) && !args.isEmpty())
                args.removeFirst();
        } else if (!a.startsWith(QLatin1String("--"))) {
            options.urls << argumentToUrl(a);
        } else if (a == QLatin1String("--serve")) {
            options.serve = true;
        } else if (a == QLatin1String("--https")) {
            options.https = true;
        } else if (a == QLatin1String("--library") && !args.isEmpty()) {
            options.library = args.takeFirst();
        } else if (a == QLatin1String("--port") && !args.isEmpty()) {
            bool ok = false;
            options.port = args.takeFirst().toInt(&ok);
            if (!ok || options.port < 0 || options.port > 65535) {
                std::fprintf(stderr, "wavelocker: --port wants a number from 0 to 65535\n%s", kUsage);
                return std::nullopt;
            }
        } else if (a == QLatin1String("--password-file") && !args.isEmpty()) {
            options.password = readPassword(args.takeFirst());
            if (options.password.isEmpty()) {
                std::fprintf(stderr, "wavelocker: --password-file wants a readable file with the password on its first line\n%s", kUsage);
                return std::nullopt;
            }
        } else if (a == QLatin1String("--upload-quota") && !args.isEmpty()) {
            bool ok = false;
            options.uploadQuotaMB = args.takeFirst().toLongLong(&ok);
            if (!ok || options.uploadQuotaMB < 0 || options.uploadQuotaMB > (qint64(1) << 40)) {
                std::fprintf(stderr, "wavelocker: --upload-quota wants a number of megabytes (0: no limit)\n%s", kUsage);
                return std::nullopt;
            }
        } else {
            std::fprintf(stderr, "wavelocker: unknown argument %s\n%s", a.toLocal8Bit().constData(), kUsage);
            return std::nullopt;
        }
    }
    return options;
}

// Another instance runs: it takes the URLs, and this process ends with its answers. Nothing
// when that instance ended meanwhile and this process is now the one to run.
std::optional<int> handOverToRunningInstance(const Options& options, SingleInstance& instance)
{
    QString error;
    const std::optional<QList<bool>> answers = SingleInstance::handOver({options.urls, options.sourceApp}, &error);
    const qint64 pid = SingleInstance::ownerPid();
    if (!answers) {
        if (instance.claim())
            return std::nullopt;
        std::fprintf(stderr, "wavelocker: the running Wavelocker (process %lld) does not answer: %s\n", pid,
                     error.toLocal8Bit().constData());
        return 1;
    }
    int code = 0;
    for (qsizetype i = 0; i < answers->size(); ++i) {
        if (!(*answers)[i]) {
            std::fprintf(stderr, "wavelocker: %s was not handled\n", options.urls[i].toLocal8Bit().constData());
            code = 1;
        }
    }
    std::fprintf(stderr, "wavelocker: handed over to the running Wavelocker (process %lld)\n", pid);
    if (options.instanceOptions) {
        std::fprintf(stderr, "wavelocker: already running: --serve, --library and the web drive options apply only "
                             "when Wavelocker starts\n");
        code = 1;
    }
    return code;
}

}  // namespace

int main(int argc, char** argv)
{
    const QDateTime processStart = QDateTime::currentDateTime();
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const std::optional<Options> options = parse(arguments);
    if (!options)
        return kUsageExit;
    if (!options->library.isEmpty())
        Startup::setLibraryOverride(options->library);

    // Decided before any application object, so handing over needs no display.
    SingleInstance instance;
    if (!instance.claim()) {
        if (const std::optional<int> code = handOverToRunningInstance(*options, instance))
            return *code;
    }

    const bool serve = options->serve;
    if (!serve)
        platform::lv2::UiHost::initialize();  // before the display connection opens
    std::unique_ptr<QCoreApplication> app =
        serve ? std::make_unique<QCoreApplication>(argc, argv) : std::make_unique<QApplication>(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Orvenic"));
    platform::lv2::LoadCheck::setChecker(QCoreApplication::applicationDirPath() + QStringLiteral("/wavelocker-tool"));
    QCoreApplication::setApplicationName(QStringLiteral("Wavelocker"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PROJECT_VERSION_TEXT));

    Startup::registerDefaults();
    Startup::removeLeftovers(processStart);
    if (!serve) {
        MessageBoxAlerts::install();
        // Ties the window to the installed desktop entry (its name and icon in the shell).
        QGuiApplication::setDesktopFileName(QStringLiteral("wavelocker"));
    }

    platform::QuitSignals quitSignals([](int) { QCoreApplication::quit(); });
    // Headless, the start is AppDelegate's alone: no screen is made or reached.
    const std::unique_ptr<AppDelegate> delegate =
        serve ? std::make_unique<AppDelegate>(AppDelegate::Mode::Headless) : std::make_unique<AppWindow>();
    // Listening before the start: a later process connects at once and waits for its answer.
    HandOverServer handOvers([&delegate](const HandOver& request, const HandOverServer::Answer& answer) {
        delegate->openURLs(request, answer);
    });
    handOvers.listen(SingleInstance::socketPath());
    delegate->didFinishLaunching();
    if (serve) {
        platform::log(QStringLiteral("Serving the library at %1").arg(Utils::documentsURL()));
        delegate->webUploader()->setUploadQuota(options->uploadQuotaMB * kMegabyte);
        // Without the options, what the WiFi drive screen keeps holds.
        if (!options->password.isEmpty())
            delegate->webUploader()->setPassword(options->password);
        if (options->https)
            delegate->webUploader()->setUsesHttps(true);
        // The empty Bonjour name publishes under this machine's name; the server logs its address.
        const int port = options->port >= 0 ? options->port : GCDWebServer::preferredPort();
        if (!delegate->webUploader()->startWithPort(port, QStringLiteral("")))
            return 1;
    }
    if (!options->urls.isEmpty()) {
        QTimer::singleShot(0, delegate.get(), [&delegate, &options] {
            delegate->openURLs({options->urls, options->sourceApp}, [](const QList<bool>&) {});
        });
    }
    return app->exec();
}
