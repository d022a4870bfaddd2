#pragma once
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace testsupport {

// The local Dropbox stand-in (dropbox_test_server.py) with an account folder of its own.
// While it lives, the client's base URLs, app key and (when given) access token point at it.
class DropboxTestServer {
public:
    static constexpr const char* kAppKey = "testkey";

    // token: an access token the server accepts and the client uses (WAVELOCKER_DROPBOX_TOKEN);
    // empty to leave the account to the secret store.
    explicit DropboxTestServer(const QString& token = QStringLiteral("env-token"));
    ~DropboxTestServer();

    bool isRunning() const { return mPort > 0; }
    quint16 port() const { return mPort; }
    QString url() const { return QStringLiteral("http://127.0.0.1:%1").arg(mPort); }
    // The account's files, as a folder: put files here to have them on "Dropbox".
    QString root() const { return mDir.path() + QStringLiteral("/root"); }
    QString account(const QString& dropboxPath) const { return root() + dropboxPath; }
    // The environment a program of ours needs to talk to this server.
    QStringList environment() const;

    // Steers faults (see the script); answers false when the server did not take it.
    bool control(const QJsonObject& settings);
    QJsonObject stats();

private:
    QTemporaryDir mDir;
    QProcess mProcess;
    quint16 mPort = 0;
    QString mToken;
};

// A private Secret Service: its own D-Bus session bus and an unlocked gnome-keyring in a
// temporary folder, set as this process's session bus while it lives. The keyring daemon
// ends when its bus does.
class SecretServiceFixture {
public:
    SecretServiceFixture();
    ~SecretServiceFixture();
    bool isRunning() const { return mRunning; }
    QString busAddress() const { return mAddress; }
    QString keyringFolder() const { return mDir.path(); }

private:
    QTemporaryDir mDir;
    QProcess mBus;
    QString mAddress;
    QByteArray mOldAddress;
    bool mRunning = false;
};

}  // namespace testsupport
