#pragma once
#include "platform/StreamDescription.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

struct SwrContext;

namespace platform {

// Sample layout of client data: always interleaved, native endian.
enum class SampleType { Float32, Int16 };

inline int bytesPerSample(SampleType type) { return type == SampleType::Float32 ? 4 : 2; }

// What a reader knows about the file itself.
struct AudioFileInfo {
    uint32_t fileType = 0;     // container: 'WAVE', 'AIFF', 'AIFC', 'caff', 'm4af', 'mp4f', 'MPG3', 'adts', ...; 0 unknown
    uint32_t dataFormat = 0;   // codec: 'lpcm', 'aac ', 'alac', '.mp3', 'ac-3', ...
    uint32_t formatFlags = 0;  // linear PCM: float/big-endian/signed/packed; ALAC: source depth 1..4
    double sampleRate = 0;
    int channels = 0;
    int64_t lengthFrames = 0;  // exact when lengthIsExact, otherwise the container's estimate
    bool lengthIsExact = true;
    int64_t bitRate = 0;       // bits per second, 0 when unknown
    int bitsPerSample = 0;     // linear PCM depth; 0 for compressed data
    uint64_t channelMask = 0;  // speaker positions in WAVE's channel-mask bits; 0 when not given
    double duration() const { return sampleRate > 0 ? double(lengthFrames) / sampleRate : 0.0; }
    // The file's data format as a stream description (packet fields of compressed data left 0).
    StreamDescription description() const;
};

// Reads any audio file we know, streaming, and delivers it in a client format chosen by the
// caller: interleaved float32 or int16, any sample rate, the file's channels. The backends
// (libsndfile for PCM containers, FFmpeg for the rest) stay behind this interface.
class AudioFileReader {
public:
    // Tries every backend in turn; nullptr (with the reason logged) when none reads the file.
    static std::unique_ptr<AudioFileReader> open(const QString& path);
    virtual ~AudioFileReader();
    AudioFileReader(const AudioFileReader&) = delete;
    AudioFileReader& operator=(const AudioFileReader&) = delete;

    const AudioFileInfo& info() const { return mInfo; }
    uint32_t fileType() const { return mInfo.fileType; }
    uint32_t dataFormat() const { return mInfo.dataFormat; }
    double sampleRate() const { return mInfo.sampleRate; }
    int channels() const { return mInfo.channels; }
    int64_t lengthFrames() const { return mInfo.lengthFrames; }
    double duration() const { return mInfo.duration(); }
    int64_t bitRate() const { return mInfo.bitRate; }
    int bitsPerSample() const { return mInfo.bitsPerSample; }

    // Until called, the client format is float32 at the file's rate. Channels must be the file's.
    // Resets the position to the start.
    bool setClientFormat(double sampleRate, int channels, SampleType type);
    double clientSampleRate() const { return mClientRate; }
    SampleType clientSampleType() const { return mClientType; }
    int clientBytesPerFrame() const { return mInfo.channels * bytesPerSample(mClientType); }
    int64_t clientLengthFrames() const;
    // The client frame the next read starts at.
    int64_t clientPosition() const { return mClientPosition; }

    // Reads up to `frames` client frames into `interleaved`; answers the frames read, 0 at the
    // end of the file, -1 on a decoding error.
    int64_t read(void* interleaved, int64_t frames);
    // Positions the next read at a client frame, exactly: the frames that follow are those a
    // read from the start would have delivered there.
    bool seek(int64_t clientFrame);

protected:
    explicit AudioFileReader(AudioFileInfo info);
    // The backend's part: frames at the file's rate and channels in the given sample type.
    virtual int64_t readFile(void* interleaved, int64_t frames, SampleType type) = 0;
    virtual bool seekFile(int64_t frame) = 0;

    AudioFileInfo mInfo;

private:
    bool resampling() const;
    bool resetResampler();
    int64_t readResampled(uint8_t* out, int64_t frames);
    int64_t readClient(void* interleaved, int64_t frames);

    double mClientRate;
    SampleType mClientType = SampleType::Float32;
    struct SwrDeleter {
        void operator()(SwrContext* s) const;
    };
    std::unique_ptr<SwrContext, SwrDeleter> mSwr;
    std::vector<float> mFileChunk;  // file-rate frames on their way into the resampler
    bool mFileEnded = false;
    bool mFlushed = false;
    int64_t mClientPosition = 0;
};

}  // namespace platform
