#include "wifidrive/GCDWebServer.h"

#include "platform/Dispatch.h"
#include "platform/Log.h"
#include "platform/Settings.h"
#include "platform/NetworkAddress.h"
#include "wifidrive/GCDWebServerDelegate.h"

#include <QPointer>
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
    QList<int> ports{port};
    if (port == kDefaultPort)
        ports << kFallbackPort;
    if (port != 0)
        ports << 0;
    if (!mHttp.start(mBindAddress, ports)) {
        platform::log(QStringLiteral("Web server failed starting on port %1").arg(port));
        return false;
    }
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
    return port() == kDefaultPort ? QStringLiteral("http://%1/").arg(host)
                                  : QStringLiteral("http://%1:%2/").arg(host).arg(port());
}

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
