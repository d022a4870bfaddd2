#pragma once
#include "recording/RecordLevels.h"
#include "recording/RecordingSettings.h"
#include "recording/UnfinishedRecording.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class TakeWriter;

// The recorder: an output receiver of the audio engine's source channel that measures its
// levels and writes its audio into the temporary "recording.EXT", and hands the finished
// take to a done closure given by whoever opened it (the library). Everything here runs on
// the main thread; the receiver it puts into the engine runs on the audio thread and shares
// only plain atomic words with it.
//
// Start: setRecState(true). Stop: setRecState(false); the audio thread notices the flag on
// its next buffer and the take is finished once, after the last write, with the done
// closure called. Cancel: cancel() while recording; the file is deleted, no closure called.
class Recorder : public QObject {
    Q_OBJECT
public:
    // finished: the take ended normally (also after a write error: what was written is kept).
    using DoneBlock = std::function<void(bool finished, const QString& path, const QString& suggestedName)>;

    enum class State {
        Idle,       // no take, or the last one is delivered
        Recording,  // recording flag on (the audio thread writes from its next buffer)
        Stopping,   // flag off, waiting for the audio thread to let go of the take
    };

    // Seconds of recording time left on the disk below which diskSpaceLow is emitted.
    static constexpr double kLowDiskSeconds = 60.0;

    explicit Recorder(QObject* parent = nullptr);
    // Detaches. A take still running is completed on disk but not handed over (whoever gave
    // the done closure may be gone): it is saved as a recovered take at the next start.
    ~Recorder() override;

    // The recorder the engine has now, or nullptr (the library's `currentRecorder`).
    static Recorder* currentRecorder();
    // Sets this recorder as the engine's recorder (AudioEngine::setRecorder) / takes it off.
    void attach();
    void detach();
    bool isAttached() const;

    void setDoneBlock(DoneBlock block) { mDoneBlock = std::move(block); }
    // Parent for the alerts this recorder shows ("Could not start recording", "Recording Error").
    void setAlertContext(QObject* context) { mAlertContext = context; }

    // Takes from now on start with these settings instead of the stored "recording.*" ones
    // (the command line's recorder); nullptr goes back to the stored ones.
    void useSettings(const RecordingSettings* settings);

    // Starts (true) or stops (false) a take with every step of the recorder; the answer is
    // whether a take is being recorded afterwards.
    bool setRecState(bool recording);
    // The REC/STOP press: stops while recording; otherwise starts and, when that fails,
    // shows "Sorry" / "Could not start recording". The answer is isRecording() afterwards.
    bool toggleRecord();
    // The Cancel/Close press: while recording, ends the take and deletes it (answers false);
    // otherwise answers true: the screen closes and the library detaches the recorder.
    bool cancel();

    State state() const { return mState; }
    bool isRecording() const;  // the recording flag
    // The audio thread's copy of the flag: nonzero while it writes.
    uint8_t currentRecState() const;
    // Frames written divided by the engine's rate, in seconds.
    double recDuration() const;
    // "%02d:%02d.%02d" (minutes, seconds, hundredths).
    static QString durationText(double seconds);
    // Where the take is written ("recording.EXT" in the temporary folder), empty without one.
    const QString& recordURL() const { return mRecordURL; }
    // The settings the current (or last) take was started with.
    const RecordingSettings& takeSettings() const { return mTakeSettings; }
    // Name for the take from its source and effects, e.g. "Recorded Audio-Reverb".
    QString suggestedName() const;
    // A temporary take left by a recording that never finished, or empty.
    static QString hasUnfinishedRecording();
    // The title of what feeds the receiver ports (the slot-0 title while they are connected):
    // the program's name, several joined by "+", "%@ + %lu more" when that grows long.
    static QString sourceTitle(const QStringList& sourcePorts);

    // The level meter's delegate calls (see RecordLevels), lock-free.
    float averagePowerForChannel(int channel) const;
    float peakPowerForChannel(int channel) const;
    const RecordLevels& levels() const;

    // Live figures of the take: dropouts = server xruns plus ring overflows since it began;
    // seconds still recordable on the disks of the temporary folder and the library
    // (negative when unknown).
    uint64_t dropouts() const;
    double secondsLeftOnDisk() const;
    // Frames the audio thread handed over and frames on disk, for checks and the tool.
    uint64_t framesDelivered() const;
    uint64_t framesWritten() const;

signals:
    // After every start and stop (REC/STOP buttons, Cancel/Close, bar buttons).
    void recStateChanged(bool recording);
    // About 30 times a second while writing (the duration label, the live figures).
    void durationChanged(double seconds);
    void dropoutsChanged(quint64 dropouts);
    // Once a take, when less than kLowDiskSeconds of recording time is left.
    void diskSpaceLow(double secondsLeft);
    // The take ended: delivered (done closure called) or cancelled (file deleted).
    void takeFinished(bool cancelled);
    // A failed write stopped the take; the alert "Recording Error" is already shown.
    void recordingFailed(const QString& message);

private:
    class Receiver;

    bool startRecording();
    void commonTail(bool recording);
    void tick();
    void finishRecording(bool finished);
    void writerFailed();
    void serverLost();
    void releaseTake();

    std::shared_ptr<Receiver> mReceiver;
    std::unique_ptr<TakeWriter> mTake;
    UnfinishedRecording::TakeLock mLock;
    DoneBlock mDoneBlock;
    QObject* mAlertContext = nullptr;
    RecordingSettings mTakeSettings;
    std::optional<RecordingSettings> mSettingsOverride;
    QString mRecordURL;
    State mState = State::Idle;
    bool mCancel = false;
    bool mWarnedDisk = false;
    int mTicks = 0;
    uint64_t mXrunsAtStart = 0;
    uint64_t mLastDropouts = 0;
    double mDiskBytesPerSecond = 0;
    QTimer mRecTimer;
    std::shared_ptr<void> mInterruptionObserver;
};
