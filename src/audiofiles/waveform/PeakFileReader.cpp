#include "audiofiles/waveform/PeakReader.h"

#include "audiofiles/waveform/PeakSource.h"
#include "platform/AudioFileReader.h"
#include "platform/Log.h"

namespace PeakReader {
namespace {

// An opened file delivering float frames at its own rate and channel count.
class FilePeakSource : public PeakSource {
public:
    explicit FilePeakSource(std::unique_ptr<platform::AudioFileReader> reader) : mReader(std::move(reader)) {}
    double sampleRate() const override { return mReader->sampleRate(); }
    int channels() const override { return mReader->channels(); }
    int64_t lengthFrames() const override { return mReader->lengthFrames(); }
    bool seek(int64_t frame) override { return mReader->seek(frame); }
    int read(float* interleaved, int frames) override { return int(std::max<int64_t>(0, mReader->read(interleaved, frames))); }

private:
    std::unique_ptr<platform::AudioFileReader> mReader;
};

}  // namespace

double readWaveformInto(Waveform& waveform, const QString& path, double startTime, double endTime,
                        const std::atomic<bool>& cancel)
{
    auto reader = platform::AudioFileReader::open(path);
    if (!reader) {
        platform::log(QStringLiteral("Could not open audio URL %1").arg(path));
        return 0;
    }
    if (!reader->setClientFormat(reader->sampleRate(), reader->channels(), platform::SampleType::Float32)) {
        platform::log(QStringLiteral("Could not set output format on audiofile"));
        return 0;
    }
    FilePeakSource source(std::move(reader));
    return readWaveformInto(waveform, source, startTime, endTime, cancel);
}

}  // namespace PeakReader
