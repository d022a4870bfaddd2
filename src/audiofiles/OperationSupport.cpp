#include "audiofiles/OperationSupport.h"

#include "platform/FourCC.h"
#include "platform/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <limits>

namespace Utils::operations {

using platform::AudioFileReader;
using platform::AudioFileWriter;
using platform::fourCC;
using platform::log;

namespace {

// Encoders pad to whole packets and rate converters round at both ends.
constexpr int64_t kLengthSlackFrames = 8192;
// The error code reported when the writer refuses a client format.
constexpr uint32_t kFormatNotSupported = fourCC("fmt?");

// The WAVE a source falls back to: its own depth where WAVE holds it, 16 bits when the
// source's depth is unknown (lossy data).
platform::StreamDescription fallbackFormat(const AudioFileReader& src)
{
    const platform::StreamDescription d = src.info().description();
    int bits = 16;
    bool isFloat = false;
    if (d.formatID == fourCC("lpcm")) {
        bits = int(d.bitsPerChannel);
        isFloat = d.formatFlags & platform::kFormatFlagFloat;
    } else if (d.formatID == fourCC("alac") || d.formatID == fourCC("flac")) {
        bits = platform::alacBitsForFlags(d.formatFlags);
    }
    platform::StreamDescription f = platform::linearPCM16(src.sampleRate(), uint32_t(src.channels()));
    if (isFloat) {
        f.formatFlags = platform::kFormatFlagFloat | platform::kFormatFlagPacked;
        f.bitsPerChannel = 32;
    } else if (bits > 16) {
        f.bitsPerChannel = bits <= 24 ? 24 : 32;
    }
    f.bytesPerFrame = f.channelsPerFrame * (f.bitsPerChannel / 8);
    f.bytesPerPacket = f.bytesPerFrame;
    return f;
}

// A lossy result keeps the source's bit rate, as near as its encoder comes, and every encoded
// result gets the encoder's most careful search. False when the encoder refuses to start.
bool keepEncoderSettings(const AudioFileReader& src, AudioFileWriter& writer)
{
    if (!writer.hasEncoder())
        return true;
    writer.setCodecQuality(127);
    const bool lossy = isLossy(writer.fileFormat());
    if (lossy && src.bitRate() > 0 && !writer.setEncodeBitRate(int(src.bitRate())))
        log(QString::asprintf("Could not set bitrate %d (error %d)", int(src.bitRate()), int(fourCC("prop"))));
    if (!writer.start())
        return false;
    if (const int actual = lossy ? writer.encodeBitRate() : 0; actual > 0)
        log(QString::asprintf("Encoding with bit rate %d", actual));
    return true;
}

QString withWavExtension(const QString& path)
{
    const QFileInfo info(path);
    const QString base = info.suffix().isEmpty() ? path : path.left(path.size() - info.suffix().size() - 1);
    return base + QStringLiteral(".wav");
}

}  // namespace

bool isLossy(const platform::StreamDescription& format)
{
    return format.formatID != fourCC("lpcm") && format.formatID != fourCC("alac") && format.formatID != fourCC("flac");
}

std::unique_ptr<PartFile> temporaryFileFor(const QString& dest, const QString& extension)
{
    const QFileInfo info(dest);
    return PartFile::create(info.absolutePath(), extension.isEmpty() ? info.suffix() : extension);
}

std::unique_ptr<AudioFileReader> openReader(const QString& src)
{
    auto reader = AudioFileReader::open(src);
    if (reader && reader->info().lengthIsExact && reader->lengthFrames() == 0) {
        log(QStringLiteral("No audio frames in %1").arg(src));
        reader.reset();
    }
    if (!reader)
        log(QStringLiteral("Could not open audio URL %1").arg(src));
    return reader;
}

std::unique_ptr<AudioFileReader> openSource(const QString& src, const char* clientFormatError, double clientRate)
{
    auto reader = openReader(src);
    if (!reader)
        return nullptr;
    if (!reader->setClientFormat(clientRate > 0 ? clientRate : reader->sampleRate(), reader->channels(),
                                 platform::SampleType::Float32)) {
        log(QLatin1String(clientFormatError));
        return nullptr;
    }
    return reader;
}

bool moveIntoPlace(PartFile& temp, const QString& dest, bool replace, int64_t expectedFrames, double rate)
{
    const auto written = AudioFileReader::open(temp.path());
    if (!written) {
        log(QStringLiteral("Could not open audio URL %1").arg(temp.path()));
        return false;
    }
    const int64_t frames =
        written->sampleRate() == rate ? written->lengthFrames() : int64_t(double(written->lengthFrames()) * rate / written->sampleRate());
    if (frames <= 0 || frames < expectedFrames - kLengthSlackFrames || frames > expectedFrames + kLengthSlackFrames) {
        log(QStringLiteral("%1 holds %2 frames instead of %3").arg(temp.path()).arg(frames).arg(expectedFrames));
        return false;
    }
    return temp.commit(dest, replace);
}

std::optional<KeptFormatOutput> createKeepingFormat(const AudioFileReader& src, const QString& temp, const QString& dest,
                                                    bool logClientFormatError)
{
    const platform::StreamDescription format = src.info().description();
    auto writer = AudioFileWriter::create(temp, src.fileType(), format, src.info().channelMask);
    if (!writer) {
        log(QStringLiteral("Could not create audiofile for writing"));
    } else {
        if (format.formatID != fourCC("lpcm"))
            log(QStringLiteral("Setting software codec"));
        const bool clientFormatSet = writer->setClientFormat(src.sampleRate(), src.channels());
        if (clientFormatSet && keepEncoderSettings(src, *writer))
            return KeptFormatOutput{std::move(writer), dest};
        if (!clientFormatSet && logClientFormatError) {
            const QByteArray code = platform::fourCCString(kFormatNotSupported).toLatin1();
            log(QString::asprintf("Could not set client format: %d %.4s", int(kFormatNotSupported), code.constData()));
        }
    }
    log(QStringLiteral("Creating standard WAVE instead"));
    writer.reset();
    // The part file is written over, never removed: its name and lock stay this operation's.
    writer = AudioFileWriter::create(temp, fourCC("WAVE"), fallbackFormat(src), src.info().channelMask);
    if (!writer) {
        log(QStringLiteral("Could not create standard WAVE audiofile for writing"));
        return std::nullopt;
    }
    if (!writer->setClientFormat(src.sampleRate(), src.channels())) {
        log(QStringLiteral("Could not set client format on audiofile for writing"));
        return std::nullopt;
    }
    return KeptFormatOutput{std::move(writer), withWavExtension(dest)};
}

bool streamChunks(AudioFileReader& src, AudioFileWriter* writer, std::vector<float>& buffer, int64_t limit,
                  const ChunkProcess& process, const std::function<void(int64_t done)>& progress, const CancelFlag* cancel)
{
    const int channels = src.channels();
    buffer.resize(size_t(kChunkFrames * channels));
    int64_t done = 0;
    while (done < limit) {
        if (cancel && cancel->load()) {
            log(QStringLiteral("Cancelled"));
            return false;
        }
        const int want = int(std::min<int64_t>(limit - done, kChunkFrames));
        const int64_t n = src.read(buffer.data(), want);
        if (n < 0) {
            log(QStringLiteral("Could not read audio data"));
            return false;
        }
        if (n == 0)
            break;
        if (process)
            process(buffer.data(), int(n), done);
        if (writer && !writer->write(buffer.data(), n)) {
            log(QStringLiteral("Could not write audio data"));
            return false;
        }
        done += n;
        if (progress)
            progress(done);
    }
    return true;
}

bool finish(AudioFileWriter& writer, const QString& temp)
{
    if (writer.close())
        return true;
    log(QStringLiteral("Could not finish writing %1").arg(temp));
    return false;
}

void report(const ProgressBlock& progressBlock, double fraction)
{
    if (progressBlock)
        progressBlock(float(fraction));
}

}  // namespace Utils::operations
