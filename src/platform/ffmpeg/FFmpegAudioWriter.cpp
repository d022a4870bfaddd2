#include "platform/ffmpeg/FFmpegAudioWriter.h"

#include "platform/ffmpeg/FFmpegRemux.h"
#include "platform/ffmpeg/FFmpegSupport.h"
#include "platform/FourCC.h"
#include "platform/Log.h"
#include "platform/SampleConversion.h"

#include <QFile>
#include <cstdio>
#include <cstring>
#include <cmath>
#include <algorithm>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

namespace platform {
namespace {

constexpr int kDefaultAacBitRate = 128000;
// Codec quality from which the encoders' most thorough modes are used.
constexpr int kHighQuality = 64;
// LAME's most careful search short of its slowest, and its everyday one.
constexpr int kMp3CarefulQuality = 2;
constexpr int kMp3PlainQuality = 5;
constexpr int kLowestMp3BitRate = 8000;
constexpr int kHighestMp3BitRate = 320000;
constexpr int kLowestOpusBitRatePerChannel = 6000;
constexpr int kHighestOpusBitRatePerChannel = 256000;
// The Opus identification header: its size and where its output gain lies.
constexpr int kOpusHeadSize = 19;
constexpr int kOpusGainOffset = 16;
// Far more than a normalize ever asks, well inside the field's +-128 dB.
constexpr double kMostOpusGainDb = 60;
// A rate within this share of one a constant-rate MP3 can have is taken as that rate.
constexpr double kMp3RateTolerance = 0.01;

// The rates of constant-rate MP3 frames: MPEG-1 above 24 kHz, MPEG-2 and 2.5 below.
constexpr int kMpeg1Rates[] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
constexpr int kMpeg2Rates[] = {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};

// The containers and codecs we encode, with FFmpeg's encoder and muxer for each.
struct Encoding {
    uint32_t fileType;
    uint32_t formatID;
    const char* encoder;
    const char* muxer;
};
constexpr Encoding kEncodings[] = {
    {fourCC("m4af"), fourCC("aac "), "aac", "ipod"},      {fourCC("m4af"), fourCC("alac"), "alac", "ipod"},
    {fourCC("MPG3"), fourCC(".mp3"), "libmp3lame", "mp3"}, {fourCC("OggS"), fourCC("vorb"), "libvorbis", "ogg"},
    {fourCC("OggS"), fourCC("opus"), "libopus", "ogg"},
};

const Encoding* encodingFor(uint32_t fileType, uint32_t formatID)
{
    for (const Encoding& e : kEncodings)
        if (e.fileType == fileType && e.formatID == formatID)
            return &e;
    return nullptr;
}

// The sample layout we hand the encoder: float where it takes float, else integers.
AVSampleFormat sampleFormatFor(const AVCodec* codec, const StreamDescription& format)
{
    if (codec->id == AV_CODEC_ID_ALAC) {
        // ALAC depth from the flags; the encoder takes 16 bits, or 24 carried in 32-bit words.
        const int bits = alacBitsForFlags(format.formatFlags);
        return bits == 16 || bits == 0 ? AV_SAMPLE_FMT_S16P : AV_SAMPLE_FMT_S32P;
    }
    for (const AVSampleFormat wanted : {AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_S16}) {
        for (const AVSampleFormat* f = codec->sample_fmts; f && *f != AV_SAMPLE_FMT_NONE; ++f)
            if (*f == wanted)
                return wanted;
    }
    return AV_SAMPLE_FMT_NONE;
}

// The constant MP3 rate a request stands for, or 0 when it is none of them.
int constantMp3Rate(int bitsPerSecond, double sampleRate)
{
    auto matches = [bitsPerSecond](int kbps) {
        return std::abs(bitsPerSecond - kbps * 1000) <= kbps * 1000 * kMp3RateTolerance;
    };
    if (sampleRate > 24000) {
        for (int kbps : kMpeg1Rates)
            if (matches(kbps))
                return kbps * 1000;
    } else {
        for (int kbps : kMpeg2Rates)
            if (matches(kbps))
                return kbps * 1000;
    }
    return 0;
}

}  // namespace

struct FFmpegAudioWriter::Handles {
    AVFormatContext* fmt = nullptr;
    AVCodecContext* enc = nullptr;
    AVStream* stream = nullptr;
    AVFrame* frame = nullptr;
    AVPacket* packet = nullptr;
    bool opened = false;
    bool failed = false;
    bool headerWritten = false;
    int decoderGain = 0;       // Opus header gain, 1/256 dB
    int fill = 0;              // samples in `frame` so far
    int64_t samplesSent = 0;   // timestamps of the frames handed to the encoder

