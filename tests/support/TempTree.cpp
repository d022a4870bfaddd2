#include "support/TempTree.h"

#include "library/Utils.h"
#include "platform/Alerts.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/Settings.h"
#include "support/BuildPaths.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QThread>

namespace testsupport {

TempTree::TempTree()
{
    for (const char* sub : {"data", "cache", "config", "run"})
        QDir().mkpath(path(QLatin1String(sub)));
    // The programs a test starts find their running instance here, not another test's.
    QFile::setPermissions(path(QStringLiteral("run")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(path(QStringLiteral("run"))));
    qputenv("XDG_DATA_HOME", QFile::encodeName(path(QStringLiteral("data"))));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(path(QStringLiteral("cache"))));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(path(QStringLiteral("config"))));
    qunsetenv("WAVELOCKER_LIBRARY");
    platform::Locations::setLibraryOverride({});
    platform::Settings::reload();
    Utils::resetCachedLocations();
    Utils::clearLastNewFile();
}

TempTree::~TempTree()
{
    platform::Settings::reload();
    Utils::resetCachedLocations();
}

QString TempTree::library() const { return Utils::documentsURL(); }

LogCapture::LogCapture()
{
    platform::setLogSink([this](const QString& line) {
        std::lock_guard lock(mMutex);
        mLines << line;
    });
}

LogCapture::~LogCapture() { platform::setLogSink({}); }

QStringList LogCapture::lines() const
{
    std::lock_guard lock(mMutex);
    return mLines;
}

AlertCapture::AlertCapture()
{
    platform::setAlertPresenter([this](const QString& title, const QString& message, QObject*) {
        std::lock_guard lock(mMutex);
        mAlerts << title + QLatin1Char('|') + message;
    });
}

AlertCapture::~AlertCapture() { platform::setAlertPresenter({}); }

QStringList AlertCapture::alerts() const
{
    std::lock_guard lock(mMutex);
    return mAlerts;
}

bool waitUntil(const std::function<bool()>& pred, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!pred()) {
        if (deadline.hasExpired())
            return pred();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        // processEvents alone never runs deleteLater() at the top loop level.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(2);
    }
    return true;
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

QByteArray readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

RunResult runProgram(const QString& name, const QStringList& args, const QStringList& extraEnv, int timeoutMs)
{
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString& kv : extraEnv) {
        const qsizetype eq = kv.indexOf(QLatin1Char('='));
        env.insert(kv.left(eq), kv.mid(eq + 1));
    }
    p.setProcessEnvironment(env);
    p.start((testsupport::binDir() + QStringLiteral("/")) + name, args);
    RunResult r;
    if (!p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished();
        return r;
    }
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
}

}  // namespace testsupport
