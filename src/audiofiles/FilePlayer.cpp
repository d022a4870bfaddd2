#include "audiofiles/FilePlayer.h"

#include "audiofiles/AudioRegionStream.h"
#include "audiofiles/FadeLaw.h"
#include "audiofiles/MidiSchedule.h"
#include "platform/AudioFileReader.h"
#include "platform/FourCC.h"
#include "platform/HostEngine.h"
#include "platform/Log.h"
#include "platform/MidiFile.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/RealtimeLog.h"
#include "platform/Sampler.h"

#include <cmath>
#include <thread>

namespace {

constexpr int kTimerIntervalMs = 1000 / 30;
constexpr double kFinishSlack = 0.1;  // seconds past the end before play counts as over
constexpr int kGeneralMidiPatch = 0;

// The working format of every stage: two channels of non-interleaved 32-bit float.
void printASBD(const char* stage, double rate)
{
    platform::log(QStringLiteral("%1: %2 Hz, 'lpcm', flags 0x29, 4 bytes/packet, 1 frames/packet, "
                                 "4 bytes/frame, %3 channels, 32 bits/channel")
                      .arg(QLatin1String(stage))
                      .arg(rate, 0, 'g', 10)
                      .arg(platform::kHostChannels));
}

}  // namespace

class FilePlayer::Channel : public platform::HostChannel {
public:
    explicit Channel(FilePlayer* player) : mPlayer(player) {}
    void render(float* const* buffers, uint32_t frames, const platform::AudioTimeStamp&) override
    {
        if (FilePlayer* p = mPlayer.load(std::memory_order_acquire))
            p->render(buffers, frames);
    }
    void detach() { mPlayer.store(nullptr, std::memory_order_release); }

private:
    std::atomic<FilePlayer*> mPlayer;
};

FilePlayer* FilePlayer::sharedPlayer()
{
    static FilePlayer player;
    return &player;
}

FilePlayer::FilePlayer() : mChannel(std::make_shared<Channel>(this))
{
    mTimer.setInterval(kTimerIntervalMs);
    mTimer.setTimerType(Qt::PreciseTimer);
    connect(&mTimer, &QTimer::timeout, this, &FilePlayer::timerCallback);
}

FilePlayer::~FilePlayer()
{
    withRenderHeld([this] { mChannel->detach(); });
    mTimer.stop();
    mPlaying = false;
    mStream.reset();
}

template <typename Fn>
void FilePlayer::withRenderHeld(Fn&& fn)
{
    // The render callback counts itself in before it looks at mHold; once the count is zero
    // with mHold set, no render is inside and none will enter until it is cleared.
    mHold.store(true);
    while (mInRender.load() != 0)
        std::this_thread::yield();
    fn();
    mHold.store(false);
}

void FilePlayer::setupWithAudioController(platform::HostEngine* controller)
{
    mController = controller;
    setupWithSampleRate(controller ? controller->sampleRate() : platform::HostEngine::kDefaultSampleRate);
}

void FilePlayer::setupWithSampleRate(double outputRate)
{
    configureFormats(outputRate);
}

void FilePlayer::configureFormats(double outputRate)
{
    if (mSampler && outputRate == mOutputRate)
        return;
    stop();
    for (const char* stage : {"Sampler output", "FilePlayer output", "Mixer output", "Output"})
        printASBD(stage, outputRate);
    QString error;
    auto sampler = platform::Sampler::create(outputRate, &error);
    if (!sampler)
        platform::log(QStringLiteral("Unable to add the Sampler unit to the audio processing graph. Error code: %1 '%2'")
                          .arg(-1)
                          .arg(platform::fourCCString(uint32_t(-1))));
    withRenderHeld([&] {
        mSampler = std::move(sampler);
        mOutputRate = outputRate;
        // Frame positions of a loaded MIDI file depend on the rate.
        if (mMidi)
            mSchedule = std::make_unique<MidiSchedule>(*mMidi, outputRate);
    });
    if (mSampler)
        loadFromDLSOrSoundFont(platform::Sampler::defaultSoundFont(), kGeneralMidiPatch);
}

std::shared_ptr<platform::HostChannel> FilePlayer::channel() const { return mChannel; }

bool FilePlayer::channelIsMuted() const { return mChannel->isMuted(); }
void FilePlayer::setChannelIsMuted(bool muted) { mChannel->setMuted(muted); }

bool FilePlayer::loadFromDLSOrSoundFont(const QString& path, int patch)
{
    if (!mSampler)
        return false;
    int rc = 0;
    withRenderHeld([&] { rc = mSampler->loadSoundFont(path, patch); });
    if (rc != 0)
        platform::log(QStringLiteral("Unable to set the preset property on the Sampler. Error code:%1 '%2'")
                          .arg(rc)
                          .arg(platform::fourCCString(uint32_t(rc))));
    return rc == 0;
}

