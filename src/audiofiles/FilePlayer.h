#pragma once
#include "platform/FileStamp.h"
#include "platform/HostNodes.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <atomic>
#include <memory>

namespace platform {
class AudioFileReader;
class HostEngine;
class MidiFile;
class Sampler;
}  // namespace platform
class AudioRegionStream;
class MidiSchedule;

class FilePlayer;

class FilePlayerDelegate {
public:
    virtual ~FilePlayerDelegate() = default;
    virtual void filePlayerProgress(FilePlayer* player) = 0;
};

// Plays one audio file (a region of it, optionally looped, with linear fades at the region's
// edges) or one MIDI file (through a General MIDI sampler) for the editor and the library's
// preview. It is not connected to any output: whoever hosts it pulls it through render(),
// the audio engine as one of its channels, or an offline renderer.
class FilePlayer : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kDidFinishNotification = "com.orvenic.filePlayerDidFinish";
    enum Type { kNone = 0, kAudio = 1, kMidi = 2 };

    static FilePlayer* sharedPlayer();

    FilePlayer();
    ~FilePlayer() override;

    // Builds the player for the engine's format and gives the sampler the General MIDI set.
    void setupWithAudioController(platform::HostEngine* controller);
    // The same without an engine, for offline pulling at a given rate.
    void setupWithSampleRate(double outputRate);
    // Follows a new engine rate; stops play.
    void configureFormats(double outputRate);
    platform::HostEngine* audioController() const { return mController; }
    double outputSampleRate() const { return mOutputRate; }
    // The channel the engine mixes; its mute flag is `channelIsMuted`.
    std::shared_ptr<platform::HostChannel> channel() const;
    bool channelIsMuted() const;
    void setChannelIsMuted(bool muted);

    bool loadAudioURL(const QString& path);
    bool loadMidiURL(const QString& path);
    bool loadFromDLSOrSoundFont(const QString& path, int patch);
    // Stops and lets go of the file: nothing is loaded afterwards.
    void unload();
    void play();
    void pause();
    void stop();
    void teardown();
    void startGraph();
    void stopGraph();

    void setStartTime(double seconds) { mStartTime = seconds; }
    double startTime() const { return mStartTime; }
    void setRegionStart(double seconds) { mRegionStart = seconds; }
    void setRegionEnd(double seconds) { mRegionEnd = seconds; }
    double regionStart() const { return mRegionStart; }
    double regionEnd() const { return mRegionEnd; }
    void setLoop(bool loop) { mLoop = loop; }
    bool loop() const { return mLoop; }
    void setFadeIn(double seconds) { mFadeIn.store(seconds, std::memory_order_relaxed); }
    void setFadeOut(double seconds) { mFadeOut.store(seconds, std::memory_order_relaxed); }
    double fadeIn() const { return mFadeIn.load(std::memory_order_relaxed); }
    double fadeOut() const { return mFadeOut.load(std::memory_order_relaxed); }
    void setVolume(float volume) { mVolume.store(volume, std::memory_order_relaxed); }
    float volume() const { return mVolume.load(std::memory_order_relaxed); }

    const QString& url() const { return mUrl; }
    Type type() const { return mType; }
    double length() const { return mLength; }
    bool isPlaying() const { return mPlaying.load(std::memory_order_relaxed); }
    double currentTime() const { return mCurrentTime; }
    // Where play is now, in seconds from the start of the file.
    double getCurrentTime() const;
    // Where play ends by itself: the region's end, or the end of the file.
    double playEnd() const;
    // Frames rendered since play began (the player's own time line).
    int64_t playFrames() const { return mPlayFrames.load(std::memory_order_relaxed); }

    void setDelegate(FilePlayerDelegate* delegate) { mDelegate = delegate; }
    FilePlayerDelegate* delegate() const { return mDelegate; }

    // The render callback: `frames` frames into two zeroed channel buffers. Real-time safe.
    void render(float* const* buffers, uint32_t frames);
    // Offline pulling: waits until the next `frames` frames are ready to render.
    void waitForAudio(uint32_t frames) const;

    void timerCallback();

signals:
    // Play began (true) or ended (false), whoever started or ended it.
    void playingChanged(bool playing);

private:
    class Channel;
    // Runs fn while the render callback keeps off the shared objects.
    template <typename Fn>
    void withRenderHeld(Fn&& fn);
    void updateNowPlaying() {}
    bool openReader(const QString& path);
    void applyFades(float* const* buffers, uint32_t frames, int64_t from) const;

    platform::HostEngine* mController = nullptr;
    double mOutputRate = 0;
    std::shared_ptr<Channel> mChannel;
    std::unique_ptr<platform::Sampler> mSampler;

    QString mUrl;
    Type mType = kNone;
    double mLength = 0;
    std::unique_ptr<platform::AudioFileReader> mReader;
    platform::FileStamp mStamp;  // the version of the file mReader reads
    double mFileRate = 0;
    int64_t mFileFrames = 0;
    std::unique_ptr<platform::MidiFile> mMidi;

    double mStartTime = 0;
    double mRegionStart = 0;
    double mRegionEnd = 0;
    bool mLoop = false;
    double mCurrentTime = 0;
    FilePlayerDelegate* mDelegate = nullptr;
    QTimer mTimer;

    // Shared with the render callback.
    std::unique_ptr<AudioRegionStream> mStream;
    std::unique_ptr<MidiSchedule> mSchedule;
    std::atomic<bool> mPlaying{false};
    std::atomic<bool> mGraphRunning{false};
    std::atomic<bool> mResetSampler{false};
    std::atomic<bool> mHold{false};
    std::atomic<int> mInRender{0};
    std::atomic<int64_t> mPlayFrames{0};
    std::atomic<double> mFadeIn{0};
    std::atomic<double> mFadeOut{0};
    std::atomic<float> mVolume{1.0f};
    uint32_t mLastFrames = 0;
};
