#pragma once
#include "platform/AudioFileReader.h"

#include <memory>

struct AVFormatContext;
struct AVCodecContext;
struct AVFrame;
struct AVPacket;
struct SwrContext;

namespace platform {

// Reads every other container and codec FFmpeg decodes (MP3, MP2, MP1, M4A/MP4 with AAC or
// ALAC, ADTS, AC3, AMR, 3GP, FLAC, ...).
class FFmpegAudioReader final : public AudioFileReader {
public:
    static std::unique_ptr<AudioFileReader> open(const QString& path, QString* reason);
    ~FFmpegAudioReader() override;

protected:
    int64_t readFile(void* interleaved, int64_t frames, SampleType type) override;
    bool seekFile(int64_t frame) override;

private:
    struct Handles;
    FFmpegAudioReader(std::unique_ptr<Handles> handles, AudioFileInfo info);
    // Decodes the next frame into mFrame; false at the end or on an error (mFailed).
    bool decodeNextFrame();
    bool rewindToStart();
    bool seekByIndex(int64_t frame);
    bool setOutputType(SampleType type);

    std::unique_ptr<Handles> mH;
    int64_t mPosition = 0;        // file frame of the next sample to deliver
    int64_t mNextFrameStart = 0;  // file frame where the next decoded frame begins
    int64_t mFrameOffset = 0;     // samples of the current frame already delivered or skipped
    int64_t mTarget = -1;         // a seek target still to be reached by decoding, or -1
    // Where the next frame's position comes from: counting, or its timestamp after a seek
    // (trusted) or after a rewind (trusted only when it doesn't overshoot).
    // After a seek through the packet index, the first frame's place comes from its packet.
    enum class Resync { None, AfterSeek, AfterRewind, AfterIndexSeek };
    Resync mResync = Resync::None;
    bool mFrameValid = false;
    bool mEnded = false;
    bool mFailed = false;
};

}  // namespace platform
