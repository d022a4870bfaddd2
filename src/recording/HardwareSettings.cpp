#include "recording/HardwareSettings.h"

#include "platform/CaptureVolume.h"
#include "platform/HostEngine.h"
#include "platform/Log.h"

#include <cmath>

using platform::log;

namespace {
uint32_t gPreferredBufferFrames = 0;
double gPreferredSampleRate = 0;
}  // namespace

HardwareSettings::HardwareSettings(platform::HostEngine* engine, QObject* parent) : QObject(parent), mEngine(engine)
{
    mSettle.setSingleShot(true);
    mSettle.setInterval(kBufferSettleMs);
    connect(&mSettle, &QTimer::timeout, this, [this] { emit bufferRequestEnded(!bufferIsForeign()); });
    if (mEngine) {
        connect(mEngine, &platform::HostEngine::bufferSizeChanged, this, &HardwareSettings::bufferSizeChanged);
        connect(mEngine, &platform::HostEngine::sampleRateChanged, this, &HardwareSettings::sampleRateChanged);
    }
    openCaptureVolume();
}

HardwareSettings::~HardwareSettings() = default;

bool HardwareSettings::hasServer() const { return mEngine && mEngine->isSessionActive(); }

void HardwareSettings::openCaptureVolume()
{
    if (!hasServer()) {
        mCaptureReason = QStringLiteral("No audio server is running.");
        return;
    }
    const QStringList aliases = mEngine->captureAliases();
    if (mEngine->inputChannelCount() < 1) {
        mCaptureReason = QStringLiteral("The audio server has no inputs.");
        return;
    }
    const QString device = platform::CaptureVolume::deviceFromAliases(aliases);
    if (device.isEmpty()) {
        mCaptureReason = QStringLiteral("The audio server's inputs come from no sound card whose volume can be set here; "
                                        "use the server's own mixer.");
        return;
    }
    mCapture = platform::CaptureVolume::open(device, &mCaptureReason);
}

uint32_t HardwareSettings::currentBufferFrames() const { return hasServer() ? mEngine->bufferSize() : 0; }

uint32_t HardwareSettings::preferredBufferFrames() { return gPreferredBufferFrames; }

bool HardwareSettings::bufferIsForeign() const
{
    return gPreferredBufferFrames != 0 && hasServer() && currentBufferFrames() != gPreferredBufferFrames;
}

void HardwareSettings::setPreferredBufferFrames(uint32_t frames)
{
    gPreferredBufferFrames = frames;
    if (!hasServer()) {
        emit bufferRequestEnded(false);
        return;
    }
    if (!mEngine->setPreferredBufferSize(frames))
        log(QStringLiteral("The audio server kept its buffer of %1 frames").arg(mEngine->bufferSize()));
    mSettle.start();
}

double HardwareSettings::currentSampleRate() const
{
    return hasServer() ? mEngine->sampleRate() : platform::HostEngine::kDefaultSampleRate;
}

double HardwareSettings::preferredSampleRate() { return gPreferredSampleRate; }

bool HardwareSettings::setPreferredSampleRate(double rate)
{
    log(QStringLiteral("Setting sampleRate to %1").arg(rate));
    gPreferredSampleRate = rate;
    if (!hasServer()) {
        log(QStringLiteral("Could not set sample rate: no audio server is running"));
        return false;
    }
    // The server's rate is its own: a client can only find it already right.
    const double current = mEngine->sampleRate();
    if (std::lround(current) != std::lround(rate)) {
        log(QStringLiteral("Could not set sample rate: the audio server runs at %1 Hz").arg(current));
        return false;
    }
    return true;
}

QString HardwareSettings::inputGainSource() const
{
    return mCapture ? mCapture->device() + QStringLiteral(", ") + mCapture->controlName() : QString();
}

float HardwareSettings::inputGain() const { return mCapture ? mCapture->value() : 0.0f; }

bool HardwareSettings::setInputGain(float gain) { return mCapture && mCapture->setValue(gain); }

void HardwareSettings::resetPreferences()
{
    gPreferredBufferFrames = 0;
    gPreferredSampleRate = 0;
}