    ~Handles()
    {
        av_packet_free(&packet);
        av_frame_free(&frame);
        avcodec_free_context(&enc);
        if (fmt) {
            avio_closep(&fmt->pb);
            avformat_free_context(fmt);
        }
    }
};

bool FFmpegAudioWriter::writes(uint32_t fileType, uint32_t formatID) { return encodingFor(fileType, formatID) != nullptr; }

std::unique_ptr<AudioFileWriter> FFmpegAudioWriter::create(const QString& path, uint32_t fileType,
                                                           const StreamDescription& format, QString* reason)
{
    ffmpeg::quietLibraryLog();
    const Encoding* encoding = encodingFor(fileType, format.formatID);
    if (!encoding) {
        *reason = QStringLiteral("can't write '%1' data in a '%2' file")
                      .arg(fourCCString(format.formatID), fourCCString(fileType));
        return nullptr;
    }
    const AVCodec* codec = avcodec_find_encoder_by_name(encoding->encoder);
    const AVOutputFormat* muxer = av_guess_format(encoding->muxer, nullptr, nullptr);
    if (!codec || !muxer) {
        *reason = QStringLiteral("no encoder or muxer");
        return nullptr;
    }
    if (codec->id == AV_CODEC_ID_ALAC && alacBitsForFlags(format.formatFlags) > kHighestAlacBits) {
        *reason = QStringLiteral("ALAC takes at most %1-bit samples").arg(kHighestAlacBits);
        return nullptr;
    }
    const AVSampleFormat sampleFormat = sampleFormatFor(codec, format);
    if (sampleFormat == AV_SAMPLE_FMT_NONE) {
        *reason = QStringLiteral("the %1 encoder takes no sample layout we write").arg(QLatin1String(encoding->encoder));
        return nullptr;
    }
    auto h = std::make_unique<Handles>();
    const QByteArray file = QFile::encodeName(path);
    int err = avformat_alloc_output_context2(&h->fmt, muxer, nullptr, file.constData());
    h->enc = avcodec_alloc_context3(codec);
    h->frame = av_frame_alloc();
    h->packet = av_packet_alloc();
    if (err < 0 || !h->fmt || !h->enc || !h->frame || !h->packet) {
        *reason = QStringLiteral("out of memory");
        return nullptr;
    }
    AVCodecContext* enc = h->enc;
    enc->sample_rate = int(format.sampleRate);
    enc->time_base = AVRational{1, enc->sample_rate};
    av_channel_layout_default(&enc->ch_layout, int(format.channelsPerFrame));
    enc->sample_fmt = sampleFormat;
    if (sampleFormat == AV_SAMPLE_FMT_S32P)
        enc->bits_per_raw_sample = 24;
    if (codec->id == AV_CODEC_ID_AAC)
        enc->bit_rate = kDefaultAacBitRate;
    if (h->fmt->oformat->flags & AVFMT_GLOBALHEADER)
        enc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    err = avio_open(&h->fmt->pb, file.constData(), AVIO_FLAG_WRITE);
    if (err < 0) {
        *reason = ffmpeg::errorText(err);
        return nullptr;
    }
    return std::unique_ptr<AudioFileWriter>(new FFmpegAudioWriter(path, format, std::move(h)));
}

std::unique_ptr<AudioFileWriter> FFmpegAudioWriter::createFragmented(const QString& path,
                                                                     const StreamDescription& format, QString* reason)
{
    auto writer = create(path, fourCC("m4af"), format, reason);
    if (writer)
        static_cast<FFmpegAudioWriter*>(writer.get())->mFragmented = true;
    return writer;
}

FFmpegAudioWriter::FFmpegAudioWriter(const QString& path, const StreamDescription& format, std::unique_ptr<Handles> handles)
    : AudioFileWriter(path, format), mH(std::move(handles))
{
}

FFmpegAudioWriter::~FFmpegAudioWriter() = default;

bool FFmpegAudioWriter::setCodecQuality(int quality)
{
    if (mH->opened)
        return false;
    switch (mH->enc->codec_id) {
    case AV_CODEC_ID_AAC:
        return av_opt_set(mH->enc->priv_data, "aac_coder", quality >= kHighQuality ? "twoloop" : "fast", 0) >= 0;
    case AV_CODEC_ID_MP3:
        mH->enc->compression_level = quality >= kHighQuality ? kMp3CarefulQuality : kMp3PlainQuality;
        return true;
    case AV_CODEC_ID_ALAC:
        mH->enc->compression_level = quality >= kHighQuality ? 2 : 1;
        return true;
    default:
        // The Vorbis and Opus encoders search as carefully as they can already.
        return true;
    }
}

bool FFmpegAudioWriter::setEncodeBitRate(int bitsPerSecond)
{
    if (mH->opened || bitsPerSecond <= 0)
        return false;
    AVCodecContext* enc = mH->enc;
    const int64_t channels = mFormat.channelsPerFrame;
    switch (enc->codec_id) {
    case AV_CODEC_ID_AAC:
        enc->bit_rate = std::min<int64_t>(bitsPerSecond, kHighestAacBitRatePerChannel * channels);
        return true;
    case AV_CODEC_ID_MP3: {
        // A rate that constant-rate frames can have is kept exactly; any other (the average of
        // a variable-rate source) is the target of LAME's average-rate mode.
        const int constant = constantMp3Rate(bitsPerSecond, mFormat.sampleRate);
        enc->bit_rate = constant > 0 ? constant : std::clamp(bitsPerSecond, kLowestMp3BitRate, kHighestMp3BitRate);
        return av_opt_set_int(enc->priv_data, "abr", constant > 0 ? 0 : 1, 0) >= 0;
    }
    case AV_CODEC_ID_OPUS:
        enc->bit_rate = std::clamp<int64_t>(bitsPerSecond, kLowestOpusBitRatePerChannel * channels,
                                            kHighestOpusBitRatePerChannel * channels);
        // Free variable rate wanders a quarter above the request on some material.
        return av_opt_set(enc->priv_data, "vbr", "constrained", 0) >= 0;
    case AV_CODEC_ID_VORBIS:
        // The encoder's average-rate mode; it refuses rates its tables can't reach when opened.
        enc->bit_rate = bitsPerSecond;
        return true;
    default:
        return false;
    }
}

int FFmpegAudioWriter::encodeBitRate()
{
    if (mH->enc->codec_id == AV_CODEC_ID_ALAC || !ensureOpen())
        return 0;
    return int(mH->enc->bit_rate);
}

bool FFmpegAudioWriter::start() { return ensureOpen(); }

bool FFmpegAudioWriter::ensureOpen()
{
    if (mH->opened || mH->failed)
        return mH->opened;
    mH->failed = true;
    int err = avcodec_open2(mH->enc, mH->enc->codec, nullptr);
    if (err < 0) {
        log(QStringLiteral("Could not open the encoder for %1: %2").arg(mPath, ffmpeg::errorText(err)));
        return false;
    }
    mH->stream = avformat_new_stream(mH->fmt, nullptr);
    if (!mH->stream)
        return false;
    mH->stream->time_base = mH->enc->time_base;
    err = avcodec_parameters_from_context(mH->stream->codecpar, mH->enc);
    AVFrame* frame = mH->frame;
    frame->format = mH->enc->sample_fmt;
    frame->nb_samples = mH->enc->frame_size > 0 ? mH->enc->frame_size : 4096;
    if (err >= 0)
        err = av_channel_layout_copy(&frame->ch_layout, &mH->enc->ch_layout);
    frame->sample_rate = mH->enc->sample_rate;
    if (err >= 0)
        err = av_frame_get_buffer(frame, 0);
    if (err < 0) {
        log(QStringLiteral("Could not start writing %1: %2").arg(mPath, ffmpeg::errorText(err)));
        return false;
    }
    mH->failed = false;
    mH->opened = true;
    return true;
}

bool FFmpegAudioWriter::ensureHeader()
{
    if (!ensureOpen())
        return false;
    if (mH->headerWritten)
        return true;
    AVCodecParameters* par = mH->stream->codecpar;
    if (mH->decoderGain != 0) {
        // The output gain field of the Opus identification header, signed little-endian.
        if (par->codec_id != AV_CODEC_ID_OPUS || par->extradata_size < kOpusHeadSize ||
            std::memcmp(par->extradata, "OpusHead", 8) != 0)
            return false;
        const auto gain = uint16_t(int16_t(mH->decoderGain));
        par->extradata[kOpusGainOffset] = uint8_t(gain & 0xFF);
        par->extradata[kOpusGainOffset + 1] = uint8_t(gain >> 8);
    }
    AVDictionary* options = nullptr;
    // An empty index up front, then fragments each with their own, cut when we ask.
    if (mFragmented)
        av_dict_set(&options, "movflags", "empty_moov+frag_custom+default_base_moof", 0);
    const int err = avformat_write_header(mH->fmt, &options);
    av_dict_free(&options);
    if (err < 0) {
        log(QStringLiteral("Could not start writing %1: %2").arg(mPath, ffmpeg::errorText(err)));
        return false;
    }
    mH->headerWritten = true;
    return true;
}

bool FFmpegAudioWriter::setDecoderGain(double decibels)
{
    if (mH->headerWritten || mH->enc->codec_id != AV_CODEC_ID_OPUS || std::abs(decibels) > kMostOpusGainDb)
        return false;
    mH->decoderGain = int(std::lround(decibels * 256));
    return true;
}

bool FFmpegAudioWriter::writeFile(const float* interleaved, int64_t frames)
{
    if (!ensureHeader())
        return false;
    AVFrame* frame = mH->frame;
    const int channels = int(mFormat.channelsPerFrame);
    const int frameSize = frame->nb_samples;
    int64_t done = 0;
    while (done < frames) {
        if (mH->fill == 0 && av_frame_make_writable(frame) < 0)
            return false;
        const int n = int(std::min<int64_t>(frames - done, frameSize - mH->fill));
        const float* src = interleaved + done * channels;
        if (mH->enc->sample_fmt == AV_SAMPLE_FMT_FLT)
            std::copy_n(src, size_t(n) * channels, reinterpret_cast<float*>(frame->data[0]) + size_t(mH->fill) * channels);
        for (int c = 0; c < channels && mH->enc->sample_fmt != AV_SAMPLE_FMT_FLT; ++c) {
            uint8_t* plane = frame->extended_data[c];
            switch (mH->enc->sample_fmt) {
            case AV_SAMPLE_FMT_FLTP: {
                float* dst = reinterpret_cast<float*>(plane) + mH->fill;
                for (int i = 0; i < n; ++i)
                    dst[i] = src[i * channels + c];
                break;
            }
            case AV_SAMPLE_FMT_S16P: {
                int16_t* dst = reinterpret_cast<int16_t*>(plane) + mH->fill;
                for (int i = 0; i < n; ++i)
                    dst[i] = int16_t(roundClipped(src[i * channels + c], 32768.0f, -32768.0f, 32767.0f));
                break;
            }
            case AV_SAMPLE_FMT_S16: {
                int16_t* dst = reinterpret_cast<int16_t*>(frame->data[0]) + size_t(mH->fill) * channels + c;
                for (int i = 0; i < n; ++i)
                    dst[size_t(i) * channels] = int16_t(roundClipped(src[i * channels + c], 32768.0f, -32768.0f, 32767.0f));
                break;
            }
            default: {
                int32_t* dst = reinterpret_cast<int32_t*>(plane) + mH->fill;
                for (int i = 0; i < n; ++i)
                    dst[i] = int32_t(uint32_t(roundClipped(src[i * channels + c], 8388608.0f, -8388608.0f, 8388607.0f)) << 8);
                break;
            }
            }
        }
        mH->fill += n;
        done += n;
        if (mH->fill == frameSize && !encode(false))
            return false;
    }
    return true;
}

bool FFmpegAudioWriter::encode(bool flush)
{
    AVFrame* frame = nullptr;
    if (mH->fill > 0) {
        frame = mH->frame;
        frame->nb_samples = mH->fill;
        frame->pts = mH->samplesSent;
        mH->samplesSent += mH->fill;
        mH->fill = 0;
    }
    int err = 0;
    if (frame)
        err = avcodec_send_frame(mH->enc, frame);
    if (err >= 0 && flush)
        err = avcodec_send_frame(mH->enc, nullptr);
    if (frame)
        frame->nb_samples = mH->enc->frame_size > 0 ? mH->enc->frame_size : 4096;
    while (err >= 0) {
        err = avcodec_receive_packet(mH->enc, mH->packet);
        if (err == AVERROR(EAGAIN) || err == AVERROR_EOF)
            return true;
        if (err < 0)
            break;
        av_packet_rescale_ts(mH->packet, mH->enc->time_base, mH->stream->time_base);
        mH->packet->stream_index = mH->stream->index;
        err = av_interleaved_write_frame(mH->fmt, mH->packet);
    }
    log(QStringLiteral("Could not encode %1: %2").arg(mPath, ffmpeg::errorText(err)));
    return false;
}

bool FFmpegAudioWriter::checkpointFile()
{
    if (!ensureHeader())
        return false;
    // The packets so far become a fragment; the encoder keeps the samples of its open frame.
    if (av_write_frame(mH->fmt, nullptr) < 0)
        return false;
    avio_flush(mH->fmt->pb);
    return mH->fmt->pb->error == 0;
}

bool FFmpegAudioWriter::finishFile()
{
    if (!ensureHeader() || !encode(true))
        return false;
    const int err = av_write_trailer(mH->fmt);
    const int closeErr = avio_closep(&mH->fmt->pb);
    if (err < 0 || closeErr < 0) {
        log(QStringLiteral("Could not finish %1: %2").arg(mPath, ffmpeg::errorText(err < 0 ? err : closeErr)));
        return false;
    }
    if (!mFragmented)
        return true;
    // The fragments become a plain M4A beside it, which replaces it in one rename: until
    // then the fragmented file stays whole.
    const QString plain = mPath + QStringLiteral(".plain");
    QString reason;
    if (ffmpeg::remuxToM4A(mPath, plain, mH->samplesSent + mH->enc->initial_padding, &reason) < 0 ||
        std::rename(QFile::encodeName(plain).constData(), QFile::encodeName(mPath).constData()) != 0) {
        log(QStringLiteral("Could not finish %1: %2").arg(mPath, reason));
        QFile::remove(plain);
        return false;
    }
    return true;
}

}  // namespace platform
