#include "audiofiles/AudioOperations.h"
#include "audiofiles/OperationSupport.h"
#include "audiofiles/SampleProcessing.h"
#include "platform/Log.h"

namespace Utils {

using namespace operations;
using platform::log;

std::optional<QString> trim(const QString& src, const QString& dest, double start, double end, double fadeIn,
                            double fadeOut, const ProgressBlock& progressBlock)
{
    auto reader = openSource(src, "Could not set client format on input audiofile");
    if (!reader)
        return std::nullopt;
    const auto temp = temporaryFileFor(dest);
    if (!temp)
        return std::nullopt;
    auto output = createKeepingFormat(*reader, temp->path(), dest, false);
    if (!output)
        return std::nullopt;

    const double rate = reader->sampleRate();
    SampleProcessing::TrimFades fades;
    fades.total = int64_t((end - start) * rate);
    fades.fadeInFrames = int64_t(rate * fadeIn);
    fades.fadeOutFrames = int64_t(rate * fadeOut);
    log(QString::asprintf("fade in: %lld frames, out: %lld frames", static_cast<long long>(fades.fadeInFrames),
                          static_cast<long long>(fades.fadeOutFrames)));
    if (!reader->seek(int64_t(rate * start)))
        return std::nullopt;

    const int channels = reader->channels();
    const double total = double(fades.total);
    int64_t written = 0;
    report(progressBlock, 0);
    std::vector<float> buffer;
    const bool ok = streamChunks(
        *reader, output->writer.get(), buffer, fades.total,
        [&](float* chunk, int frames, int64_t done) { fades.apply(chunk, frames, channels, done); },
        [&](int64_t done) {
            written = done;
            report(progressBlock, done / total);
        });
    reader.reset();
    if (ok && written == 0)
        log(QStringLiteral("Nothing to trim between %1 s and %2 s of %3").arg(start).arg(end).arg(src));
    if (!ok || written == 0 || !finish(*output->writer, temp->path())
        || !moveIntoPlace(*temp, output->dest, true, written, rate))
        return std::nullopt;
    return output->dest;
}

}  // namespace Utils
