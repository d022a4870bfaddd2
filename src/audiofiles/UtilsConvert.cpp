#include "audiofiles/AudioOperations.h"
#include "audiofiles/OperationSupport.h"
#include "audiofiles/RecFormats.h"
#include "audiofiles/SampleProcessing.h"
#include "platform/FourCC.h"
#include "platform/Log.h"

#include <algorithm>

namespace Utils {

namespace {
constexpr int kDefaultBitRate = 128000;
// Below this rate an AAC stream gets at most four bits per sample and channel pair.
constexpr double kLowSampleRate = 40000;
constexpr int kMaxCodecQuality = 127;
// Reported when the encoder refuses a property.
constexpr uint32_t kPropertyNotSupported = platform::fourCC("prop");
}  // namespace

using namespace operations;
using platform::log;

// The AAC encoder's bit rate: capped for low rates, halved for mono, and logged as the
// encoder really took it.
static void setUpAacEncoder(platform::AudioFileWriter& writer, const platform::StreamDescription& target, int bitRate)
{
    if (target.sampleRate < kLowSampleRate)
        bitRate = std::min(bitRate, int(4 * target.sampleRate));
    if (target.channelsPerFrame == 1)
        bitRate /= 2;
    if (!writer.hasEncoder()) {
        log(QStringLiteral("Could not get AudioConverter"));
        return;
    }
    if (!writer.setCodecQuality(kMaxCodecQuality))
        log(QString::asprintf("Could not set codec quality on AudioConverter %p", static_cast<void*>(&writer)));
    if (!writer.setEncodeBitRate(bitRate))
        log(QString::asprintf("Could not set bitrate %d (error %d)", bitRate, int(kPropertyNotSupported)));
    const int actual = writer.encodeBitRate();
    if (actual <= 0)
        log(QStringLiteral("Could not read kAudioConverterEncodeBitRate"));
    else
        log(QString::asprintf("Encoding with bit rate %d", actual));
    if (actual > 0 && actual < bitRate)
        log(QString::asprintf("The AAC encoder gives at most %d kb/s here, not the %d kb/s asked for", actual / 1000,
                              bitRate / 1000));
}

bool convert(const QString& src, const QString& dest, const ConversionOptions& format, const ProgressBlock& progressBlock,
             const CancelFlag* cancel)
{
    auto reader = openReader(src);
    if (!reader)
        return false;
    platform::StreamDescription target;
    target.sampleRate = format.samplerate;
    target.channelsPerFrame = uint32_t(format.channels);
    int bits = format.bits;
    if (format.format == kRecFormatALAC && bits > highestBitsForRecFormat(kRecFormatALAC)) {
        log(QString::asprintf("M4A ALAC takes at most %d bits; writing %d-bit samples", platform::kHighestAlacBits,
                              platform::kHighestAlacBits));
        bits = platform::kHighestAlacBits;
    }
    if (!setupASBD(target, format.format, bits))
        return false;
    const int bitRate = format.bitrate == 0 ? kDefaultBitRate : format.bitrate;

    const auto temp = temporaryFileFor(dest, fileExtensionForRecFormat(format.format));
    if (!temp)
        return false;
    auto writer = platform::AudioFileWriter::create(temp->path(), fileTypeForRecFormat(format.format), target);
    if (!writer) {
        log(QStringLiteral("Could not create audiofile for writing"));
        return false;
    }
    if (target.formatID != platform::fourCC("lpcm"))
        log(QStringLiteral("Setting software codec"));
    // Both ends take source-rate, source-channel float; the writer converts rate and channels.
    if (!reader->setClientFormat(reader->sampleRate(), reader->channels(), platform::SampleType::Float32)) {
        log(QStringLiteral("Could not set client format on src audiofile"));
        return false;
    }
    if (!writer->setClientFormat(reader->sampleRate(), reader->channels(), reader->info().channelMask)) {
        log(QStringLiteral("Could not set client format on dest audiofile"));
        return false;
    }
    if (target.formatID == platform::fourCC("aac "))
        setUpAacEncoder(*writer, target, bitRate);

    const bool toMono = reader->channels() == 2 && format.channels == 1;
    const double total = double(reader->clientLengthFrames());
    report(progressBlock, 0);
    std::vector<float> buffer;
    int64_t written = 0;
    const bool ok = streamChunks(
        *reader, writer.get(), buffer, INT64_MAX,
        toMono ? ChunkProcess([&](float* chunk, int frames, int64_t) {
            SampleProcessing::stereoToMonoInLeft(chunk, size_t(frames), format.stereomono);
        })
               : ChunkProcess(),
        [&](int64_t done) {
            written = done;
            report(progressBlock, done / total);
        },
        cancel);
    const double sourceRate = reader->sampleRate();
    reader.reset();
    return ok && finish(*writer, temp->path())
           && moveIntoPlace(*temp, dest, false, int64_t(double(written) * target.sampleRate / sourceRate), target.sampleRate);
}

}  // namespace Utils
