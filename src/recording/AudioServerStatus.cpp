#include "recording/AudioServerStatus.h"

#include "platform/Notifications.h"

#include <QTime>

namespace {

QString now() { return QTime::currentTime().toString(QStringLiteral("HH:mm:ss")); }

}  // namespace

AudioServerStatus::AudioServerStatus(QObject* parent) : QObject(parent)
{
    mClear.setSingleShot(true);
    mClear.setInterval(kBackMessageMs);
    connect(&mClear, &QTimer::timeout, this, [this] { setMessage({}); });
    mBegan = platform::ScopedObserver(notifications::kInterruptionBegan, [this](const auto&) {
        mClear.stop();
        setMessage(wentAwayText(now()));
    });
    mEnded = platform::ScopedObserver(notifications::kInterruptionEnded, [this](const auto&) {
        setMessage(cameBackText(now()));
        mClear.start();
    });
    // Nothing running to begin with: say so where play was pressed, then get out of the way.
    mUnreachable = platform::ScopedObserver(notifications::kAudioServerUnreachable, [this](const auto&) {
        setMessage(unreachableText());
        mClear.start();
    });
}

QString AudioServerStatus::unreachableText()
{
    return QStringLiteral("No audio server is running, so nothing can be heard. Start JACK (or PipeWire's JACK "
                          "support) and press play again.");
}

QString AudioServerStatus::wentAwayText(const QString& time)
{
    return QStringLiteral("The audio server went away at %1. Audio is silent until it comes back.").arg(time);
}

QString AudioServerStatus::cameBackText(const QString& time)
{
    return QStringLiteral("The audio server came back at %1.").arg(time);
}

void AudioServerStatus::setMessage(const QString& message)
{
    if (message == mMessage)
        return;
    mMessage = message;
    emit messageChanged(message);
}
