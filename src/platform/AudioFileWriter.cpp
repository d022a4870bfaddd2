#include "platform/AudioFileWriter.h"

#include "platform/CodecModule.h"
#include "platform/DownMix.h"
#include "platform/FourCC.h"
#include "platform/Log.h"
#include "platform/SndfileAudioWriter.h"
#include "platform/Swresample.h"

#include <QFile>
#include <bit>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <unistd.h>


namespace platform {

namespace {
constexpr int kUsualLayoutChannels = 8;
constexpr int kWaveSpeakerPositions = 18;
// libsndfile's limit; the encoders refuse what they can't hold themselves.
constexpr uint32_t kMostFileChannels = 1024;
// The most channels the rate and channel converter takes.
constexpr int kMostConvertedChannels = 64;
}  // namespace

std::unique_ptr<AudioFileWriter> AudioFileWriter::create(const QString& path, uint32_t fileType,
                                                         const StreamDescription& fileFormat, uint64_t channelMask)
{
    QString reason;
    std::unique_ptr<AudioFileWriter> writer;
    if (fileFormat.channelsPerFrame < 1 || fileFormat.channelsPerFrame > kMostFileChannels || fileFormat.sampleRate < 1000 ||
        fileFormat.sampleRate > 768000) {
        reason = QStringLiteral("%1 channels at %2 Hz").arg(fileFormat.channelsPerFrame).arg(fileFormat.sampleRate);
    } else if (SndfileAudioWriter::handles(fileType, fileFormat)) {
        writer = SndfileAudioWriter::create(path, fileType, fileFormat, channelMask, &reason);
    } else if (const CodecModule* codecs = codecModule(&reason)) {
        // The module knows which containers and codecs it encodes, and says so when it can't.
        writer = codecs->createWriter(path, fileType, fileFormat, &reason);
    }
    if (!writer)
        log(QStringLiteral("Could not create audio file %1: %2").arg(path, reason));
    return writer;
}

std::unique_ptr<AudioFileWriter> AudioFileWriter::createRecoverable(const QString& path, uint32_t fileType,
                                                                    const StreamDescription& fileFormat)
{
    QString reason;
    std::unique_ptr<AudioFileWriter> writer;
    if (SndfileAudioWriter::handles(fileType, fileFormat) && fileFormat.formatID == fourCC("lpcm")) {
        writer = SndfileAudioWriter::create(path, fileType, fileFormat, 0, &reason, true);
    } else if (fileType == fourCC("m4af") && (fileFormat.formatID == fourCC("aac ") || fileFormat.formatID == fourCC("alac"))) {
        if (const CodecModule* codecs = codecModule(&reason))
            writer = codecs->createFragmentedWriter(path, fileFormat, &reason);
    } else {
        reason = QStringLiteral("can't write '%1' data in a '%2' file recoverably")
                     .arg(fourCCString(fileFormat.formatID), fourCCString(fileType));
    }
    if (!writer)
        log(QStringLiteral("Could not create audio file %1: %2").arg(path, reason));
    return writer;
}

AudioFileWriter::AudioFileWriter(QString path, const StreamDescription& fileFormat)
    : mPath(std::move(path)),
      mFormat(fileFormat),
      mClientRate(fileFormat.sampleRate),
      mClientChannels(int(fileFormat.channelsPerFrame))
{
}

AudioFileWriter::~AudioFileWriter()
{
    if (mSyncFd >= 0)
        ::close(mSyncFd);
}

bool AudioFileWriter::checkpoint()
{
    if (mClosed)
        return false;
    if (!checkpointFile())
        return false;
    if (mSyncFd < 0)
        mSyncFd = ::open(QFile::encodeName(mPath).constData(), O_RDONLY | O_CLOEXEC);
    // fdatasync reaches the file's data and size whichever descriptor names it.
    return mSyncFd >= 0 && ::fdatasync(mSyncFd) == 0;
}

// A context exists only once the library was opened.
void AudioFileWriter::SwrDeleter::operator()(SwrContext* s) const { swresample()->swr_free(&s); }

bool AudioFileWriter::converting() const
{
    return mClientRate != mFormat.sampleRate || mClientChannels != int(mFormat.channelsPerFrame);
}

bool AudioFileWriter::setClientFormat(double sampleRate, int channels, uint64_t channelMask)
{
    const int fileChannels = int(mFormat.channelsPerFrame);
    // Mono and stereo go either way; more channels only mix down to mono or stereo.
    if (sampleRate < 1000 || sampleRate > 768000 || channels < 1 ||
        (channels != fileChannels && (fileChannels > 2 || channels > kMostConvertedChannels)))
        return false;
    mClientRate = sampleRate;
    mClientChannels = channels;
    mSwr.reset();
    if (!converting())
        return true;
    const SwresampleFunctions* f = swresample();
    if (!f) {
        mClientRate = mFormat.sampleRate;
        mClientChannels = fileChannels;
        return false;
    }

    // Without named positions: the usual layout up to 7.1, and beyond it WAVE's first speaker
    // positions, as WAVE files without a mask are taken.
    if (channelMask == 0 || std::popcount(channelMask) != channels) {
        channelMask = 0;
        if (channels > kUsualLayoutChannels && channels <= kWaveSpeakerPositions)
            channelMask = (uint64_t(1) << channels) - 1;
    }
    SwrContext* swr = nullptr;
    int err = makeConverter(f, &swr, channels, channelMask, false);
    // Layouts the standard down-mix refuses (more than 18 channels, a side channel without its
    // pair) take the positional matrix instead.
    if (err < 0 && channels > 2)
        err = makeConverter(f, &swr, channels, channelMask, true);
    mSwr.reset(swr);
    if (err < 0) {
        mSwr.reset();
        mClientRate = mFormat.sampleRate;
        mClientChannels = fileChannels;
        return false;
    }
    return true;
}

int AudioFileWriter::makeConverter(const SwresampleFunctions* f, SwrContext** swr, int channels, uint64_t channelMask,
                                   bool positional) const
{
    const int fileChannels = int(mFormat.channelsPerFrame);
    AVChannelLayout in{};
    AVChannelLayout out{};
    if (positional || channels == fileChannels) {
        // Channels kept as they are (or mixed by our own matrix): no layout needed.
        in.order = out.order = AV_CHANNEL_ORDER_UNSPEC;
        in.nb_channels = channels;
        out.nb_channels = fileChannels;
    } else {
        if (channelMask == 0 || f->av_channel_layout_from_mask(&in, channelMask) < 0)
            f->av_channel_layout_default(&in, channels);
        f->av_channel_layout_default(&out, fileChannels);
    }
    f->swr_free(swr);
    int err = f->swr_alloc_set_opts2(swr, &out, AV_SAMPLE_FMT_FLT, int(std::lround(mFormat.sampleRate)), &in,
                                     AV_SAMPLE_FMT_FLT, int(std::lround(mClientRate)), 0, nullptr);
    if (err >= 0 && positional) {
        const std::vector<double> matrix = positionalDownMix(channelMask, channels, fileChannels);
        err = matrix.empty() ? AVERROR(EINVAL) : f->swr_set_matrix(*swr, matrix.data(), channels);
    } else if (err >= 0 && channels > 2 && channels != fileChannels) {
        // The standard down-mix matrices (centre and surrounds at -3 dB, no LFE), scaled so
        // that no sum can pass full scale, as other tools mix surround files down.
        err = f->av_opt_set_double(*swr, "rematrix_maxval", 1.0, 0);
    } else if (err >= 0 && channels != fileChannels) {
        // 2 -> 1 keeps the first channel as it is; 1 -> 2 copies it to both.
        const double keepFirst[] = {1.0, 0.0};
        const double duplicate[] = {1.0, 1.0};
        err = channels == 2 ? f->swr_set_matrix(*swr, keepFirst, 2) : f->swr_set_matrix(*swr, duplicate, 1);
    }
    if (err >= 0)
        err = f->swr_init(*swr);
    f->av_channel_layout_uninit(&in);
    f->av_channel_layout_uninit(&out);
    if (err < 0)
        f->swr_free(swr);
    return err;
}

bool AudioFileWriter::write(const float* interleaved, int64_t frames)
{
    if (mClosed)
        return false;
    if (frames <= 0)
        return true;
    if (!mSwr)
        return writeFile(interleaved, frames);
    const int capacity = swresample()->swr_get_out_samples(mSwr.get(), int(frames));
    if (capacity < 0)
        return false;
    mConverted.resize(size_t(capacity) * mFormat.channelsPerFrame);
    auto* out = reinterpret_cast<uint8_t*>(mConverted.data());
    const auto* in = reinterpret_cast<const uint8_t*>(interleaved);
    const int n = swresample()->swr_convert(mSwr.get(), &out, capacity, &in, int(frames));
    return n >= 0 && (n == 0 || writeFile(mConverted.data(), n));
}

bool AudioFileWriter::close()
{
    if (mClosed)
        return false;
    bool ok = true;
    if (mSwr) {
        // The resampler's tail.
        const int capacity = std::max(swresample()->swr_get_out_samples(mSwr.get(), 0), 0) + 64;
        mConverted.resize(size_t(capacity) * mFormat.channelsPerFrame);
        auto* out = reinterpret_cast<uint8_t*>(mConverted.data());
        const int n = swresample()->swr_convert(mSwr.get(), &out, capacity, nullptr, 0);
        ok = n >= 0 && (n == 0 || writeFile(mConverted.data(), n));
    }
    mClosed = true;
    ok = finishFile() && ok;
    // A recoverable file leaves complete and on the disk, header included.
    if (ok && mSyncFd >= 0)
        ::fdatasync(mSyncFd);
    return ok;
}

}  // namespace platform
