#include "audiofiles/AudioOperations.h"
#include "audiofiles/OperationSupport.h"
#include "audiofiles/SampleProcessing.h"
#include "platform/FourCC.h"
#include "platform/Log.h"

#include <cmath>

namespace Utils {

using namespace operations;
using platform::log;

namespace {

// 0.05 dB as a power of ten: a lossy result whose decoded peak is further from full scale
// than this is scaled again.
constexpr double kLossyPeakTolerance = 0.05 / 20;

bool isLossy(const platform::StreamDescription& format)
{
    return format.formatID != platform::fourCC("lpcm") && format.formatID != platform::fourCC("alac") &&
           format.formatID != platform::fourCC("flac");
}

// The loudest sample of a written file as a player decodes it; 0 when it can't be read.
float decodedPeak(const QString& path)
{
    auto written = openSource(path, "Could not set client format on input audiofile");
    if (!written)
        return 0;
    const int channels = written->channels();
    float peak = 0;
    std::vector<float> buffer;
    const bool ok = streamChunks(
        *written, nullptr, buffer, INT64_MAX,
        [&](float* chunk, int frames, int64_t) { peak = SampleProcessing::peak(chunk, size_t(frames) * channels, peak); }, {});
    return ok ? peak : 0;
}

}  // namespace

std::optional<QString> normalize(const QString& src, const QString& dest, const ProgressBlock& progressBlock,
                                 const CancelFlag* cancel)
{
    auto reader = openSource(src, "Could not set client format on input audiofile");
    if (!reader)
        return std::nullopt;
    const double total = double(reader->lengthFrames());
    const int channels = reader->channels();
    std::vector<float> buffer;

    report(progressBlock, 0);
    float peak = 0;
    const bool scanned = streamChunks(
        *reader, nullptr, buffer, INT64_MAX,
        [&](float* chunk, int frames, int64_t) { peak = SampleProcessing::peak(chunk, size_t(frames) * channels, peak); },
        [&](int64_t done) { report(progressBlock, 0.5 * done / total); }, cancel);
    if (!scanned)
        return std::nullopt;
    log(QString::asprintf("Found peak: %g", double(peak)));
    const float scale = peak > 0 ? 1.0f / peak : 1.0f;
    log(QString::asprintf("Scaling with: %g", double(scale)));
    log(QStringLiteral("normalizing..."));

    const auto temp = temporaryFileFor(dest);
    if (!temp)
        return std::nullopt;
    auto output = createKeepingFormat(*reader, temp->path(), dest, true);
    if (!output)
        return std::nullopt;
    // A lossy encoder moves the peak; its result is measured and written once more with the
    // gain corrected, so the last quarter of the progress belongs to that.
    const bool lossy = isLossy(output->writer->fileFormat());
    const double share = lossy ? 0.25 : 0.5;
    int64_t written = 0;
    auto writeScaled = [&](float gain, double from) {
        return reader->seek(0) &&
               streamChunks(
                   *reader, output->writer.get(), buffer, INT64_MAX,
                   [&](float* chunk, int frames, int64_t) { SampleProcessing::scale(chunk, size_t(frames) * channels, gain); },
                   [&](int64_t done) {
                       written = done;
                       if (from < 1)
                           report(progressBlock, from + share * done / total);
                   },
                   cancel) &&
               finish(*output->writer, temp->path());
    };
    if (!writeScaled(scale, 0.5))
        return std::nullopt;
    if (lossy && peak > 0) {
        const float decoded = decodedPeak(temp->path());
        if (decoded > 0 && std::abs(std::log10(decoded)) > kLossyPeakTolerance) {
            const float corrected = scale / decoded;
            log(QString::asprintf("Decoded peak: %g, scaling again with: %g", double(decoded), double(corrected)));
            output = createKeepingFormat(*reader, temp->path(), dest, true);
            if (!output || !writeScaled(corrected, 0.75))
                return std::nullopt;
            // The AAC encoder pulls stretches that would peak above about 0.95 down to it, and a
            // small change of gain can move its artefacts a lot: a correction that lands further
            // away gives way to the first gain again (the encoder repeats itself exactly).
            float after = decodedPeak(temp->path());
            if (after > 0 && std::abs(std::log10(after)) > std::abs(std::log10(decoded))) {
                output = createKeepingFormat(*reader, temp->path(), dest, true);
                // Progress already stands at its end.
                if (!output || !writeScaled(scale, 1))
                    return std::nullopt;
                after = decoded;
            }
            if (after > 0 && std::abs(std::log10(after)) > kLossyPeakTolerance)
                log(QString::asprintf("The encoder keeps the peak at %g after decoding", double(after)));
        }
        report(progressBlock, 1);
    }
    const double rate = reader->sampleRate();
    reader.reset();
    if (!moveIntoPlace(*temp, output->dest, true, written, rate))
        return std::nullopt;
    return output->dest;
}

}  // namespace Utils