bool FilePlayer::loadAudioURL(const QString& path)
{
    stop();
    mStartTime = mRegionStart = mRegionEnd = 0;
    withRenderHeld([this] { mSchedule.reset(); });
    mMidi.reset();
    return openReader(path);
}

bool FilePlayer::openReader(const QString& path)
{
    mStamp = platform::FileStamp::of(path);
    mReader = platform::AudioFileReader::open(path);
    if (!mReader) {
        mType = kNone;
        mUrl.clear();
        mLength = 0;
        platform::log(QStringLiteral("FilePlayer: could not open %1").arg(path));
        return false;
    }
    mFileRate = mReader->sampleRate();
    mFileFrames = mReader->lengthFrames();
    mLength = mFileRate > 0 ? double(mFileFrames) / mFileRate : 0;
    mUrl = path;
    mType = kAudio;
    return true;
}

bool FilePlayer::loadMidiURL(const QString& path)
{
    stop();
    mStartTime = mRegionStart = mRegionEnd = 0;
    mReader.reset();
    withRenderHeld([this] { mSchedule.reset(); });
    QString why;
    auto midi = platform::MidiFile::open(path, &why);
    if (!midi) {
        mMidi.reset();
        mType = kNone;
        mUrl.clear();
        mLength = 0;
        platform::log(QStringLiteral("Could not load midi file"));
        platform::log(QStringLiteral("FilePlayer: %1: %2").arg(path, why));
        return false;
    }
    platform::log(QStringLiteral("midi sequence has %1 tracks").arg(midi->trackCount()));
    mLength = midi->lengthSeconds();
    platform::log(QStringLiteral("MIDI track length: %1 seconds (%2 beats)")
                      .arg(mLength, 0, 'g', 6)
                      .arg(midi->lengthBeats(), 0, 'g', 6));
    auto schedule = std::make_unique<MidiSchedule>(*midi, mOutputRate);
    withRenderHeld([&] { mSchedule = std::move(schedule); });
    mMidi = std::move(midi);
    mUrl = path;
    mType = kMidi;
    return true;
}

void FilePlayer::unload()
{
    stop();
    withRenderHeld([this] { mSchedule.reset(); });
    mReader.reset();
    mMidi.reset();
    mType = kNone;
    mUrl.clear();
    mLength = 0;
    mStartTime = mRegionStart = mRegionEnd = 0;
}

double FilePlayer::playEnd() const { return mRegionEnd > 0 ? mRegionEnd : mLength; }

void FilePlayer::play()
{
    if (isPlaying() || mType == kNone)
        return;
    if (mRegionStart != 0 && mStartTime < mRegionStart)
        mStartTime = mRegionStart;
    if (mRegionEnd != 0 && mStartTime > mRegionEnd)
        mStartTime = mRegionStart;

    if (mType == kMidi) {
        const double beats = mMidi->secondsToBeats(mStartTime);
        platform::log(QStringLiteral("Starting midi at %1").arg(beats, 0, 'g', 6));
        withRenderHeld([this] {
            mSchedule->cue(std::llround(mStartTime * mOutputRate));
            mResetSampler = true;
            mPlayFrames = 0;
        });
    } else {
        std::unique_ptr<AudioRegionStream> old;
        withRenderHeld([&] { old = std::move(mStream); });
        old.reset();
        // A file replaced under the same name (an export over it) plays as it is now.
        if (platform::FileStamp::of(mUrl) != mStamp) {
            platform::log(QStringLiteral("FilePlayer: %1 changed on disk, reading it again").arg(mUrl));
            if (!openReader(mUrl))
                return;
        }
        if (!mReader->setClientFormat(mOutputRate, mReader->channels(), platform::SampleType::Float32)) {
            platform::log(QStringLiteral("Could not set ScheduledFileIDs"));
            return;
        }
        AudioRegionStream::Region region;
        region.first = std::llround(mStartTime * mOutputRate);
        region.end = mRegionEnd > 0 ? std::llround(mRegionEnd * mOutputRate) : mReader->clientLengthFrames();
        region.loopStart = std::llround(mRegionStart * mOutputRate);
        region.loop = mLoop;
        auto stream = std::make_unique<AudioRegionStream>(*mReader, region, mOutputRate);
        withRenderHeld([&] {
            mStream = std::move(stream);
            mPlayFrames = 0;
        });
    }
    mPlaying = true;
    mTimer.start();
    updateNowPlaying();
    emit playingChanged(true);
}

