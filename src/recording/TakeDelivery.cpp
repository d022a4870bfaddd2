#include "recording/TakeDelivery.h"

#include "audiofiles/AudioOperations.h"
#include "library/Utils.h"
#include "platform/Background.h"
#include "platform/Log.h"
#include "recording/RecordingSettings.h"

#include <QFileInfo>
#include <optional>

namespace TakeDelivery {

QString targetPath(const QString& folder, const QString& suggestedName, const QString& extension)
{
    QString name = suggestedName;
    name.replace(QLatin1Char('/'), QLatin1Char('_'));
    return Utils::uniquePath(folder + QLatin1Char('/') + name + QLatin1Char('.') + extension);
}

void deliver(const QString& folder, bool finished, const QString& takePath, const QString& suggestedName,
             QObject* context, Hooks hooks)
{
    if (!finished || takePath.isEmpty())
        return;
    const RecordingSettings settings = RecordingSettings::current();
    const QString target = targetPath(folder, suggestedName, QFileInfo(takePath).suffix());
    // Into the library first, as it is: from here on nothing can lose it. Normalizing then
    // replaces it in place.
    platform::log(QStringLiteral("moving %1 to %2").arg(takePath, target));
    QString error;
    if (!Utils::moveItemNoReplace(takePath, target, &error)) {
        platform::log(QStringLiteral("ERROR: %1").arg(error));
        if (hooks.failed)
            hooks.failed(error);
        return;
    }
    auto arrived = [settings, hooks](const QString& path) {
        if (settings.autoopen)
            Utils::rememberNewFile(path);
        if (hooks.delivered)
            hooks.delivered(path, settings.autoopen);
    };
    if (!settings.normalize) {
        arrived(target);
        return;
    }
    if (hooks.progress)
        hooks.progress(QStringLiteral("Normalizing"));
    platform::runInBackground(
        context, [target] { return Utils::normalize(target, target); },
        [target, hooks, arrived](const std::optional<QString>& normalized) {
            // A take that could not be normalized stays as it was recorded.
            const QString path = normalized.value_or(target);
            if (normalized && *normalized != target)
                QFile::remove(target);
            if (hooks.progress)
                hooks.progress(QStringLiteral("Normalized"));
            arrived(path);
        });
}

Recorder::DoneBlock doneBlock(const QString& folder, QObject* context, Hooks hooks)
{
    QPointer<QObject> guard(context);
    return [folder, guard, hooks](bool finished, const QString& path, const QString& name) {
        deliver(folder, finished, path, name, guard, hooks);
    };
}

}  // namespace TakeDelivery

namespace RecorderLauncher {
namespace {
Opener& opener()
{
    static Opener o;
    return o;
}
}  // namespace

void setOpener(Opener o) { opener() = std::move(o); }

bool openAndToggleRecorder()
{
    Recorder* recorder = Recorder::currentRecorder();
    if (!recorder && opener())
        recorder = opener()();
    if (!recorder)
        return false;
    recorder->toggleRecord();
    return true;
}

}  // namespace RecorderLauncher
