#include "wifidrive/GCDWebServer.h"

#include "platform/Dispatch.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/Settings.h"
#include "platform/NetworkAddress.h"
#include "platform/TlsContext.h"
#include "wifidrive/GCDWebServerDelegate.h"

#include <QFileInfo>
#include <QPointer>
#include <QSysInfo>
#include <atomic>

namespace {

const QString kServiceType = QStringLiteral("_http._tcp");
std::atomic<int> gLogLevel{platform::HttpServer::Info};

}  // namespace

GCDWebServer::GCDWebServer(QObject* parent) : QObject(parent) {}

GCDWebServer::~GCDWebServer()
{
    mBonjour.withdraw();
    mHttp.stop();
}

void GCDWebServer::setLogLevel(int level) { gLogLevel = level; }
int GCDWebServer::logLevel() { return gLogLevel; }

int GCDWebServer::preferredPort()
{
    bool ok = false;
    const int port = platform::Settings::value(QLatin1String(kPortSetting)).toInt(&ok);
    return ok ? port : kDefaultPort;
}

bool GCDWebServer::startWithPort(int port, const QString& bonjourName)
{
    if (isRunning())
        return true;
    prepareToStart();
    mHttp.setLogLevel(gLogLevel);
    std::shared_ptr<platform::TlsContext> tls;
    if (mUsesHttps) {
        const QString machine = QSysInfo::machineHostName();
        tls = platform::TlsContext::loadOrCreate(certificatePath(), keyPath(),
                                                 {machine, machine + QStringLiteral(".local"), QStringLiteral("localhost"),
                                                  QStringLiteral("127.0.0.1"), platform::primaryIPv4Address()});
        if (!tls) {
            mStartFailure = QStringLiteral("No certificate for HTTPS could be made or read in %1.")
                                .arg(QFileInfo(certificatePath()).path());
            platform::log(QStringLiteral("Web server failed starting: no certificate for HTTPS"));
            return false;
        }
    }
    mHttp.setTls(tls);
    mFingerprint = tls ? tls->fingerprint() : QString();
    QList<int> ports{port == kDefaultPort && tls ? kSecurePort : port};
    if (port == kDefaultPort)
        ports << (tls ? kSecureFallbackPort : kFallbackPort);
    if (port != 0)
        ports << 0;
    if (!mHttp.start(mBindAddress, ports)) {
        mStartFailure = QStringLiteral("No port could be opened on %1 (port %2 and the ports tried after it are taken or not allowed).")
                            .arg(mBindAddress)
                            .arg(ports.front());
        platform::log(QStringLiteral("Web server failed starting on port %1").arg(port));
        return false;
    }
    mStartFailure.clear();
    if (gLogLevel <= platform::HttpServer::Info) {
        const QString url = serverURL();
        platform::log(url.isEmpty() ? QStringLiteral("Web server started on port %1 without a local network").arg(this->port())
                                    : QStringLiteral("Web server started on port %1 and reachable at %2").arg(this->port()).arg(url));
    }
    if (!bonjourName.isNull()) {
        QPointer<GCDWebServer> self(this);
        mBonjour.publish(bonjourName, kServiceType, quint16(this->port()), [self](const QString& host) {
            platform::runOnMain([self, host] {
                if (self)
                    self->bonjourRegistered(host);
            });
        });
    }
    if (mDelegate)
        mDelegate->webServerDidStart(this);
    return true;
}

void GCDWebServer::stop()
{
    if (!isRunning())
        return;
    mBonjour.withdraw();
    mHttp.stop();
    {
        std::lock_guard lock(mMutex);
        mBonjourHost.clear();
    }
    if (gLogLevel <= platform::HttpServer::Info)
        platform::log(QStringLiteral("Web server stopped"));
    if (mDelegate)
        mDelegate->webServerDidStop(this);
}

void GCDWebServer::bonjourRegistered(const QString& hostName)
{
    if (!isRunning() || hostName.isEmpty())
        return;
    {
        std::lock_guard lock(mMutex);
        mBonjourHost = hostName;
    }
    if (gLogLevel <= platform::HttpServer::Info)
        platform::log(QStringLiteral("Web server now locally reachable at %1").arg(bonjourServerURL()));
    if (mDelegate)
        mDelegate->webServerDidCompleteBonjourRegistration(this);
}

QString GCDWebServer::urlFor(const QString& host) const
{
    if (!isRunning() || host.isEmpty())
        return {};
    const bool secure = mHttp.usesTls();
    const QString scheme = secure ? QStringLiteral("https") : QStringLiteral("http");
    return port() == (secure ? kSecurePort : kDefaultPort) ? QStringLiteral("%1://%2/").arg(scheme, host)
                                                           : QStringLiteral("%1://%2:%3/").arg(scheme, host).arg(port());
}

QString GCDWebServer::certificateFingerprint() const { return isRunning() ? mFingerprint : QString(); }

QString GCDWebServer::certificatePath()
{
    return platform::Locations::appLibrary() + QStringLiteral("/WiFi Drive/certificate.pem");
}

QString GCDWebServer::keyPath() { return platform::Locations::appLibrary() + QStringLiteral("/WiFi Drive/key.pem"); }

QString GCDWebServer::serverURL() const
{
    const bool allInterfaces = mBindAddress == QLatin1String("0.0.0.0");
    return urlFor(allInterfaces ? platform::primaryIPv4Address() : mBindAddress);
}

QString GCDWebServer::bonjourServerURL() const
{
    std::lock_guard lock(mMutex);
    return urlFor(mBonjourHost);
}
