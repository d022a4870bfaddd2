#include "platform/SndfileAudioReader.h"

#include "platform/FourCC.h"
#include "platform/SampleConversion.h"
#include "platform/SndfileChannelMap.h"

#include <QFile>
#include <algorithm>
#include <cmath>
#include <optional>
#include <sndfile.h>

namespace platform {
namespace {

constexpr int64_t kScratchFrames = 4096;

struct Codec {
    uint32_t dataFormat;
    uint32_t flags;
    int bits;
};

// The encodings we take from libsndfile; anything else is left to FFmpeg.
std::optional<Codec> codecFor(int format, bool littleEndianData)
{
    const int major = format & SF_FORMAT_TYPEMASK;
    const uint32_t endian = (major == SF_FORMAT_AIFF || major == SF_FORMAT_AU) && !littleEndianData ? kFormatFlagBigEndian : 0;
    const uint32_t intFlags = kFormatFlagSignedInteger | kFormatFlagPacked | endian;
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_U8: return Codec{fourCC("lpcm"), kFormatFlagPacked, 8};
    case SF_FORMAT_PCM_S8: return Codec{fourCC("lpcm"), intFlags, 8};
    case SF_FORMAT_PCM_16: return Codec{fourCC("lpcm"), intFlags, 16};
    case SF_FORMAT_PCM_24: return Codec{fourCC("lpcm"), intFlags, 24};
    case SF_FORMAT_PCM_32: return Codec{fourCC("lpcm"), intFlags, 32};
    case SF_FORMAT_FLOAT: return Codec{fourCC("lpcm"), kFormatFlagFloat | kFormatFlagPacked | endian, 32};
    case SF_FORMAT_DOUBLE: return Codec{fourCC("lpcm"), kFormatFlagFloat | kFormatFlagPacked | endian, 64};
    case SF_FORMAT_ULAW: return Codec{fourCC("ulaw"), 0, 0};
    case SF_FORMAT_ALAW: return Codec{fourCC("alaw"), 0, 0};
    case SF_FORMAT_IMA_ADPCM: return Codec{fourCC("ima4"), 0, 0};
    case SF_FORMAT_ALAC_16: return Codec{fourCC("alac"), 1, 0};
    case SF_FORMAT_ALAC_20: return Codec{fourCC("alac"), 2, 0};
    case SF_FORMAT_ALAC_24: return Codec{fourCC("alac"), 3, 0};
    case SF_FORMAT_ALAC_32: return Codec{fourCC("alac"), 4, 0};
    default: return std::nullopt;
    }
}

// AIFF and AIFC share libsndfile's major format; the FORM header tells them apart.
uint32_t aiffType(const QString& path)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly) && file.read(12).mid(8, 4) == "AIFC")
        return fourCC("AIFC");
    return fourCC("AIFF");
}

// libsndfile would also try MP3, FLAC and Ogg (and talk on stderr about files that are none
// of them); those belong to FFmpeg, so only the PCM containers' magic numbers get this far.
bool hasPcmContainerHeader(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray head = file.read(4);
    return head == "RIFF" || head == "RIFX" || head == "RF64" || head == "riff" || head == "FORM" || head == "caff" ||
           head == ".snd" || head == "dns.";
}

std::optional<uint32_t> fileTypeFor(int format, const QString& path)
{
    switch (format & SF_FORMAT_TYPEMASK) {
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX:
    case SF_FORMAT_RF64: return fourCC("WAVE");
    case SF_FORMAT_W64: return fourCC("W64f");
    case SF_FORMAT_AIFF: return aiffType(path);
    case SF_FORMAT_CAF: return fourCC("caff");
    case SF_FORMAT_AU: return fourCC("NeXT");
    default: return std::nullopt;
    }
}

}  // namespace

void SndfileAudioReader::Closer::operator()(sf_private_tag* file) const { sf_close(file); }

