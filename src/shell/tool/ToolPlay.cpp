#include "audiofiles/FilePlayer.h"
#include "library/Utils.h"
#include "platform/HostEngine.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "recording/AudioEngine.h"
#include "shell/tool/AudioCommandSupport.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>

namespace tool {
namespace {

const QString kPlayUsage = QStringLiteral("play FILE [--buffer FRAMES]");
constexpr int kProgressIntervalMs = 100;

}  // namespace

int runPlay(const QStringList& args)
{
    Arguments arguments(args, {QStringLiteral("--buffer")});
    const auto buffer = arguments.integer(QStringLiteral("--buffer"));
    if (!arguments.ok())
        return usageError(kPlayUsage, arguments.error());
    if (arguments.positionals().size() != 1)
        return usageError(kPlayUsage, QStringLiteral("one file"));
    const QString path = QFileInfo(arguments.positionals().first()).absoluteFilePath();

    if (!startAudioEngine())
        return kFailed;
    platform::HostEngine* engine = AudioEngine::audioController();
    if (buffer && !engine->setPreferredBufferSize(uint32_t(*buffer)))
        printError(QStringLiteral("wavelocker-tool: the server kept its buffer of %1 frames").arg(engine->bufferSize()));

    FilePlayer* player = FilePlayer::sharedPlayer();
    const bool loaded = Utils::fileIsMIDI(path) ? player->loadMidiURL(path) : player->loadAudioURL(path);
    if (!loaded) {
        printError(QStringLiteral("wavelocker-tool: could not play %1").arg(path));
        AudioEngine::teardown();
        return kFailed;
    }

    int result = kOk;
    platform::ScopedObserver finished(notifications::kFilePlayerDidFinish,
                                      [](const platform::Notification&) { QCoreApplication::exit(kOk); });
    platform::ScopedObserver lost(notifications::kInterruptionBegan, [&](const platform::Notification&) {
        printError(QStringLiteral("wavelocker-tool: the JACK server went away"));
        result = kFailed;
        QCoreApplication::exit(kFailed);
    });
    ProgressBar progress(QFileInfo(path).fileName());
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        if (player->length() > 0)
            progress.update(float(player->currentTime() / player->length()));
    });
    ticker.start(kProgressIntervalMs);
    const uint64_t xrunsBefore = engine->xrunCount();
    player->play();
    QCoreApplication::exec();
    printOut(QStringLiteral("xruns: %1").arg(engine->xrunCount() - xrunsBefore));
    player->stop();
    AudioEngine::teardown();
    return result;
}

}  // namespace tool
