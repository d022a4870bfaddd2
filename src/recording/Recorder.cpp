#include "recording/Recorder.h"

#include "audiofiles/FilePlayer.h"
#include "audiofiles/RecFormats.h"
#include "library/Utils.h"
#include "platform/AudioFileWriter.h"
#include "platform/FourCC.h"
#include "platform/HostEngine.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/RealtimeLog.h"
#include "recording/AudioEngine.h"
#include "recording/RemoteAU.h"
#include "recording/TakeWriter.h"
#include "recording/UnfinishedRecording.h"

#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QStorageInfo>
#include <chrono>
#include <cmath>
#include <thread>

namespace {

constexpr int kTimerIntervalMs = 1000 / 30;
constexpr int kCodecQualityMax = 127;
constexpr int kDefaultBitRate = 128000;
constexpr int kDiskCheckTicks = 30;  // about once a second
constexpr int kLongTitle = 20;

// A take's file stays open from its creation until finishRecording, process-wide.
bool gFileOpen = false;
Recorder* gCurrent = nullptr;

QString yesNo(bool value) { return value ? QStringLiteral("YES") : QStringLiteral("NO"); }

}  // namespace

// The part the engine calls on its audio thread: levels, the writing flag and the take.
class Recorder::Receiver : public platform::HostReceiver {
public:
    void receive(const platform::HostChannel*, const platform::AudioTimeStamp&, uint32_t frames,
                 float* const* buffers) override
    {
        if (frames != mLastFrames) {
            mLastFrames = frames;
            platform::RealtimeLog::post("Recorder callback: %d frames\n", int(frames));
        }
        levels.measure(buffers, platform::kHostChannels, frames);
        const bool recording = this->recording.load(std::memory_order_acquire);
        if (recording && !writing.load(std::memory_order_relaxed)) {
            framesWritten.store(0, std::memory_order_relaxed);
            writing.store(1, std::memory_order_release);
        }
        // A stop is answered once, whether or not a buffer of the take was seen: a STOP
        // pressed before this thread noticed the start still ends the take.
        if (!recording && stopRequested.exchange(false, std::memory_order_acq_rel)) {
            // The take is let go of here: nothing below touches it once the flag is off.
            writing.store(0, std::memory_order_release);
            finishPending.store(true, std::memory_order_release);
        }
        if (writing.load(std::memory_order_relaxed) && frames > 0) {
            // busy brackets every use of the take, so the main thread can wait it out.
            busy.store(true);
            TakeWriter* t = take.load();
            if (t && t->push(buffers, frames))
                framesWritten.fetch_add(frames, std::memory_order_relaxed);
            busy.store(false);
        }
        AudioEngine::setRecordingPosition(double(framesWritten.load(std::memory_order_relaxed)));
    }

    RecordLevels levels;
    std::atomic<bool> recording{false};  // set by the main thread
    std::atomic<uint8_t> writing{0};     // the audio thread's copy
    std::atomic<bool> finishPending{false};
    std::atomic<bool> stopRequested{false};  // set by the main thread with recording off
    std::atomic<TakeWriter*> take{nullptr};
    std::atomic<bool> busy{false};
    std::atomic<uint64_t> framesWritten{0};

private:
    uint32_t mLastFrames = 0;
};

Recorder::Recorder(QObject* parent) : QObject(parent), mReceiver(std::make_shared<Receiver>())
{
    mRecTimer.setInterval(kTimerIntervalMs);
    connect(&mRecTimer, &QTimer::timeout, this, &Recorder::tick);
    // A server that goes away mid-take: what was recorded is kept and delivered.
    auto observer = std::make_shared<platform::ScopedObserver>(
        notifications::kInterruptionBegan, [this](const platform::Notification&) {
            QMetaObject::invokeMethod(this, [this] { serverLost(); }, Qt::QueuedConnection);
        });
    mInterruptionObserver = observer;
}

Recorder::~Recorder()
{
    if (mState != State::Idle) {
        mReceiver->recording.store(false, std::memory_order_release);
        detach();
        mReceiver->writing.store(0);
        mDoneBlock = nullptr;
        AudioEngine::setRecState(false);
        platform::log(QStringLiteral("Recording left at %1 for recovery").arg(mRecordURL));
        finishRecording(true);
    }
    detach();
}

Recorder* Recorder::currentRecorder() { return gCurrent; }

void Recorder::attach()
{
    AudioEngine::setRecorder(mReceiver);
    gCurrent = this;
}

void Recorder::detach()
{
    if (AudioEngine::recorder() == mReceiver)
        AudioEngine::setRecorder(nullptr);
    if (gCurrent == this)
        gCurrent = nullptr;
}

bool Recorder::isAttached() const { return AudioEngine::recorder() == mReceiver; }

