#pragma once
#include <QProcess>
#include <QString>
#include <QStringList>
#include <memory>

namespace testsupport {

// A private JACK server for one test: `jackd --no-realtime -d dummy` under a name of its own,
// made the process's default server (JACK_DEFAULT_SERVER) while it runs. The dummy driver's
// capture ports give silence and its playback ports swallow audio; time runs in real time.
class JackServer {
public:
    explicit JackServer(int periodFrames = 512, int sampleRate = 44100);
    ~JackServer();
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;

    // Starts the server and waits until clients can connect.
    bool start();
    // Ends the server the way a crash or a user would: its clients see it go.
    void stop();
    bool isRunning() const;
    const QString& name() const { return mName; }

    // Routing through the server's own command-line clients.
    bool connect(const QString& from, const QString& to) const;
    bool disconnect(const QString& from, const QString& to) const;
    QStringList connections(const QString& port) const;  // peers of one port
    QStringList ports() const;

private:
    bool startOnce();
    QByteArray runClient(const QString& program, const QStringList& args, bool* ok = nullptr) const;

    QString mName;
    int mPeriod;
    int mRate;
    std::unique_ptr<QProcess> mServer;
};

}  // namespace testsupport
