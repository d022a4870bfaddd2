#include "audiofiles/AudioOperations.h"
#include "audiofiles/OperationSupport.h"
#include "platform/FourCC.h"
#include "platform/Log.h"

namespace Utils {

namespace {
constexpr double kDecodeSampleRate = 44100;
}

using namespace operations;

bool decode(const QString& src, const QString& dest, const ProgressBlock& progressBlock)
{
    // The reader converts the rate; the writer stores 16-bit samples.
    auto reader = openSource(src, "Could not set output format on audiofile", kDecodeSampleRate);
    if (!reader)
        return false;
    platform::StreamDescription format;
    format.sampleRate = kDecodeSampleRate;
    format.formatID = platform::fourCC("lpcm");
    format.formatFlags = platform::kFormatFlagSignedInteger | platform::kFormatFlagPacked;
    format.channelsPerFrame = uint32_t(reader->channels());
    format.bitsPerChannel = 16;
    format.bytesPerFrame = 2 * format.channelsPerFrame;
    format.framesPerPacket = 1;
    format.bytesPerPacket = format.bytesPerFrame;

    const auto temp = temporaryFileFor(dest, QStringLiteral("wav"));
    if (!temp)
        return false;
    auto writer = platform::AudioFileWriter::create(temp->path(), platform::fourCC("WAVE"), format);
    if (!writer) {
        platform::log(QStringLiteral("Could not create audiofile for writing"));
        return false;
    }
    if (!writer->setClientFormat(kDecodeSampleRate, reader->channels())) {
        platform::log(QStringLiteral("Could not set client format on audiofile"));
        return false;
    }
    const double total = double(reader->clientLengthFrames());
    report(progressBlock, 0);
    std::vector<float> buffer;
    int64_t written = 0;
    const bool ok = streamChunks(*reader, writer.get(), buffer, INT64_MAX, {}, [&](int64_t done) {
        written = done;
        report(progressBlock, done / total);
    });
    reader.reset();
    return ok && finish(*writer, temp->path()) && moveIntoPlace(*temp, dest, false, written, kDecodeSampleRate);
}

}  // namespace Utils
