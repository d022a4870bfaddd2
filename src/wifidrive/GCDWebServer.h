#pragma once
#include "platform/HttpServer.h"
#include "platform/ServiceRegistration.h"

#include <QObject>
#include <QString>
#include <mutex>

class GCDWebServerDelegate;

// The embedded web server: routes on a port of this machine, optionally published with
// Bonjour, with its address for people to type. Started and stopped on the main thread.
class GCDWebServer : public QObject {
    Q_OBJECT
public:
    static constexpr int kDefaultPort = 80;
    // Where an unprivileged user lands when port 80 is refused; after it, any free port.
    static constexpr int kFallbackPort = 8080;
    // With HTTPS, port 80 stands for 443, and 8443 takes 8080's place.
    static constexpr int kSecurePort = 443;
    static constexpr int kSecureFallbackPort = 8443;
    // The settings key of the port the user chose for the drive; kDefaultPort when unset.
    static constexpr const char* kPortSetting = "WebServerPort";
    static int preferredPort();

    explicit GCDWebServer(QObject* parent = nullptr);
    ~GCDWebServer() override;

    // Process-wide, like the server's other log settings; 2 logs start, stop and refusals.
    static void setLogLevel(int level);
    static int logLevel();

    void setDelegate(GCDWebServerDelegate* delegate) { mDelegate = delegate; }
    GCDWebServerDelegate* delegate() const { return mDelegate; }
    // All interfaces unless set (tests keep to the loopback interface).
    void setBindAddress(const QString& address) { mBindAddress = address; }
    // HTTPS from the next start, with a self-signed certificate made on first use and kept
    // in the app's Library folder.
    void setUsesHttps(bool on) { mUsesHttps = on; }
    // How long a request may wait on a client that sends or takes too few bytes (from the next start).
    void setTransferWindow(int seconds) { mHttp.setTransferWindow(seconds); }
    bool usesHttps() const { return mUsesHttps; }
    // The running server's certificate fingerprint (SHA-256), empty without HTTPS.
    QString certificateFingerprint() const;
    static QString certificatePath();
    static QString keyPath();

    // A null bonjourName publishes nothing; an empty one publishes under the host name.
    bool startWithPort(int port, const QString& bonjourName);
    void stop();
    // Why the last start failed, for people to read; empty after a start that succeeded.
    QString startFailure() const { return mStartFailure; }
    bool isRunning() const { return mHttp.isRunning(); }
    int port() const { return mHttp.port(); }
    // "http://ADDRESS/" (with ":PORT" unless 80; "https://" and 443 with HTTPS); empty
    // without a local network.
    QString serverURL() const;
    // "http://HOST.local/" once Bonjour registration completed; empty before.
    QString bonjourServerURL() const;

protected:
    platform::HttpServer& http() { return mHttp; }
    const platform::HttpServer& http() const { return mHttp; }
    // Called before every start; subclasses install their routes here.
    virtual void prepareToStart() {}

private:
    QString urlFor(const QString& host) const;
    void bonjourRegistered(const QString& hostName);

    platform::HttpServer mHttp;
    platform::ServiceRegistration mBonjour;
    GCDWebServerDelegate* mDelegate = nullptr;
    QString mBindAddress = QStringLiteral("0.0.0.0");
    bool mUsesHttps = false;
    QString mFingerprint;  // main thread
    QString mStartFailure;  // main thread
    mutable std::mutex mMutex;
    QString mBonjourHost;
};