bool Recorder::isRecording() const { return mReceiver->recording.load(std::memory_order_relaxed); }
uint8_t Recorder::currentRecState() const { return mReceiver->writing.load(std::memory_order_relaxed); }

double Recorder::recDuration() const
{
    const platform::HostEngine* engine = AudioEngine::audioController();
    const double rate = engine ? engine->sampleRate() : platform::HostEngine::kDefaultSampleRate;
    return double(mReceiver->framesWritten.load(std::memory_order_relaxed)) / rate;
}

QString Recorder::durationText(double seconds)
{
    const int s = int(seconds);
    const int hundredths = int(seconds * 100) % 100;
    return QString::asprintf("%02d:%02d.%02d", s / 60, s % 60, hundredths);
}

float Recorder::averagePowerForChannel(int channel) const { return mReceiver->levels.averagePowerForChannel(channel); }
float Recorder::peakPowerForChannel(int channel) const { return mReceiver->levels.peakPowerForChannel(channel); }
const RecordLevels& Recorder::levels() const { return mReceiver->levels; }

uint64_t Recorder::dropouts() const
{
    if (mState == State::Idle && !mTake)
        return mLastDropouts;
    const platform::HostEngine* engine = AudioEngine::audioController();
    const uint64_t xruns = engine ? engine->xrunCount() - mXrunsAtStart : 0;
    return xruns + (mTake ? mTake->overflows() : 0);
}

uint64_t Recorder::framesDelivered() const { return mTake ? mTake->framesDelivered() : mReceiver->framesWritten.load(); }
uint64_t Recorder::framesWritten() const { return mTake ? mTake->framesWritten() : mReceiver->framesWritten.load(); }

double Recorder::secondsLeftOnDisk() const
{
    const double perSecond = mDiskBytesPerSecond > 0 ? mDiskBytesPerSecond : RecordingSettings::current().bytesPerSecond();
    if (perSecond <= 0)
        return -1;
    double least = -1;
    for (const QString& folder : {platform::Locations::tempDir(), platform::Locations::libraryRoot()}) {
        const QStorageInfo storage(folder);
        if (!storage.isValid())
            continue;
        const double seconds = double(storage.bytesAvailable()) / perSecond;
        least = least < 0 ? seconds : std::min(least, seconds);
    }
    return least;
}

QString Recorder::hasUnfinishedRecording() { return UnfinishedRecording::hasUnfinishedRecording(); }

QString Recorder::sourceTitle(const QStringList& sourcePorts)
{
    // One name a program; a program's port names only when it feeds us from several.
    QStringList clients;
    for (const QString& port : sourcePorts) {
        const QString client = port.section(QLatin1Char(':'), 0, 0);
        if (!clients.contains(client))
            clients << client;
    }
    if (clients.isEmpty())
        return QStringLiteral("(Audiobus)");
    if (clients.size() == 1)
        return clients.first();
    const QString joined = clients.join(QLatin1Char('+'));
    if (joined.size() <= kLongTitle)
        return joined;
    return QStringLiteral("%1 + %2 more").arg(clients.first()).arg(clients.size() - 1);
}

QString Recorder::suggestedName() const
{
    QString base;
    const auto slot0 = AudioEngine::rauAtSlot(0);
    if (AudioEngine::sourceIsFilePlayer())
        base = QFileInfo(FilePlayer::sharedPlayer()->url()).completeBaseName();
    else if (slot0)
        base = slot0->name();
    else if (AudioEngine::audiobusConnected() && AudioEngine::audioController())
        base = sourceTitle(AudioEngine::audioController()->receiverSources());
    if (base.isEmpty())
        base = QStringLiteral("Recorded Audio");
    for (int slot = 1; slot < AudioEngine::kSlotCount; ++slot)
        if (const auto rau = AudioEngine::rauAtSlot(slot))
            base += QStringLiteral("-%1").arg(rau->name());
    return base;
}

void Recorder::useSettings(const RecordingSettings* settings)
{
    mSettingsOverride.reset();
    if (settings)
        mSettingsOverride = *settings;
}

bool Recorder::setRecState(bool recording)
{
    platform::log(QStringLiteral("setRecstate: %1").arg(yesNo(recording)));
    if (recording)
        return startRecording();
    if (mState != State::Recording)
        return false;
    mReceiver->recording.store(false, std::memory_order_release);
    mReceiver->stopRequested.store(true, std::memory_order_release);
    mState = State::Stopping;
    commonTail(false);
    // Without a running engine no audio thread will notice the flag: the take is let go of here.
    const platform::HostEngine* engine = AudioEngine::audioController();
    if (!engine || !engine->isRunning() || !isAttached()) {
        mReceiver->writing.store(0, std::memory_order_release);
        mReceiver->stopRequested.store(false);
        mReceiver->finishPending.store(false);
        finishRecording(true);
    }
    return false;
}

