// wavelocker: the application window, or with --serve the same start without a display.
#include "library/Utils.h"
#include "platform/Log.h"
#include "platform/QuitSignals.h"
#include "shell/AppDelegate.h"
#include "shell/screens/AppWindow.h"
#include "shell/Startup.h"
#include "ui/screens/MessageBoxAlerts.h"
#include "wifidrive/MyWebUploader.h"

#include <QDateTime>
#include <QApplication>
#include <QFile>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

constexpr int kUsageExit = 2;
const char* const kUsage = "usage: wavelocker [--library DIR] [--serve [--port N] [--upload-quota MB] [--password-file FILE] [--https]]\n";
constexpr qint64 kMegabyte = 1024 * 1024;

struct Options {
    bool serve = false;
    QString library;
    int port = GCDWebServer::kDefaultPort;
    qint64 uploadQuotaMB = 0;
    QString password;
    bool https = false;
};

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

// The application object depends on --serve, so it is looked for before Qt sees argv.
bool wantsServe(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--serve") == 0)
            return true;
    return false;
}

std::optional<Options> parse(QStringList args)
{
    Options options;
    args.removeFirst();
    while (!args.isEmpty()) {
        const QString a = args.takeFirst();
        if (a == QLatin1String("--serve")) {
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

}  // namespace

int main(int argc, char** argv)
{
    const QDateTime processStart = QDateTime::currentDateTime();
    const bool serve = wantsServe(argc, argv);
    std::unique_ptr<QCoreApplication> app =
        serve ? std::make_unique<QCoreApplication>(argc, argv) : std::make_unique<QApplication>(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Orvenic"));
    QCoreApplication::setApplicationName(QStringLiteral("Wavelocker"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PROJECT_VERSION_TEXT));

    const std::optional<Options> options = parse(QCoreApplication::arguments());
    if (!options)
        return kUsageExit;
    if (!options->library.isEmpty())
        Startup::setLibraryOverride(options->library);
    Startup::registerDefaults();
    Startup::removeLeftovers(processStart);
    if (!serve)
        MessageBoxAlerts::install();

    platform::QuitSignals quitSignals([](int) { QCoreApplication::quit(); });
    // Headless, the start is AppDelegate's alone: no screen is made or reached.
    const std::unique_ptr<AppDelegate> delegate =
        serve ? std::make_unique<AppDelegate>(AppDelegate::Mode::Headless) : std::make_unique<AppWindow>();
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
        if (!delegate->webUploader()->startWithPort(options->port, QStringLiteral("")))
            return 1;
    }
    return app->exec();
}
