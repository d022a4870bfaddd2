#pragma once
#include "shell/HandOver.h"

#include <QObject>
#include <functional>

class QLocalServer;
class QLocalSocket;

// The running instance's end of the hand-over socket: reads one request per connection and
// sends back the answers when the handler gives them.
class HandOverServer : public QObject {
    Q_OBJECT
public:
    using Answer = std::function<void(const QList<bool>& answers)>;
    using Handler = std::function<void(const HandOver& request, const Answer& answer)>;

    explicit HandOverServer(Handler handler, QObject* parent = nullptr);
    ~HandOverServer() override;

    // Listens at path, replacing what a gone instance left there (the caller holds the
    // instance lock). False, logged, when it can't; the program then runs alone.
    bool listen(const QString& path);

private:
    void accept();
    void readFrom(QLocalSocket* socket);

    Handler mHandler;
    QLocalServer* mServer;
};
