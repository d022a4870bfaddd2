#include "audiofiles/AudioOperations.h"
#include "audiofiles/OperationSupport.h"
#include "audiofiles/SampleProcessing.h"
#include "platform/Log.h"

namespace Utils {

using namespace operations;
using platform::log;

std::optional<QString> normalize(const QString& src, const QString& dest, const ProgressBlock& progressBlock)
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
        [&](int64_t done) { report(progressBlock, 0.5 * done / total); });
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
    if (!output || !reader->seek(0))
        return std::nullopt;
    int64_t written = 0;
    const bool ok = streamChunks(
        *reader, output->writer.get(), buffer, INT64_MAX,
        [&](float* chunk, int frames, int64_t) { SampleProcessing::scale(chunk, size_t(frames) * channels, scale); },
        [&](int64_t done) {
            written = done;
            report(progressBlock, 0.5 + 0.5 * done / total);
        });
    const double rate = reader->sampleRate();
    reader.reset();
    if (!ok || !finish(*output->writer, temp->path()) || !moveIntoPlace(*temp, output->dest, true, written, rate))
        return std::nullopt;
    return output->dest;
}

}  // namespace Utils