std::unique_ptr<AudioFileReader> SndfileAudioReader::open(const QString& path, QString* reason)
{
    if (!hasPcmContainerHeader(path)) {
        *reason = QStringLiteral("not a PCM container");
        return nullptr;
    }
    SF_INFO sfInfo{};
    Handle file(sf_open(QFile::encodeName(path).constData(), SFM_READ, &sfInfo));
    if (!file) {
        *reason = QString::fromUtf8(sf_strerror(nullptr));
        return nullptr;
    }
    const auto type = fileTypeFor(sfInfo.format, path);
    // AIFC and AU may hold little-endian samples too.
    const bool needsSwap = sf_command(file.get(), SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_TRUE;
    const int sub = sfInfo.format & SF_FORMAT_SUBMASK;
    const bool littleEndianData =
        sub != SF_FORMAT_PCM_S8 && sub != SF_FORMAT_PCM_U8 && (Q_BYTE_ORDER == Q_LITTLE_ENDIAN) != needsSwap;
    const auto codec = codecFor(sfInfo.format, littleEndianData);
    if (!type || !codec || sfInfo.channels <= 0 || sfInfo.samplerate <= 0) {
        *reason = QStringLiteral("not a PCM container");
        return nullptr;
    }
    // Float files reach int16 clients through readFloatAsInt16, never libsndfile's own scaling:
    // asking it to scale makes every open read the whole file to find the peak.
    sf_command(file.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    AudioFileInfo info;
    info.fileType = *type;
    info.dataFormat = codec->dataFormat;
    info.formatFlags = codec->flags;
    info.bitsPerSample = codec->bits;
    info.sampleRate = sfInfo.samplerate;
    info.channels = sfInfo.channels;
    info.lengthFrames = sfInfo.frames;
    std::vector<int> speakers(size_t(sfInfo.channels));
    if (sf_command(file.get(), SFC_GET_CHANNEL_MAP_INFO, speakers.data(), int(speakers.size() * sizeof(int))) == SF_TRUE)
        info.channelMask = channelMaskFromSndfile(speakers);
    info.lengthIsExact = true;
    info.bitRate = codec->bits > 0 ? int64_t(codec->bits) * sfInfo.samplerate * sfInfo.channels : 0;
    if (info.bitRate == 0 && sfInfo.frames > 0) {
        const double seconds = double(sfInfo.frames) / sfInfo.samplerate;
        info.bitRate = int64_t(double(QFile(path).size()) * 8 / seconds);
    }
    return std::unique_ptr<AudioFileReader>(new SndfileAudioReader(std::move(file), info));
}

SndfileAudioReader::SndfileAudioReader(Handle file, AudioFileInfo info)
    : AudioFileReader(std::move(info)), mFile(std::move(file))
{
}

SndfileAudioReader::~SndfileAudioReader() = default;

int64_t SndfileAudioReader::readFile(void* interleaved, int64_t frames, SampleType type)
{
    sf_count_t n;
    if (type == SampleType::Float32 && mInfo.dataFormat == fourCC("lpcm") && mInfo.bitsPerSample == 16 &&
        !(mInfo.formatFlags & kFormatFlagFloat))
        n = readInt16AsFloat(static_cast<float*>(interleaved), frames);
    else if (type == SampleType::Float32)
        n = sf_readf_float(mFile.get(), static_cast<float*>(interleaved), frames);
    else if (mInfo.formatFlags & kFormatFlagFloat)
        n = readFloatAsInt16(static_cast<int16_t*>(interleaved), frames);
    else
        n = sf_readf_short(mFile.get(), static_cast<short*>(interleaved), frames);
    if (n == 0 && sf_error(mFile.get()) != SF_ERR_NO_ERROR)
        return -1;
    return n;
}

// libsndfile converts 16-bit data to float through a few kilobytes at a time, one read() each;
// reading the shorts in one go and converting here is much cheaper for whole-file operations.
int64_t SndfileAudioReader::readInt16AsFloat(float* out, int64_t frames)
{
    mShorts.resize(size_t(frames) * mInfo.channels);
    const sf_count_t n = sf_readf_short(mFile.get(), mShorts.data(), frames);
    if (n > 0)
        int16ToFloat(mShorts.data(), out, size_t(n) * mInfo.channels);
    return n;
}

// libsndfile scales float data to int16 by the file's peak, not by full scale; convert here.
int64_t SndfileAudioReader::readFloatAsInt16(int16_t* out, int64_t frames)
{
    const int channels = mInfo.channels;
    mScratch.resize(size_t(std::min(frames, kScratchFrames) * channels));
    int64_t done = 0;
    while (done < frames) {
        const sf_count_t n = sf_readf_float(mFile.get(), mScratch.data(), std::min(frames - done, kScratchFrames));
        if (n <= 0)
            break;
        int16_t* dst = out + done * channels;
        for (size_t i = 0, count = size_t(n * channels); i < count; ++i)
            dst[i] = int16_t(std::lrint(std::clamp(mScratch[i] * 32768.0f, -32768.0f, 32767.0f)));
        done += n;
    }
    return done;
}

bool SndfileAudioReader::seekFile(int64_t frame)
{
    return sf_seek(mFile.get(), std::min<int64_t>(frame, info().lengthFrames), SEEK_SET) >= 0;
}

}  // namespace platform
