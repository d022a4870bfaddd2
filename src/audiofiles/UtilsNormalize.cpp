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
// than this is encoded again with its gain corrected.
constexpr double kLossyPeakTolerance = 0.05 / 20;
// A correction that decoders apply exactly (1/256 dB steps) aims closer: 0.01 dB.
constexpr double kDecoderGainTolerance = 0.01 / 20;
// Encodes of a lossy result at most: the first and its corrections. One correction lands
// when the encoder's error grows with the gain; where its choices change with the level (a
// low bit rate, sharp attacks, Vorbis) the next corrections close in on full scale.
constexpr int kMostLossyEncodes = 5;

// The loudest sample of a written file as a player decodes it; 0 when it can't be read or
// the operation is cancelled.
float decodedPeak(const QString& path, const CancelFlag* cancel)
{
    auto written = openSource(path, "Could not set client format on input audiofile");
    if (!written)
        return 0;
    const int channels = written->channels();
    float peak = 0;
    std::vector<float> buffer;
    const bool ok = streamChunks(
        *written, nullptr, buffer, INT64_MAX,
        [&](float* chunk, int frames, int64_t) { peak = SampleProcessing::peak(chunk, size_t(frames) * channels, peak); }, {},
        cancel);
    return ok ? peak : 0;
}

// How far a decoded peak lies from full scale, in powers of ten either way.
double distanceFromFullScale(float peak) { return std::abs(std::log10(double(peak))); }

struct Measured {
    float gain;
    float decoded;
};

// The gain for the next encode: between the closest encodes that decoded above and below full
// scale when there are both, else the last one's gain corrected by its decoded peak.
float nextGain(const std::vector<Measured>& tried)
{
    const Measured* above = nullptr;
    const Measured* below = nullptr;
    for (const Measured& m : tried) {
        if (m.decoded >= 1 && (!above || m.decoded < above->decoded))
            above = &m;
        if (m.decoded < 1 && (!below || m.decoded > below->decoded))
            below = &m;
    }
    if (!above || !below)
        return tried.back().gain / tried.back().decoded;
    const float t = (1 - below->decoded) / (above->decoded - below->decoded);
    return below->gain + t * (above->gain - below->gain);
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

    // One encode into a part file of its own, so the closest of several stays while the next
    // is tried. Each takes half of the progress left.
    struct Attempt {
        std::unique_ptr<PartFile> temp;
        QString dest;
        float gain = 0;
        float decoded = 0;
        int64_t written = 0;
    };
    double from = 0.5;
    bool lossy = false;
    bool decoderGain = false;
    auto encode = [&](float gain, double decoderDb) -> std::optional<Attempt> {
        Attempt a;
        a.gain = gain;
        a.temp = temporaryFileFor(dest);
        if (!a.temp)
            return std::nullopt;
        auto output = createKeepingFormat(*reader, a.temp->path(), dest, true);
        if (!output)
            return std::nullopt;
        a.dest = output->dest;
        lossy = isLossy(output->writer->fileFormat());
        decoderGain = output->writer->setDecoderGain(decoderDb);
        const double share = lossy ? (1 - from) / 2 : 1 - from;
        const bool ok = reader->seek(0) &&
                        streamChunks(
                            *reader, output->writer.get(), buffer, INT64_MAX,
                            [&](float* chunk, int frames, int64_t) {
                                SampleProcessing::scale(chunk, size_t(frames) * channels, gain);
                            },
                            [&](int64_t done) {
                                a.written = done;
                                report(progressBlock, from + share * done / total);
                            },
                            cancel) &&
                        finish(*output->writer, a.temp->path());
        if (!ok)
            return std::nullopt;
        from += share;
        return a;
    };

    auto best = encode(scale, 0);
    if (!best)
        return std::nullopt;
    if (lossy && peak > 0) {
        best->decoded = decodedPeak(best->temp->path(), cancel);
        std::vector<Measured> tried = {{best->gain, best->decoded}};
        // One more encode, measured; it becomes the result when it decodes nearer full scale.
        auto tryEncode = [&](float gain, double decoderDb) {
            auto next = encode(gain, decoderDb);
            if (!next)
                return false;
            next->decoded = decodedPeak(next->temp->path(), cancel);
            tried.push_back({next->gain, next->decoded});
            if (next->decoded > 0 && distanceFromFullScale(next->decoded) < distanceFromFullScale(best->decoded))
                best = std::move(next);
            return true;
        };
        // A format whose decoders apply a gain of its header (Opus) takes the correction there,
        // exactly, on the same encode.
        if (decoderGain && best->decoded > 0 && distanceFromFullScale(best->decoded) > kDecoderGainTolerance) {
            const double db = -20 * std::log10(double(best->decoded));
            log(QString::asprintf("Decoded peak: %g, decoders scale it by %.2f dB", double(best->decoded), db));
            if (!tryEncode(best->gain, db))
                return std::nullopt;
        }
        while (!decoderGain && int(tried.size()) < kMostLossyEncodes && tried.back().decoded > 0 &&
               distanceFromFullScale(best->decoded) > kLossyPeakTolerance) {
            const Measured last = tried.back();
            const float corrected = nextGain(tried);
            log(QString::asprintf("Decoded peak: %g, scaling again with: %g", double(last.decoded), double(corrected)));
            if (!tryEncode(corrected, 0))
                return std::nullopt;
            // The AAC encoder pulls whatever would peak above about 0.95 down to it: a louder
            // encode that decodes no louder has met that ceiling.
            if (corrected > last.gain && tried.back().decoded <= last.decoded * 1.001f)
                break;
        }
        if (distanceFromFullScale(best->decoded) > (decoderGain ? kDecoderGainTolerance : kLossyPeakTolerance))
            log(QString::asprintf("The encoder keeps the peak at %g after decoding", double(best->decoded)));
        report(progressBlock, 1);
    }
    // Cancelled while a result was measured: nothing arrives.
    if (cancel && cancel->load())
        return std::nullopt;
    const double rate = reader->sampleRate();
    reader.reset();
    if (!moveIntoPlace(*best->temp, best->dest, true, best->written, rate))
        return std::nullopt;
    return best->dest;
}

}  // namespace Utils
