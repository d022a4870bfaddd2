#include "platform/lv2/Lv2LoadCheck.h"

#include "platform/Log.h"
#include "platform/Settings.h"
#include "platform/lv2/Lv2World.h"

#include <QFileInfo>
#include <QProcess>
#include <mutex>

namespace platform::lv2::LoadCheck {
namespace {

constexpr const char* kCheckedKey = "LV2CheckedPlugins";  // URI -> stamp of the code that ran
constexpr int kTimeoutMs = 20000;

std::mutex gMutex;
QString gChecker;

QString stampOf(const PluginInfo& plugin)
{
    const QFileInfo code(plugin.binaryPath);
    return QStringLiteral("%1|%2|%3")
        .arg(code.absoluteFilePath())
        .arg(code.size())
        .arg(code.lastModified().toMSecsSinceEpoch());
}

}  // namespace

void setChecker(const QString& program)
{
    std::lock_guard lock(gMutex);
    gChecker = program;
}

Result check(const PluginInfo& plugin, double sampleRate, uint32_t frames, QString* reason)
{
    QString checker;
    {
        std::lock_guard lock(gMutex);
        checker = gChecker;
    }
    if (checker.isEmpty())
        return Result::Unchecked;
    const QString stamp = stampOf(plugin);
    QVariantMap checked = Settings::value(QLatin1String(kCheckedKey)).toMap();
    if (checked.value(plugin.uri).toString() == stamp)
        return Result::Runs;

    log(QStringLiteral("Checking %1 in a separate process").arg(plugin.uri));
    QProcess child;
    child.start(checker, {QStringLiteral("check-unit"), plugin.uri, QStringLiteral("--rate"),
                          QString::number(sampleRate), QStringLiteral("--frames"), QString::number(frames)});
    const bool started = child.waitForStarted();
    const bool finished = started && child.waitForFinished(kTimeoutMs);
    if (!started) {
        log(QStringLiteral("Could not start %1 to check %2").arg(checker, plugin.uri));
        return Result::Unchecked;
    }
    if (!finished) {
        child.kill();
        child.waitForFinished();
        const QString why = QStringLiteral("%1 did not finish loading in %2 seconds").arg(plugin.name).arg(kTimeoutMs / 1000);
        World::shared().skip(plugin.uri, why);
        if (reason)
            *reason = why;
        return Result::TimedOut;
    }
    if (child.exitStatus() == QProcess::CrashExit) {
        const QString why = QStringLiteral("%1 crashed while it was being loaded").arg(plugin.name);
        World::shared().skip(plugin.uri, why);
        if (reason)
            *reason = why;
        return Result::Crashed;
    }
    if (child.exitCode() != 0) {
        if (reason)
            *reason = QString::fromLocal8Bit(child.readAllStandardError()).trimmed();
        return Result::Fails;
    }
    // Read again: the child wrote to the same settings while it ran.
    Settings::sync();
    checked = Settings::value(QLatin1String(kCheckedKey)).toMap();
    checked.insert(plugin.uri, stamp);
    Settings::setValue(QLatin1String(kCheckedKey), checked);
    return Result::Runs;
}

}  // namespace platform::lv2::LoadCheck