bool Recorder::startRecording()
{
    if (mState == State::Recording) {
        platform::log(QStringLiteral("Already recording"));
        return true;
    }
    if (gFileOpen || mState == State::Stopping) {
        platform::log(QStringLiteral("Old recording not finished yet"));
        return false;
    }
    platform::HostEngine* engine = AudioEngine::audioController();
    if (!engine || !engine->isRunning() || !isAttached()) {
        platform::log(QStringLiteral("Could not start recording: the audio engine is not running"));
        return false;
    }
    mCancel = false;
    const RecordingSettings settings = mSettingsOverride.value_or(RecordingSettings::current());
    platform::StreamDescription format;
    format.sampleRate = settings.samplerate;
    format.channelsPerFrame = uint32_t(settings.channels);
    if (!Utils::setupASBD(format, settings.format, settings.bits))
        return false;
    int bitRate = settings.bitrate == 0 ? kDefaultBitRate : settings.bitrate;

    const QString path = UnfinishedRecording::temporaryRecordingPath(settings.format);
    // A take cut off earlier (by another process going down) is saved before this one replaces it.
    for (int i = 0; i < Utils::kRecFormatCount && QFileInfo::exists(path) && !UnfinishedRecording::hasUnfinishedRecording().isEmpty(); ++i) {
        const UnfinishedRecording::Recovery r = UnfinishedRecording::recover(Utils::documentsURL());
        if (r.savedAs.isEmpty())
            break;
        Utils::showAlert(QStringLiteral("Found lost recording"), r.message, mAlertContext);
    }
    // Another process recording now writes there: its take is not ours to replace.
    switch (mLock.acquire(path)) {
    case UnfinishedRecording::TakeLock::Result::Held:
        break;
    case UnfinishedRecording::TakeLock::Result::InUse:
        platform::log(QStringLiteral("Another recording is being written to %1").arg(path));
        return false;
    case UnfinishedRecording::TakeLock::Result::Failed:
        platform::log(QStringLiteral("Could not create audiofile for writing"));
        return false;
    }
    platform::log(QStringLiteral("Recording to %1").arg(path));
    auto file = platform::AudioFileWriter::createRecoverable(path, Utils::fileTypeForRecFormat(settings.format), format);
    if (!file) {
        platform::log(QStringLiteral("Could not create audiofile for writing"));
        mLock.release();
        return false;
    }
    const bool compressed = format.formatID != platform::fourCC("lpcm");
    if (compressed)
        platform::log(QStringLiteral("Setting software codec"));
    const double clientRate = engine->sampleRate();
    platform::log(QStringLiteral("Recording with SR %1").arg(clientRate));
    if (!file->setClientFormat(clientRate, platform::kHostChannels)) {
        platform::log(QStringLiteral("Could not set client format on audiofile"));
        file.reset();
        QFile::remove(path);
        mLock.release();
        return false;
    }
    if (compressed) {
        bitRate = settings.encodeBitRate();
        if (!file->hasEncoder()) {
            platform::log(QStringLiteral("Could not get AudioConverter"));
        } else {
            if (!file->setCodecQuality(kCodecQualityMax))
                platform::log(QString::asprintf("Could not set codec quality on AudioConverter %p", static_cast<void*>(file.get())));
            if (!file->setEncodeBitRate(bitRate))
                platform::log(QStringLiteral("Could not set bitrate %1").arg(bitRate));
            const int used = file->encodeBitRate();
            if (used == 0)
                platform::log(QStringLiteral("Could not read kAudioConverterEncodeBitRate"));
            platform::log(QStringLiteral("Encoding with bit rate %1").arg(used));
        }
    }
    // The take is recoverable from its first second on: the header goes to disk now.
    if (!file->checkpoint()) {
        platform::log(QStringLiteral("Could not create audiofile for writing"));
        file.reset();
        QFile::remove(path);
        mLock.release();
        return false;
    }
    auto take = std::make_unique<TakeWriter>(std::move(file), platform::kHostChannels, clientRate);
    platform::log(QStringLiteral("Using custom audio file I/O buffer of %1 bytes")
                      .arg(qulonglong(TakeWriter::kRingSeconds * clientRate * platform::kHostChannels * sizeof(float))));
    gFileOpen = true;
    mTakeSettings = settings;
    mRecordURL = path;
    mWarnedDisk = false;
    mDiskBytesPerSecond = settings.bytesPerSecond();
    mXrunsAtStart = engine->xrunCount();
    mLastDropouts = 0;
    QPointer<Recorder> self(this);
    take->start([self](TakeWriter::Failure) {
        if (self)
            self->writerFailed();
    });
    mTake = std::move(take);
    mReceiver->finishPending.store(false);
    mReceiver->stopRequested.store(false);
    mReceiver->framesWritten.store(0);
    mReceiver->take.store(mTake.get(), std::memory_order_release);
    mReceiver->recording.store(true, std::memory_order_release);
    mState = State::Recording;
    mRecTimer.start();
    commonTail(true);
    return true;
}

