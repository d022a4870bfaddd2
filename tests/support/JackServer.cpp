#include "support/JackServer.h"

#include <QCoreApplication>
#include <QUuid>
#include <csignal>
#include <sys/prctl.h>

namespace testsupport {
namespace {
// Generous: on a loaded machine (a build beside the tests) jackd can take many seconds to come up.
constexpr int kWaitSeconds = 20;
constexpr int kStartAttempts = 3;
}

JackServer::JackServer(int periodFrames, int sampleRate)
    : mName(QStringLiteral("wltest-%1-%2")
                .arg(QCoreApplication::applicationPid())
                .arg(QUuid::createUuid().toString(QUuid::Id128).left(8))),
      mPeriod(periodFrames),
      mRate(sampleRate)
{
}

JackServer::~JackServer() { stop(); }

bool JackServer::start()
{
    if (isRunning())
        return true;
    for (int attempt = 1; attempt <= kStartAttempts; ++attempt) {
        if (startOnce())
            return true;
        if (mServer)
            qWarning("jackd did not come up (attempt %d): %s", attempt, mServer->readAll().constData());
        stop();
    }
    return false;
}

bool JackServer::startOnce()
{
    mServer = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("JACK_NO_AUDIO_RESERVATION"), QStringLiteral("1"));
    mServer->setProcessEnvironment(env);
    mServer->setProcessChannelMode(QProcess::MergedChannels);
    // A test killed by its time limit takes its server with it.
    mServer->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    mServer->start(QStringLiteral("jackd"),
                   {QStringLiteral("-n"), mName, QStringLiteral("--no-realtime"), QStringLiteral("-d"),
                    QStringLiteral("dummy"), QStringLiteral("-r"), QString::number(mRate), QStringLiteral("-p"),
                    QString::number(mPeriod)});
    if (!mServer->waitForStarted(kWaitSeconds * 1000))
        return false;
    bool ok = false;
    runClient(QStringLiteral("jack_wait"),
              {QStringLiteral("-s"), mName, QStringLiteral("-w"), QStringLiteral("-t"), QString::number(kWaitSeconds)},
              &ok);
    if (!ok || !isRunning())
        return false;
    qputenv("JACK_DEFAULT_SERVER", mName.toUtf8());
    return true;
}

void JackServer::stop()
{
    if (!mServer)
        return;
    // A server that ended by itself says why: a test that lost it mid-way otherwise shows
    // only its clients' complaints.
    if (mServer->state() == QProcess::NotRunning && mServer->exitStatus() == QProcess::CrashExit)
        qWarning("jackd crashed: %s", mServer->readAll().constData());
    else if (mServer->state() == QProcess::NotRunning && mServer->exitCode() != 0)
        qWarning("jackd ended with %d: %s", mServer->exitCode(), mServer->readAll().constData());
    if (mServer->state() != QProcess::NotRunning) {
        mServer->terminate();
        if (!mServer->waitForFinished(5000)) {
            mServer->kill();
            mServer->waitForFinished(2000);
        }
    }
    mServer.reset();
}

bool JackServer::isRunning() const { return mServer && mServer->state() == QProcess::Running; }

QByteArray JackServer::runClient(const QString& program, const QStringList& args, bool* ok) const
{
    QProcess p;
    p.start(program, args);
    const bool finished = p.waitForFinished((kWaitSeconds + 5) * 1000);
    if (ok)
        *ok = finished && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    return p.readAllStandardOutput();
}

bool JackServer::connect(const QString& from, const QString& to) const
{
    bool ok = false;
    runClient(QStringLiteral("jack_connect"), {QStringLiteral("-s"), mName, from, to}, &ok);
    return ok;
}

bool JackServer::disconnect(const QString& from, const QString& to) const
{
    bool ok = false;
    runClient(QStringLiteral("jack_disconnect"), {QStringLiteral("-s"), mName, from, to}, &ok);
    return ok;
}

QStringList JackServer::ports() const
{
    const QString out = QString::fromUtf8(runClient(QStringLiteral("jack_lsp"), {QStringLiteral("-s"), mName}));
    return out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QStringList JackServer::connections(const QString& port) const
{
    // jack_lsp -c lists each port followed by its peers indented by three blanks.
    const QString out =
        QString::fromUtf8(runClient(QStringLiteral("jack_lsp"), {QStringLiteral("-s"), mName, QStringLiteral("-c"), port}));
    QStringList peers;
    for (const QString& line : out.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        if (line.startsWith(QLatin1String("   ")))
            peers << line.trimmed();
    return peers;
}

}  // namespace testsupport
