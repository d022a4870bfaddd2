#include "platform/lv2/Lv2LoadCheck.h"

#include "platform/Background.h"
#include "platform/Log.h"
#include "platform/Settings.h"
#include "platform/lv2/Lv2World.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QHash>
#include <QPointer>
#include <QProcess>
#include <atomic>
#include <mutex>

namespace platform::lv2::LoadCheck {
namespace {

constexpr const char* kCheckedKey = "LV2CheckedPlugins";  // URI -> stamp of the code that ran
constexpr int kTimeoutMs = 20000;

std::mutex gMutex;
QString gChecker;
QHash<QString, QString> gRefused;  // URI -> stamp of code that refused to load in the child, this run

QString stampOf(const PluginInfo& plugin)
{
    const QFileInfo code(plugin.binaryPath);
    return QStringLiteral("%1|%2|%3")
        .arg(code.absoluteFilePath())
        .arg(code.size())
        .arg(code.lastModified().toMSecsSinceEpoch());
}

struct Outcome {
    Result result = Result::Unchecked;
    QString reason;
};

// Runs the child and reads its end; touches nothing shared, so it runs on any thread.
std::atomic<bool> gStopping{false};

Outcome runChild(const QString& checker, const QString& uri, const QString& name, double sampleRate, uint32_t frames)
{
    QProcess child;
    child.start(checker, {QStringLiteral("check-unit"), uri, QStringLiteral("--rate"), QString::number(sampleRate),
                          QStringLiteral("--frames"), QString::number(frames)});
    if (!child.waitForStarted()) {
        log(QStringLiteral("Could not start %1 to check %2").arg(checker, uri));
        return {};
    }
    // In short waits, so that a program quitting meanwhile need not wait out a hanging plugin.
    QElapsedTimer waited;
    waited.start();
    bool finished = false;
    while (!(finished = child.waitForFinished(200)) && !gStopping.load() && waited.elapsed() < kTimeoutMs) {
    }
    if (!finished) {
        child.kill();
        child.waitForFinished();
        if (gStopping.load())
            return {};
        return {Result::TimedOut, QStringLiteral("%1 did not finish loading in %2 seconds").arg(name).arg(kTimeoutMs / 1000)};
    }
    if (child.exitStatus() == QProcess::CrashExit)
        return {Result::Crashed, QStringLiteral("%1 crashed while it was being loaded").arg(name)};
    if (child.exitCode() != 0)
        return {Result::Fails, QString::fromLocal8Bit(child.readAllStandardError()).trimmed()};
    return {Result::Runs, {}};
}

// What the child's end means from now on: a plugin that crashed or hung is left out, one that
// ran is not checked again while its code stays the same.
void record(const QString& uri, const QString& stamp, const Outcome& outcome)
{
    if (outcome.result == Result::Crashed || outcome.result == Result::TimedOut) {
        World::shared().skip(uri, outcome.reason);
    } else if (outcome.result == Result::Fails) {
        // It fails here as well, with its own reason; asking the child again tells nothing new.
        std::lock_guard lock(gMutex);
        gRefused.insert(uri, stamp);
    } else if (outcome.result == Result::Runs) {
        // Read again: the child wrote to the same settings while it ran.
        Settings::sync();
        QVariantMap checked = Settings::value(QLatin1String(kCheckedKey)).toMap();
        checked.insert(uri, stamp);
        Settings::setValue(QLatin1String(kCheckedKey), checked);
    }
}

QString checkerNow()
{
    std::lock_guard lock(gMutex);
    return gChecker;
}

struct Waiter {
    QPointer<QObject> context;
    std::function<void(Result, const QString&)> done;
};
QHash<QString, QList<Waiter>> gWaiting;  // URI -> who waits for its running check; main thread only

bool refused(const PluginInfo& plugin)
{
    std::lock_guard lock(gMutex);
    return gRefused.value(plugin.uri) == stampOf(plugin);
}

}  // namespace

void setChecker(const QString& program)
{
    std::lock_guard lock(gMutex);
    gChecker = program;
    gStopping.store(false);
}

bool isChecked(const PluginInfo& plugin)
{
    return checkerNow().isEmpty() || refused(plugin) ||
           Settings::value(QLatin1String(kCheckedKey)).toMap().value(plugin.uri).toString() == stampOf(plugin);
}

Result check(const PluginInfo& plugin, double sampleRate, uint32_t frames, QString* reason)
{
    const QString checker = checkerNow();
    if (checker.isEmpty())
        return Result::Unchecked;
    if (refused(plugin))
        return Result::Fails;
    if (isChecked(plugin))
        return Result::Runs;
    log(QStringLiteral("Checking %1 in a separate process").arg(plugin.uri));
    const Outcome outcome = runChild(checker, plugin.uri, plugin.name, sampleRate, frames);
    record(plugin.uri, stampOf(plugin), outcome);
    if (reason)
        *reason = outcome.reason;
    return outcome.result;
}

void checkInBackground(const PluginInfo& plugin, double sampleRate, uint32_t frames, QObject* context,
                       std::function<void(Result, const QString& reason)> done)
{
    const QString checker = checkerNow();
    if (checker.isEmpty() || isChecked(plugin)) {
        done(checker.isEmpty() ? Result::Unchecked : refused(plugin) ? Result::Fails : Result::Runs, {});
        return;
    }
    const bool running = gWaiting.contains(plugin.uri);
    gWaiting[plugin.uri].append({context, std::move(done)});
    if (running)
        return;
    log(QStringLiteral("Checking %1 in a separate process").arg(plugin.uri));
    const QString uri = plugin.uri;
    const QString stamp = stampOf(plugin);
    runInBackground(
        QCoreApplication::instance(),
        [checker, uri, name = plugin.name, sampleRate, frames] { return runChild(checker, uri, name, sampleRate, frames); },
        [uri, stamp](const Outcome& outcome) {
            record(uri, stamp, outcome);
            const QList<Waiter> waiters = gWaiting.take(uri);
            for (const Waiter& waiter : waiters)
                if (waiter.context)
                    waiter.done(outcome.result, outcome.reason);
        },
        waitingPool());  // it waits on the child, up to a hanging plugin's time-out
}

void stopAll() { gStopping.store(true); }

}  // namespace platform::lv2::LoadCheck
