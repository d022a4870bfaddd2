#pragma once
#include "platform/AudioFileWriter.h"

#include <vector>

struct sf_private_tag;

namespace platform {

// Linear PCM in WAVE, AIFF, AIFC, CAF, AU and W64, FLAC, and ALAC in CAF, through libsndfile.
class SndfileAudioWriter final : public AudioFileWriter {
public:
    static bool handles(uint32_t fileType, const StreamDescription& format);
    static std::unique_ptr<AudioFileWriter> create(const QString& path, uint32_t fileType,
                                                   const StreamDescription& format, uint64_t channelMask,
                                                   QString* reason, bool recoverable = false);
    ~SndfileAudioWriter() override;

protected:
    bool writeFile(const float* interleaved, int64_t frames) override;
    bool finishFile() override;
    bool checkpointFile() override;

private:
    enum class Samples { Int16, Int24, Float };  // what we convert to before libsndfile sees it
    SndfileAudioWriter(const QString& path, const StreamDescription& format, sf_private_tag* file, Samples samples);

    sf_private_tag* mHandle;
    Samples mSamples;
    std::vector<int16_t> mShorts;
    std::vector<int32_t> mInts;
};

}  // namespace platform
