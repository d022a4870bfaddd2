#include "platform/SndfileAudioWriter.h"

#include "platform/FourCC.h"
#include "platform/SampleConversion.h"
#include "platform/SndfileChannelMap.h"

#include <QFile>
#include <sndfile.h>

namespace platform {
namespace {

int majorFormat(uint32_t fileType)
{
    switch (fileType) {
    case fourCC("WAVE"): return SF_FORMAT_WAV;
    case fourCC("AIFF"): return SF_FORMAT_AIFF;
    case fourCC("AIFC"): return SF_FORMAT_AIFF;
    case fourCC("caff"): return SF_FORMAT_CAF;
    case fourCC("flac"): return SF_FORMAT_FLAC;
    case fourCC("NeXT"): return SF_FORMAT_AU;
    case fourCC("W64f"): return SF_FORMAT_W64;
    default: return 0;
    }
}

// libsndfile's subtype for a description; 0 when the container can't hold it (a plain AIFF
// has neither float nor little-endian samples, a WAVE no big-endian ones).
int subtype(uint32_t fileType, const StreamDescription& f)
{
    if (f.formatID == fourCC("alac")) {
        if (fileType != fourCC("caff"))
            return 0;
        switch (alacBitsForFlags(f.formatFlags)) {
        case 16: return SF_FORMAT_ALAC_16;
        case 20: return SF_FORMAT_ALAC_20;
        case 24: return SF_FORMAT_ALAC_24;
        case 32: return SF_FORMAT_ALAC_32;
        default: return 0;
        }
    }
    if (f.formatID == fourCC("flac")) {
        if (fileType != fourCC("flac"))
            return 0;
        // libsndfile's FLAC encoder takes up to 24 bits.
        switch (alacBitsForFlags(f.formatFlags)) {
        case 16: return SF_FORMAT_PCM_16;
        case 20:
        case 24: return SF_FORMAT_PCM_24;
        default: return 0;
        }
    }
    if (f.formatID != fourCC("lpcm") || fileType == fourCC("flac"))
        return 0;
    const bool bigEndian = f.formatFlags & kFormatFlagBigEndian;
    const bool isFloat = f.formatFlags & kFormatFlagFloat;
    if ((fileType == fourCC("AIFF") && (!bigEndian || isFloat)) ||
        ((fileType == fourCC("WAVE") || fileType == fourCC("W64f")) && bigEndian))
        return 0;
    if (isFloat)
        return f.bitsPerChannel == 32 ? SF_FORMAT_FLOAT : f.bitsPerChannel == 64 ? SF_FORMAT_DOUBLE : 0;
    switch (f.bitsPerChannel) {
    case 8: return fileType == fourCC("WAVE") ? SF_FORMAT_PCM_U8 : SF_FORMAT_PCM_S8;
    case 16: return SF_FORMAT_PCM_16;
    case 24: return SF_FORMAT_PCM_24;
    case 32: return SF_FORMAT_PCM_32;
    default: return 0;
    }
}

}  // namespace

bool SndfileAudioWriter::handles(uint32_t fileType, const StreamDescription& format)
{
    return majorFormat(fileType) != 0 && (format.formatID == fourCC("lpcm") || format.formatID == fourCC("alac") ||
                                          format.formatID == fourCC("flac"));
}

std::unique_ptr<AudioFileWriter> SndfileAudioWriter::create(const QString& path, uint32_t fileType,
                                                            const StreamDescription& format, uint64_t channelMask,
                                                            QString* reason, bool recoverable)
{
    const int sub = subtype(fileType, format);
    if (sub == 0) {
        *reason = QStringLiteral("'%1' file can't hold %2-bit data with flags %3")
                      .arg(fourCCString(fileType))
                      .arg(format.bitsPerChannel)
                      .arg(format.formatFlags, 0, 16);
        return nullptr;
    }
    SF_INFO info{};
    info.samplerate = int(format.sampleRate);
    info.channels = int(format.channelsPerFrame);
    // AIFF is big-endian by nature (asking for it explicitly makes an AIFC, which is how an
    // AIFC is kept); CAF, AIFC and AU hold either order, so the flag decides.
    const bool eitherOrder = fileType == fourCC("caff") || fileType == fourCC("AIFC") || fileType == fourCC("NeXT");
    const int endian = !eitherOrder                                    ? SF_ENDIAN_FILE
                       : (format.formatFlags & kFormatFlagBigEndian) ? SF_ENDIAN_BIG
                                                                       : SF_ENDIAN_LITTLE;
    const std::vector<int> speakers = sndfileChannelMap(channelMask, info.channels);
    // Plain WAVE has no room for speaker positions; the extensible header has.
    int major = fileType == fourCC("WAVE") && !speakers.empty() && info.channels > 2 ? SF_FORMAT_WAVEX
                                                                                     : majorFormat(fileType);
    // A take may pass the 4 GiB a RIFF header can count: RF64 takes over there, and a file
    // that stays smaller is a plain WAVE.
    if (recoverable && fileType == fourCC("WAVE"))
        major = SF_FORMAT_RF64;
    info.format = major | sub | endian;
    if (!sf_format_check(&info)) {
        *reason = QStringLiteral("format not supported");
        return nullptr;
    }
    SNDFILE* file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!file) {
        *reason = QString::fromUtf8(sf_strerror(nullptr));
        return nullptr;
    }
    sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    if (major == SF_FORMAT_RF64)
        sf_command(file, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    if (!speakers.empty())
        sf_command(file, SFC_SET_CHANNEL_MAP_INFO, const_cast<int*>(speakers.data()), int(speakers.size() * sizeof(int)));
    const Samples samples = sub == SF_FORMAT_PCM_16 ? Samples::Int16 : sub == SF_FORMAT_PCM_24 ? Samples::Int24 : Samples::Float;
    return std::unique_ptr<AudioFileWriter>(new SndfileAudioWriter(path, format, file, samples));
}

SndfileAudioWriter::SndfileAudioWriter(const QString& path, const StreamDescription& format, sf_private_tag* file,
                                       Samples samples)
    : AudioFileWriter(path, format), mHandle(file), mSamples(samples)
{
}

SndfileAudioWriter::~SndfileAudioWriter()
{
    if (mHandle)
        sf_close(mHandle);
}

bool SndfileAudioWriter::writeFile(const float* interleaved, int64_t frames)
{
    if (!mHandle)
        return false;
    const size_t count = size_t(frames) * mFormat.channelsPerFrame;
    sf_count_t written;
    switch (mSamples) {
    case Samples::Int16:
        mShorts.resize(count);
        floatToInt16(interleaved, mShorts.data(), count);
        written = sf_writef_short(mHandle, mShorts.data(), frames);
        break;
    case Samples::Int24:
        mInts.resize(count);
        floatToInt24High(interleaved, mInts.data(), count);
        written = sf_writef_int(mHandle, mInts.data(), frames);
        break;
    default:
        written = sf_writef_float(mHandle, interleaved, frames);
        break;
    }
    return written == frames;
}

bool SndfileAudioWriter::checkpointFile()
{
    // Sizes in the header as they are now; libsndfile writes the samples straight through.
    return mHandle && sf_command(mHandle, SFC_UPDATE_HEADER_NOW, nullptr, 0) == 0;
}

bool SndfileAudioWriter::finishFile()
{
    if (!mHandle)
        return false;
    const int err = sf_close(mHandle);
    mHandle = nullptr;
    return err == 0;
}

}  // namespace platform