// Stops where play is, so that the next play goes on from there (or from the region's start
// when play had reached the end).
void FilePlayer::pause()
{
    if (isPlaying()) {
        const double now = getCurrentTime();
        mStartTime = now < playEnd() ? now : mRegionStart;
    }
    stop();
}

void FilePlayer::stop()
{
    const bool wasPlaying = mPlaying.exchange(false);
    mTimer.stop();
    std::unique_ptr<AudioRegionStream> old;
    withRenderHeld([&] {
        old = std::move(mStream);
        mResetSampler = true;
    });
    if (wasPlaying)
        emit playingChanged(false);
}

void FilePlayer::teardown()
{
    platform::log(QStringLiteral("FilePlayer: teardown"));
    stop();
    withRenderHeld([this] {
        mSchedule.reset();
        mSampler.reset();
        mGraphRunning = false;
    });
}

void FilePlayer::startGraph()
{
    platform::log(QStringLiteral("FilePlayer: startGraph"));
    mGraphRunning = true;
}

void FilePlayer::stopGraph()
{
    platform::log(QStringLiteral("FilePlayer: stopGraph"));
    mGraphRunning = false;
}

double FilePlayer::getCurrentTime() const
{
    if (mOutputRate <= 0)
        return mStartTime;
    const int64_t played = playFrames();
    if (mType == kMidi)
        return mStartTime + double(played) / mOutputRate;
    if (mType != kAudio || !mStream)
        return mStartTime;
    const AudioRegionStream::Region& r = mStream->region();
    int64_t pos = r.first + played;
    if (r.loop && pos >= r.end)
        pos = r.loopStart + (pos - r.end) % (r.end - r.loopStart);
    return double(pos) / mOutputRate;
}

void FilePlayer::timerCallback()
{
    const double now = getCurrentTime();
    const double end = playEnd();
    mCurrentTime = std::min(now, end);
    if (mDelegate)
        mDelegate->filePlayerProgress(this);
    const bool looping = mType == kAudio && mStream && mStream->region().loop;
    if (!looping && now > end + kFinishSlack) {
        stop();
        platform::NotificationCenter::defaultCenter().post(notifications::kFilePlayerDidFinish, this);
    }
}

void FilePlayer::waitForAudio(uint32_t frames) const
{
    if (mPlaying && mType == kAudio && mStream)
        mStream->waitFor(frames);
}

void FilePlayer::applyFades(float* const* buffers, uint32_t frames, int64_t from) const
{
    const AudioRegionStream::Region& r = mStream->region();
    const int64_t fadeInFrames = int64_t(fadeIn() * mOutputRate);
    const int64_t fadeOutFrames = int64_t(fadeOut() * mOutputRate);
    const int64_t total = r.end - r.loopStart;
    if (fadeInFrames <= 0 && fadeOutFrames <= 0)
        return;
    for (uint32_t i = 0; i < frames; ++i) {
        int64_t pos = r.first + from + i;
        if (r.loop && pos >= r.end)
            pos = r.loopStart + (pos - r.end) % total;
        const int64_t p = pos - r.loopStart;
        const float gain = (!r.loop && p >= total) ? 0.0f : Utils::fadeGain(p, total, fadeInFrames, fadeOutFrames);
        buffers[0][i] *= gain;
        buffers[1][i] *= gain;
    }
}

void FilePlayer::render(float* const* buffers, uint32_t frames)
{
    mInRender.fetch_add(1);
    if (mHold.load() || !mGraphRunning.load(std::memory_order_relaxed)) {
        mInRender.fetch_sub(1);
        return;
    }
    if (frames != mLastFrames) {
        platform::RealtimeLog::post("FilePlayer callback: %d frames\n", int(frames));
        mLastFrames = frames;
    }
    if (mResetSampler.exchange(false) && mSampler)
        mSampler->reset();
    if (mPlaying.load()) {
        if (mType == kAudio && mStream) {
            const int64_t from = mPlayFrames.load(std::memory_order_relaxed);
            const uint32_t got = mStream->read(buffers, frames);
            applyFades(buffers, got, from);
            // Past the region's end the time line runs on in silence; a late disk only delays it.
            const uint32_t advance = (got < frames && mStream->drained()) ? frames : got;
            mPlayFrames.store(from + advance, std::memory_order_relaxed);
        } else if (mType == kMidi && mSchedule && mSampler) {
            mSchedule->render(*mSampler, buffers, frames);
            mPlayFrames.fetch_add(frames, std::memory_order_relaxed);
        }
        const float gain = volume();
        if (gain != 1.0f)
            for (int c = 0; c < platform::kHostChannels; ++c)
                for (uint32_t i = 0; i < frames; ++i)
                    buffers[c][i] *= gain;
    }
    mInRender.fetch_sub(1);
}
