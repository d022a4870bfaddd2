#pragma once
#include "platform/AudioFileWriter.h"

#include <memory>

namespace platform {

// AAC or ALAC in an M4A file (FFmpeg's iPod-flavoured MP4 muxer), MP3, and Vorbis or Opus in
// Ogg, through FFmpeg's encoders.
class FFmpegAudioWriter final : public AudioFileWriter {
public:
    static bool writes(uint32_t fileType, uint32_t formatID);
    static std::unique_ptr<AudioFileWriter> create(const QString& path, uint32_t fileType, const StreamDescription& format,
                                                   QString* reason);
    // Written as fragments of about a checkpoint each, every one complete with its index, so
    // a file cut off anywhere plays up to its last checkpoint; close() makes it a plain M4A.
    static std::unique_ptr<AudioFileWriter> createFragmented(const QString& path, const StreamDescription& format,
                                                             QString* reason);
    ~FFmpegAudioWriter() override;

    bool hasEncoder() const override { return true; }
    bool setCodecQuality(int quality) override;
    bool setEncodeBitRate(int bitsPerSecond) override;
    int encodeBitRate() override;
    bool start() override;
    bool setDecoderGain(double decibels) override;

protected:
    bool writeFile(const float* interleaved, int64_t frames) override;
    bool finishFile() override;
    bool checkpointFile() override;

private:
    struct Handles;
    FFmpegAudioWriter(const QString& path, const StreamDescription& format, std::unique_ptr<Handles> handles);
    // Settings are fixed when the encoder opens: at the first write or when the bit rate is read.
    bool ensureOpen();
    // The container's header goes out with the first samples, after every setting.
    bool ensureHeader();
    bool encode(bool flush);

    std::unique_ptr<Handles> mH;
    bool mFragmented = false;
};

}  // namespace platform
