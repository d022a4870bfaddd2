#include "audiofiles/FilePlayer.h"
#include "audiofiles/RecFormats.h"
#include "library/Utils.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/QuitSignals.h"
#include "recording/AudioEngine.h"
#include "recording/Recorder.h"
#include "shell/tool/AudioCommandSupport.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>
#include <cstdio>

namespace tool {
namespace {

const QString kRecordUsage = QStringLiteral(
    "record OUT [--seconds N] [--format N] [--channels N] [--bits N] [--bitrate BPS] [--samplerate HZ] "
    "[--source input|player FILE]");

bool applyOption(Arguments& arguments, const QString& option, int& field, long long low, long long high, QString* error)
{
    const auto value = arguments.integer(option);
    if (!value)
        return arguments.ok();
    if (*value < low || *value > high) {
        *error = QStringLiteral("%1 must be between %2 and %3").arg(option).arg(low).arg(high);
        return false;
    }
    field = int(*value);
    return true;
}

}  // namespace

int runRecord(const QStringList& args)
{
    Arguments arguments(args, {"--seconds", "--format", "--channels", "--bits", "--bitrate", "--samplerate", "--source"});
    RecordingSettings settings = RecordingSettings::current();
    QString error;
    const auto seconds = arguments.number(QStringLiteral("--seconds"));
    const bool optionsOk = applyOption(arguments, "--format", settings.format, 0, Utils::kRecFormatCount - 1, &error) &&
                           applyOption(arguments, "--channels", settings.channels, 1, 2, &error) &&
                           applyOption(arguments, "--bits", settings.bits, 16, 32, &error) &&
                           applyOption(arguments, "--bitrate", settings.bitrate, 0, 512000, &error) &&
                           applyOption(arguments, "--samplerate", settings.samplerate, 8000, 192000, &error);
    if (!arguments.ok())
        return usageError(kRecordUsage, arguments.error());
    if (!optionsOk)
        return usageError(kRecordUsage, error);
    if (settings.bits != 16 && settings.bits != 24 && settings.bits != 32)
        return usageError(kRecordUsage, QStringLiteral("--bits must be 16, 24 or 32"));
    if (settings.bits > Utils::highestBitsForRecFormat(settings.format))
        return usageError(kRecordUsage, QStringLiteral("format %1 takes at most %2 bits")
                                            .arg(settings.format)
                                            .arg(Utils::highestBitsForRecFormat(settings.format)));
    const QString source = arguments.has(QStringLiteral("--source")) ? arguments.value(QStringLiteral("--source"))
                                                                     : QStringLiteral("input");
    const bool fromPlayer = source == QLatin1String("player");
    if (!fromPlayer && source != QLatin1String("input"))
        return usageError(kRecordUsage, QStringLiteral("--source is input or player FILE"));
    const QStringList positionals = arguments.positionals();
    if (positionals.size() != (fromPlayer ? 2 : 1))
        return usageError(kRecordUsage, fromPlayer ? QStringLiteral("OUT and the player's FILE") : QStringLiteral("one OUT"));
    if (seconds && *seconds <= 0)
        return usageError(kRecordUsage, QStringLiteral("--seconds must be above 0"));
    const QString out = QFileInfo(positionals.first()).absoluteFilePath();
    if (QFileInfo::exists(out) || QFileInfo(out).isSymLink()) {
        printError(QStringLiteral("wavelocker-tool: %1 already exists").arg(out));
        return kFailed;
    }

    if (!startAudioEngine())
        return kFailed;
    FilePlayer* player = FilePlayer::sharedPlayer();
    if (fromPlayer) {
        const QString file = QFileInfo(positionals[1]).absoluteFilePath();
        if (!player->loadAudioURL(file)) {
            printError(QStringLiteral("wavelocker-tool: could not play %1").arg(file));
            AudioEngine::teardown();
            return kFailed;
        }
        AudioEngine::setRau(AudioEngine::fakePlayerRau(), 0);
        AudioEngine::updateIaaUnits();
    }

    int result = kOk;
    QString delivered;
    auto recorder = std::make_unique<Recorder>();
    recorder->useSettings(&settings);
    recorder->attach();
    recorder->setDoneBlock([&](bool, const QString& path, const QString&) {
        QString moveError;
        if (Utils::moveItemNoReplace(path, out, &moveError)) {
            delivered = out;
        } else {
            // The take stays where the next start of the program recovers it.
            printError(QStringLiteral("wavelocker-tool: could not move the take to %1: %2").arg(out, moveError));
            result = kFailed;
        }
    });
    QObject::connect(recorder.get(), &Recorder::takeFinished, [] { QCoreApplication::exit(0); });
    QObject::connect(recorder.get(), &Recorder::recordingFailed, [&] { result = kFailed; });
    QObject::connect(recorder.get(), &Recorder::diskSpaceLow, [](double left) {
        printError(QStringLiteral("wavelocker-tool: %1 s of recording time left on the disk").arg(int(left)));
    });
    auto stop = [&] {
        if (recorder->state() == Recorder::State::Recording)
            recorder->setRecState(false);
    };
    platform::QuitSignals quit([&](int) { stop(); });
    platform::ScopedObserver finished(notifications::kFilePlayerDidFinish, [&](const platform::Notification&) {
        if (fromPlayer && !seconds)
            stop();
    });
    if (seconds)
        QObject::connect(recorder.get(), &Recorder::durationChanged, [&](double d) {
            if (d >= *seconds)
                stop();
        });

    if (!recorder->setRecState(true)) {
        printError(QStringLiteral("wavelocker-tool: Could not start recording"));
        recorder.reset();
        AudioEngine::teardown();
        return kFailed;
    }
    printOut(recorder->recordURL());
    std::fflush(stdout);  // scripts watch the take while it grows
    QCoreApplication::exec();
    const uint64_t frames = recorder->framesWritten();
    const uint64_t dropouts = recorder->dropouts();
    recorder.reset();
    if (!delivered.isEmpty())
        printOut(delivered);
    printOut(QStringLiteral("frames: %1, dropouts: %2").arg(frames).arg(dropouts));
    player->stop();
    AudioEngine::teardown();
    return result;
}

}  // namespace tool
