#include "shell/HandOverServer.h"

#include "platform/Log.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QTimer>
#include <QVariant>

namespace {
// A client that sends nothing for this long is dropped.
constexpr int kIdleClientMs = 10000;
const char* const kBufferProperty = "handOverBuffer";
}  // namespace

HandOverServer::HandOverServer(Handler handler, QObject* parent)
    : QObject(parent), mHandler(std::move(handler)), mServer(new QLocalServer(this))
{
    mServer->setSocketOptions(QLocalServer::UserAccessOption);
    connect(mServer, &QLocalServer::newConnection, this, &HandOverServer::accept);
}

// Closing removes the socket file, so nobody connects to an instance that ended.
HandOverServer::~HandOverServer() { mServer->close(); }

bool HandOverServer::listen(const QString& path)
{
    QLocalServer::removeServer(path);
    if (!mServer->listen(path)) {
        platform::log(QStringLiteral("Could not listen on %1: %2").arg(path, mServer->errorString()));
        return false;
    }
    return true;
}

void HandOverServer::accept()
{
    while (QLocalSocket* socket = mServer->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        auto* idle = new QTimer(socket);
        idle->setSingleShot(true);
        connect(idle, &QTimer::timeout, socket, [socket] { socket->abort(); });
        idle->start(kIdleClientMs);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readFrom(socket); });
        readFrom(socket);
    }
}

void HandOverServer::readFrom(QLocalSocket* socket)
{
    QByteArray buffer = socket->property(kBufferProperty).toByteArray() + socket->readAll();
    bool bad = false;
    const std::optional<QByteArray> body = HandOver::takeFrame(buffer, &bad);
    socket->setProperty(kBufferProperty, buffer);
    if (bad) {
        socket->abort();
        return;
    }
    if (!body)
        return;
    // One request per connection.
    disconnect(socket, &QLocalSocket::readyRead, this, nullptr);
    socket->setProperty(kBufferProperty, QVariant());
    if (auto* idle = socket->findChild<QTimer*>())
        idle->stop();
    const std::optional<HandOver> request = HandOver::decode(*body);
    if (!request) {
        platform::log(QStringLiteral("Ignored a hand-over that is not one"));
        socket->abort();
        return;
    }
    mHandler(*request, [client = QPointer(socket)](const QList<bool>& answers) {
        // The asker may have gone; its URLs were handled all the same.
        if (!client)
            return;
        client->write(HandOver::frame(HandOver::encodeAnswers(answers)));
        client->disconnectFromServer();
    });
}
