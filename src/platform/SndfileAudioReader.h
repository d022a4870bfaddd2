#pragma once
#include "platform/AudioFileReader.h"

#include <memory>
#include <vector>

struct sf_private_tag;

namespace platform {

// Reads the PCM containers (WAV, AIFF/AIFC, CAF, NeXT/Sun au) through libsndfile.
class SndfileAudioReader final : public AudioFileReader {
public:
    // nullptr with the reason when libsndfile can't or shouldn't read the file.
    static std::unique_ptr<AudioFileReader> open(const QString& path, QString* reason);
    ~SndfileAudioReader() override;

protected:
    int64_t readFile(void* interleaved, int64_t frames, SampleType type) override;
    bool seekFile(int64_t frame) override;

private:
    struct Closer {
        void operator()(sf_private_tag* file) const;
    };
    using Handle = std::unique_ptr<sf_private_tag, Closer>;
    SndfileAudioReader(Handle file, AudioFileInfo info);
    int64_t readFloatAsInt16(int16_t* out, int64_t frames);
    int64_t readInt16AsFloat(float* out, int64_t frames);

    Handle mFile;
    std::vector<float> mScratch;
    std::vector<int16_t> mShorts;
};

}  // namespace platform