void Recorder::commonTail(bool recording)
{
    AudioEngine::setRecState(recording);
    emit recStateChanged(recording);
    FilePlayer* player = FilePlayer::sharedPlayer();
    if (recording && (AudioEngine::sourceIsFilePlayer() || AudioEngine::abConnectedToSelf()) && !player->isPlaying()) {
        platform::log(QStringLiteral("Starting file player for self-recording.."));
        player->play();
    }
}

bool Recorder::toggleRecord()
{
    if (currentRecState() || mState == State::Recording) {
        setRecState(false);
        return false;
    }
    bool started = false;
    AudioEngine::checkMicAccess([&](bool granted) {
        if (granted)
            started = setRecState(true);
    });
    if (!isRecording())
        Utils::showAlert(QStringLiteral("Sorry"), QStringLiteral("Could not start recording"), mAlertContext);
    return started && isRecording();
}

bool Recorder::cancel()
{
    if (mState == State::Recording) {
        mCancel = true;
        setRecState(false);
        return false;
    }
    if (mState == State::Stopping) {
        mCancel = true;
        return false;
    }
    mCancel = false;
    return true;
}

void Recorder::tick()
{
    if (mReceiver->finishPending.exchange(false, std::memory_order_acq_rel)) {
        finishRecording(true);
        return;
    }
    const platform::HostEngine* engine = AudioEngine::audioController();
    if (mState == State::Stopping && (!engine || !engine->isRunning())) {
        mReceiver->writing.store(0, std::memory_order_release);
        finishRecording(true);
        return;
    }
    if (!currentRecState())
        return;
    emit durationChanged(recDuration());
    const uint64_t drops = dropouts();
    if (drops != mLastDropouts) {
        mLastDropouts = drops;
        emit dropoutsChanged(drops);
    }
    if (++mTicks % kDiskCheckTicks == 0 && !mWarnedDisk) {
        const double left = secondsLeftOnDisk();
        if (left >= 0 && left < kLowDiskSeconds) {
            mWarnedDisk = true;
            platform::log(QStringLiteral("Less than a minute of recording time left on the disk"));
            emit diskSpaceLow(left);
        }
    }
}

void Recorder::writerFailed()
{
    if (mState == State::Idle || !mTake)
        return;
    const QString message = QStringLiteral(
                                "Recording stopped unexpectedly, could not write to file! Try freeing up some space, "
                                "closing other programs and restart your computer.\n---\nError code: %1\n")
                                .arg(mTake->errorCode());
    platform::log(QStringLiteral("Recording Error: %1").arg(message));
    Utils::showAlert(QStringLiteral("Recording Error"), message, mAlertContext);
    emit recordingFailed(message);
    if (mState == State::Recording)
        setRecState(false);
}

void Recorder::serverLost()
{
    if (mState == State::Recording) {
        platform::log(QStringLiteral("The audio server went away; finishing the recording"));
        setRecState(false);
    }
}

void Recorder::releaseTake()
{
    constexpr auto kLongestCycle = std::chrono::seconds(1);
    mReceiver->take.store(nullptr);
    const auto start = std::chrono::steady_clock::now();
    while (mReceiver->busy.load() && std::chrono::steady_clock::now() - start < kLongestCycle)
        std::this_thread::yield();
}

void Recorder::finishRecording(bool finished)
{
    if (!mTake)
        return;
    releaseTake();
    const bool written = mTake->finish();
    mLastDropouts = dropouts();
    if (!written)
        platform::log(QStringLiteral("The recording ended with %1 of %2 frames written")
                          .arg(mTake->framesWritten())
                          .arg(mTake->framesDelivered()));
    mTake.reset();
    mRecTimer.stop();
    mState = State::Idle;
    const bool cancelled = mCancel;
    if (!mCancel) {
        const QString name = suggestedName();
        if (finished && AudioEngine::sourceIsFilePlayer()) {
            AudioEngine::setRau(nullptr, 0);
            AudioEngine::updateIaaUnits();
        }
        if (mDoneBlock)
            mDoneBlock(finished, mRecordURL, name);
    } else {
        QFile::remove(mRecordURL);
        mRecordURL.clear();
        mReceiver->framesWritten.store(0);
        emit durationChanged(0);
    }
    mCancel = false;
    mLock.release();
    gFileOpen = false;
    emit takeFinished(cancelled);
}
