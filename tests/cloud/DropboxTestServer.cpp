#include "DropboxTestServer.h"

#include "support/BuildPaths.h"
#include "support/TempTree.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QThread>

namespace testsupport {
namespace {
constexpr int kStartTimeoutMs = 60000;

QByteArray httpCall(const QString& method, const QUrl& url, const QByteArray& body)
{
    QNetworkAccessManager network;
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    QNetworkReply* reply = method == QLatin1String("POST") ? network.post(request, body) : network.get(request);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    const QByteArray answer = reply->error() == QNetworkReply::NoError ? reply->readAll() : QByteArray();
    reply->deleteLater();
    return answer;
}

bool waitForLine(QProcess& process, QByteArray& line, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!process.canReadLine()) {
        if (timer.elapsed() > timeoutMs || !process.waitForReadyRead(1000)) {
            if (timer.elapsed() > timeoutMs || process.state() != QProcess::Running)
                return false;
        }
    }
    line = process.readLine().trimmed();
    return true;
}
}  // namespace

DropboxTestServer::DropboxTestServer(const QString& token) : mToken(token)
{
    QDir().mkpath(root());
    QStringList args = {(testsupport::sourceDir() + QStringLiteral("/tests/cloud/dropbox_test_server.py")), QStringLiteral("--root"), root(),
                        QStringLiteral("--app-key"), QString::fromLatin1(kAppKey)};
    if (!token.isEmpty())
        args << QStringLiteral("--token") << token;
    mProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    mProcess.start(QStringLiteral("python3"), args);
    QByteArray line;
    if (!mProcess.waitForStarted(kStartTimeoutMs) || !waitForLine(mProcess, line, kStartTimeoutMs)
        || !line.startsWith("PORT "))
        return;
    mPort = quint16(line.mid(5).toUInt());
    for (const QString& pair : environment()) {
        const int eq = pair.indexOf(QLatin1Char('='));
        qputenv(pair.left(eq).toLatin1(), pair.mid(eq + 1).toUtf8());
    }
    if (token.isEmpty())
        qunsetenv("WAVELOCKER_DROPBOX_TOKEN");
}

DropboxTestServer::~DropboxTestServer()
{
    for (const char* name : {"WAVELOCKER_DROPBOX_API_URL", "WAVELOCKER_DROPBOX_CONTENT_URL", "WAVELOCKER_DROPBOX_AUTH_URL",
                             "WAVELOCKER_DROPBOX_APP_KEY", "WAVELOCKER_DROPBOX_TOKEN"})
        qunsetenv(name);
    mProcess.closeWriteChannel();  // the server ends when its input closes
    if (!mProcess.waitForFinished(5000)) {
        mProcess.kill();
        mProcess.waitForFinished(5000);
    }
}

QStringList DropboxTestServer::environment() const
{
    QStringList env = {QStringLiteral("WAVELOCKER_DROPBOX_API_URL=") + url(),
                       QStringLiteral("WAVELOCKER_DROPBOX_CONTENT_URL=") + url(),
                       QStringLiteral("WAVELOCKER_DROPBOX_AUTH_URL=") + url(),
                       QStringLiteral("WAVELOCKER_DROPBOX_APP_KEY=") + QString::fromLatin1(kAppKey)};
    if (!mToken.isEmpty())
        env << QStringLiteral("WAVELOCKER_DROPBOX_TOKEN=") + mToken;
    return env;
}

bool DropboxTestServer::control(const QJsonObject& settings)
{
    return !httpCall(QStringLiteral("POST"), QUrl(url() + QStringLiteral("/__control")),
                     QJsonDocument(settings).toJson(QJsonDocument::Compact))
                .isEmpty();
}

QJsonObject DropboxTestServer::stats()
{
    return QJsonDocument::fromJson(httpCall(QStringLiteral("GET"), QUrl(url() + QStringLiteral("/__stats")), {})).object();
}

SecretServiceFixture::SecretServiceFixture()
{
    mOldAddress = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    mBus.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                               QStringLiteral("--print-address=1")});
    QByteArray line;
    if (!mBus.waitForStarted(kStartTimeoutMs) || !waitForLine(mBus, line, kStartTimeoutMs) || line.isEmpty()) {
        qWarning("no session bus: %s", qPrintable(mBus.errorString()));
        return;
    }
    mAddress = QString::fromUtf8(line);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), mAddress);
    // The keyring files go to a folder of the test's own.
    env.insert(QStringLiteral("XDG_DATA_HOME"), mDir.path());
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), mDir.path());
    // The daemon leaves its starter at once and ends with the bus it serves.
    QProcess keyring;
    keyring.setProcessEnvironment(env);
    keyring.start(QStringLiteral("gnome-keyring-daemon"),
                  {QStringLiteral("--daemonize"), QStringLiteral("--unlock"), QStringLiteral("--components=secrets")});
    if (!keyring.waitForStarted(kStartTimeoutMs)) {
        qWarning("no keyring daemon: %s", qPrintable(keyring.errorString()));
        return;
    }
    keyring.write("test-keyring-password");
    keyring.closeWriteChannel();
    keyring.waitForFinished(kStartTimeoutMs);
    qputenv("DBUS_SESSION_BUS_ADDRESS", mAddress.toUtf8());
    // Ready once the daemon owns its name on the bus.
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < kStartTimeoutMs) {
        QProcess probe;
        probe.setProcessEnvironment(env);
        probe.start(QStringLiteral("dbus-send"),
                    {QStringLiteral("--session"), QStringLiteral("--print-reply"), QStringLiteral("--dest=org.freedesktop.DBus"),
                     QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus.NameHasOwner"),
                     QStringLiteral("string:org.freedesktop.secrets")});
        probe.waitForFinished(10000);
        const QByteArray answer = probe.readAllStandardOutput();
        if (answer.contains("boolean true")) {
            mRunning = true;
            return;
        }
        QThread::msleep(100);
    }
    QProcess probe;
    probe.setProcessEnvironment(env);
    probe.start(QStringLiteral("dbus-send"), {QStringLiteral("--session"), QStringLiteral("--print-reply"), QStringLiteral("--dest=org.freedesktop.DBus"),
                     QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus.ListNames")});
    probe.waitForFinished(10000);
    qWarning("the keyring daemon did not appear on the bus (%s): %s %s", keyring.exitCode() == 0 ? "started" : "failed",
             probe.readAllStandardOutput().constData(), probe.readAllStandardError().constData());
}

SecretServiceFixture::~SecretServiceFixture()
{
    for (QProcess* p : {&mBus}) {
        if (p->state() == QProcess::NotRunning)
            continue;
        p->terminate();
        if (!p->waitForFinished(5000)) {
            p->kill();
            p->waitForFinished(5000);
        }
    }
    if (mOldAddress.isEmpty())
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    else
        qputenv("DBUS_SESSION_BUS_ADDRESS", mOldAddress);
}

}  // namespace testsupport
