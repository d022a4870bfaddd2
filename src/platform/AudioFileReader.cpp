#include "platform/AudioFileReader.h"

#include "platform/CodecModule.h"
#include "platform/FileIO.h"
#include "platform/Log.h"
#include "platform/SndfileAudioReader.h"
#include "platform/Swresample.h"

#include <algorithm>
#include <cmath>
#include <numeric>


namespace platform {
namespace {

// File frames fed to the resampler per step; bounds the memory a read needs.
constexpr int64_t kFileChunkFrames = 8192;
// File frames read ahead of a seek target so the resampler's filter is settled when the
// target comes out.
constexpr int64_t kResamplerPrerollFrames = 512;

}  // namespace

StreamDescription AudioFileInfo::description() const
{
    StreamDescription d;
    d.sampleRate = sampleRate;
    d.formatID = dataFormat;
    d.formatFlags = formatFlags;
    d.channelsPerFrame = uint32_t(channels);
    d.bitsPerChannel = uint32_t(bitsPerSample);
    if (bitsPerSample > 0) {
        d.bytesPerFrame = uint32_t(channels * ((bitsPerSample + 7) / 8));
        d.bytesPerPacket = d.bytesPerFrame;
        d.framesPerPacket = 1;
    }
    return d;
}

std::unique_ptr<AudioFileReader> AudioFileReader::open(const QString& path)
{
    if (!isRegularFile(path)) {
        log(QStringLiteral("Could not read audio file %1: not a regular file").arg(path));
        return nullptr;
    }
    QString sndfileReason;
    if (auto reader = SndfileAudioReader::open(path, &sndfileReason))
        return reader;
    QString ffmpegReason;
    if (const CodecModule* codecs = codecModule(&ffmpegReason))
        if (auto reader = codecs->openReader(path, &ffmpegReason))
            return reader;
    log(QStringLiteral("Could not read audio file %1: %2").arg(path, ffmpegReason.isEmpty() ? sndfileReason : ffmpegReason));
    return nullptr;
}

AudioFileReader::AudioFileReader(AudioFileInfo info) : mInfo(std::move(info)), mClientRate(mInfo.sampleRate) {}

AudioFileReader::~AudioFileReader() = default;

// A context exists only once the library was opened.
void AudioFileReader::SwrDeleter::operator()(SwrContext* s) const { swresample()->swr_free(&s); }

bool AudioFileReader::resampling() const { return mClientRate != mInfo.sampleRate; }

bool AudioFileReader::setClientFormat(double sampleRate, int channels, SampleType type)
{
    if (channels != mInfo.channels || sampleRate < 1 || sampleRate > 1e6) {
        log(QStringLiteral("Unsupported client format: %1 Hz, %2 channels").arg(sampleRate).arg(channels));
        return false;
    }
    mClientRate = sampleRate;
    mClientType = type;
    mSwr.reset();
    if (resampling() && !resetResampler())
        return false;
    return seek(0);
}

bool AudioFileReader::resetResampler()
{
    const SwresampleFunctions* f = swresample();
    int err = -1;
    if (f) {
        AVChannelLayout layout;
        f->av_channel_layout_default(&layout, mInfo.channels);
        SwrContext* swr = nullptr;
        const AVSampleFormat outFormat = mClientType == SampleType::Float32 ? AV_SAMPLE_FMT_FLT : AV_SAMPLE_FMT_S16;
        err = f->swr_alloc_set_opts2(&swr, &layout, outFormat, int(std::lround(mClientRate)), &layout, AV_SAMPLE_FMT_FLT,
                                     int(std::lround(mInfo.sampleRate)), 0, nullptr);
        f->av_channel_layout_uninit(&layout);
        mSwr.reset(swr);
        if (err >= 0)
            err = f->swr_init(swr);
    }
    if (err < 0) {
        log(QStringLiteral("Could not set up sample-rate conversion from %1 to %2 Hz").arg(mInfo.sampleRate).arg(mClientRate));
        mSwr.reset();
        return false;
    }
    mFileEnded = false;
    mFlushed = false;
    return true;
}

int64_t AudioFileReader::clientLengthFrames() const
{
    if (!resampling())
        return mInfo.lengthFrames;
    return int64_t(std::llround(double(mInfo.lengthFrames) * mClientRate / mInfo.sampleRate));
}

int64_t AudioFileReader::read(void* interleaved, int64_t frames)
{
    if (frames <= 0)
        return 0;
    if (mInfo.lengthIsExact)
        frames = std::min(frames, clientLengthFrames() - mClientPosition);
    if (frames <= 0)
        return 0;
    const int64_t got = readClient(interleaved, frames);
    if (got > 0)
        mClientPosition += got;
    return got;
}

int64_t AudioFileReader::readClient(void* interleaved, int64_t frames)
{
    if (!resampling())
        return readFile(interleaved, frames, mClientType);
    return readResampled(static_cast<uint8_t*>(interleaved), frames);
}

int64_t AudioFileReader::readResampled(uint8_t* out, int64_t frames)
{
    if (!mSwr)
        return -1;
    const int bytesPerFrame = clientBytesPerFrame();
    if (mFileChunk.empty())
        mFileChunk.resize(size_t(kFileChunkFrames * mInfo.channels));
    const double fileFramesPerClientFrame = mInfo.sampleRate / mClientRate;
    int64_t got = 0;
    while (got < frames && !mFlushed) {
        uint8_t* dst = out + got * bytesPerFrame;
        const int want = int(std::min<int64_t>(frames - got, kFileChunkFrames * 16));
        int n;
        if (mFileEnded) {
            // The end of the file: drain what the filter still holds.
            n = swresample()->swr_convert(mSwr.get(), &dst, want, nullptr, 0);
            if (n == 0)
                mFlushed = true;
        } else {
            const int64_t need =
                std::clamp<int64_t>(int64_t(std::ceil(want * fileFramesPerClientFrame)), 1, kFileChunkFrames);
            const int64_t fileFrames = readFile(mFileChunk.data(), need, SampleType::Float32);
            if (fileFrames < 0)
                return -1;
            if (fileFrames == 0) {
                mFileEnded = true;
                continue;
            }
            const auto* src = reinterpret_cast<const uint8_t*>(mFileChunk.data());
            n = swresample()->swr_convert(mSwr.get(), &dst, want, &src, int(fileFrames));
        }
        if (n < 0)
            return -1;
        got += n;
    }
    return got;
}

bool AudioFileReader::seek(int64_t clientFrame)
{
    clientFrame = std::max<int64_t>(clientFrame, 0);
    if (!resampling()) {
        if (!seekFile(clientFrame))
            return false;
        mClientPosition = clientFrame;
        return true;
    }
    // Client frames at multiples of `step` fall exactly on file frames (multiples of
    // `fileStep`); start the resampler on such a frame a little before the target and
    // read up to the target, so what follows matches a read from the start.
    const int64_t fileRate = std::llround(mInfo.sampleRate);
    const int64_t clientRate = std::llround(mClientRate);
    const int64_t g = std::gcd(fileRate, clientRate);
    const int64_t step = clientRate / g;
    const int64_t fileStep = fileRate / g;
    const int64_t preroll = (kResamplerPrerollFrames * clientRate / fileRate / step + 1) * step;
    const int64_t start = clientFrame > preroll ? (clientFrame - preroll) / step * step : 0;
    if (!seekFile(start / step * fileStep) || !resetResampler())
        return false;
    mClientPosition = start;
    std::vector<uint8_t> scratch(size_t(std::min<int64_t>(clientFrame - start, kFileChunkFrames)) * clientBytesPerFrame());
    while (mClientPosition < clientFrame) {
        const int64_t n = read(scratch.data(), std::min<int64_t>(clientFrame - mClientPosition, kFileChunkFrames));
        if (n < 0)
            return false;
        if (n == 0)
            break;
    }
    return true;
}

}  // namespace platform
