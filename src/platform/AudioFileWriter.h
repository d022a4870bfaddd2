#pragma once
#include "platform/StreamDescription.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

struct SwrContext;

namespace platform {

struct SwresampleFunctions;

// What the encoders we ship can give. ALAC takes at most 24-bit samples. The AAC encoder's
// output stops growing well below the higher rates one can ask of it (at 44.1 kHz stereo
// 256 and 320 kb/s both come out near 225 kb/s, less for simple material); up to 96 kb/s a
// channel it keeps within a few percent of the request.
constexpr int kHighestAlacBits = 24;
constexpr int kHighestAacBitRatePerChannel = 96000;

// Writes the formats we can create: linear PCM in WAVE, AIFF, AIFC, CAF, W64 and AU, and FLAC
// (libsndfile); AAC or ALAC in M4A, MP3, and Vorbis or Opus in Ogg (FFmpeg). Takes interleaved float client data at any rate and channel count and
// converts it to the file's: 2 -> 1 channels keeps the first channel, 1 -> 2 duplicates it, and more
// channels mix down to stereo or mono by the standard down-mix matrices.
class AudioFileWriter {
public:
    // Creates the file (replacing any file there) with the given container type ('WAVE',
    // 'AIFF', 'caff', 'm4af', ...) and data format; nullptr with the reason logged when the
    // combination can't be written. A channel mask (WAVE's speaker bits, one a channel) is
    // written where the container records speaker positions.
    static std::unique_ptr<AudioFileWriter> create(const QString& path, uint32_t fileType,
                                                   const StreamDescription& fileFormat, uint64_t channelMask = 0);
    // A file that must survive the program being killed or the power going at any instant
    // (a recording): readable up to the last checkpoint() whatever happens after it. WAVE
    // continues as RF64 past 4 GiB; M4A is written in fragments, each complete with its
    // index, and made a plain M4A by close().
    static std::unique_ptr<AudioFileWriter> createRecoverable(const QString& path, uint32_t fileType,
                                                              const StreamDescription& fileFormat);
    virtual ~AudioFileWriter();
    AudioFileWriter(const AudioFileWriter&) = delete;
    AudioFileWriter& operator=(const AudioFileWriter&) = delete;

    const StreamDescription& fileFormat() const { return mFormat; }

    // Until called, client data has the file's rate and channels. The client's speaker
    // positions (WAVE's channel-mask bits) pick the down-mix; without them the usual layout
    // for the channel count is assumed.
    bool setClientFormat(double sampleRate, int channels, uint64_t channelMask = 0);

    // The encoder of compressed formats (AAC and ALAC); PCM has none.
    virtual bool hasEncoder() const { return false; }
    // 0..127; the highest values pick the encoder's most careful search.
    virtual bool setCodecQuality(int) { return false; }
    // AAC only; bits per second, taken as a request and held to what the encoder reaches.
    virtual bool setEncodeBitRate(int) { return false; }
    // The bit rate the encoder really uses once set up; 0 when there is none.
    virtual int encodeBitRate() { return 0; }
    // Fixes the encoder's settings and starts it; false when it refuses them (a rate its
    // tables can't reach). Writers without an encoder are always ready.
    virtual bool start() { return true; }
    // A gain every decoder applies to the whole file (Opus's header gain), set before the
    // first write; false where the format has none.
    virtual bool setDecoderGain(double) { return false; }

    bool write(const float* interleaved, int64_t frames);
    // Makes what was written so far readable after a crash (header sizes true, the open
    // fragment closed) and durable (on the disk). False with errno set when that fails.
    bool checkpoint();
    // Flushes everything and completes the file; false when that fails. Without it the
    // destructor only releases the file, leaving it incomplete.
    bool close();

protected:
    AudioFileWriter(QString path, const StreamDescription& fileFormat);
    // Frames at the file's rate and channels.
    virtual bool writeFile(const float* interleaved, int64_t frames) = 0;
    virtual bool finishFile() = 0;
    virtual bool checkpointFile() = 0;

    QString mPath;
    StreamDescription mFormat;

private:
    bool converting() const;
    // A converter from the client's rate and channels to the file's; `positional` takes the
    // positional down-mix matrix instead of the standard one. FFmpeg's error code.
    int makeConverter(const SwresampleFunctions* f, SwrContext** swr, int channels, uint64_t channelMask,
                      bool positional) const;

    double mClientRate;
    int mClientChannels;
    struct SwrDeleter {
        void operator()(SwrContext* s) const;
    };
    std::unique_ptr<SwrContext, SwrDeleter> mSwr;
    std::vector<float> mConverted;
    bool mClosed = false;
    int mSyncFd = -1;  // a descriptor of the file for fdatasync, opened at the first checkpoint
};

}  // namespace platform
