#include "platform/ffmpeg/FFmpegAudioReader.h"

#include "platform/ffmpeg/FFmpegPacketIndex.h"
#include "platform/ffmpeg/FFmpegSupport.h"
#include "platform/FourCC.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

namespace platform {
namespace {

// Frames decoded ahead of a seek target in seekable containers: codecs with overlapping
// transforms (AAC) need the previous packet to reproduce the target exactly.
constexpr int64_t kSeekPrerollFrames = 4096;
// Packets decoded ahead of a seek target found through the packet index: an MP3 frame may take
// its data from up to 511 bytes of earlier frames (many, at low bit rates), and the transforms
// overlap the previous frame. Decoding these is cheap; landing short of them is not exact.
constexpr size_t kIndexPrerollPackets = 24;

struct CodecName {
    AVCodecID id;
    uint32_t code;
};

constexpr CodecName kCodecs[] = {
    {AV_CODEC_ID_AAC, fourCC("aac ")},       {AV_CODEC_ID_ALAC, fourCC("alac")},     {AV_CODEC_ID_MP3, fourCC(".mp3")},
    {AV_CODEC_ID_MP2, fourCC(".mp2")},       {AV_CODEC_ID_MP1, fourCC(".mp1")},      {AV_CODEC_ID_AC3, fourCC("ac-3")},
    {AV_CODEC_ID_EAC3, fourCC("ec-3")},      {AV_CODEC_ID_AMR_NB, fourCC("samr")},   {AV_CODEC_ID_AMR_WB, fourCC("sawb")},
    {AV_CODEC_ID_FLAC, fourCC("flac")},      {AV_CODEC_ID_OPUS, fourCC("opus")},     {AV_CODEC_ID_VORBIS, fourCC("vorb")},
    {AV_CODEC_ID_PCM_MULAW, fourCC("ulaw")}, {AV_CODEC_ID_PCM_ALAW, fourCC("alaw")}, {AV_CODEC_ID_ADPCM_IMA_QT, fourCC("ima4")},
    {AV_CODEC_ID_QDM2, fourCC("QDM2")},
};

uint32_t dataFormatFor(const AVCodecParameters* par)
{
    const AVCodecDescriptor* desc = avcodec_descriptor_get(par->codec_id);
    if (desc && desc->name && QByteArray(desc->name).startsWith("pcm_") && par->codec_id != AV_CODEC_ID_PCM_MULAW &&
        par->codec_id != AV_CODEC_ID_PCM_ALAW)
        return fourCC("lpcm");
    for (const CodecName& c : kCodecs)
        if (c.id == par->codec_id)
            return c.code;
    return 0;
}

uint32_t pcmFlags(const AVCodecParameters* par)
{
    const QByteArray name = avcodec_descriptor_get(par->codec_id)->name;
    uint32_t flags = kFormatFlagPacked;
    if (name.startsWith("pcm_f"))
        flags |= kFormatFlagFloat;
    else if (name.startsWith("pcm_s"))
        flags |= kFormatFlagSignedInteger;
    if (name.endsWith("be"))
        flags |= kFormatFlagBigEndian;
    return flags;
}

uint32_t mp4FileType(const AVFormatContext* fmt, const QString& path)
{
    const AVDictionaryEntry* brand = av_dict_get(fmt->metadata, "major_brand", nullptr, 0);
    const QByteArray b = brand ? QByteArray(brand->value) : QByteArray();
    if (b.startsWith("3g2"))
        return fourCC("3gp2");
    if (b.startsWith("3gp"))
        return fourCC("3gpp");
    if (b.startsWith("M4A") || b.startsWith("M4B") || QFileInfo(path).suffix().compare("m4a", Qt::CaseInsensitive) == 0)
        return fourCC("m4af");
    return fourCC("mp4f");
}

uint32_t fileTypeFor(const AVFormatContext* fmt, const AVCodecParameters* par, const QString& path)
{
    const QByteArray name = fmt->iformat->name;
    if (name.contains("mp4") || name.startsWith("mov"))
        return mp4FileType(fmt, path);
    if (name == "mp3") {
        switch (par->codec_id) {
        case AV_CODEC_ID_MP1: return fourCC("MPG1");
        case AV_CODEC_ID_MP2: return fourCC("MPG2");
        default: return fourCC("MPG3");
        }
    }
    if (name == "aiff")
        return (par->codec_id == AV_CODEC_ID_PCM_S16BE || par->codec_id == AV_CODEC_ID_PCM_S24BE ||
                par->codec_id == AV_CODEC_ID_PCM_S32BE || par->codec_id == AV_CODEC_ID_PCM_S8)
                   ? fourCC("AIFF")
                   : fourCC("AIFC");
    struct Container {
        const char* name;
        uint32_t type;
    };
    static constexpr Container kContainers[] = {
        {"aac", fourCC("adts")}, {"ac3", fourCC("ac-3")},   {"eac3", fourCC("ec-3")}, {"amr", fourCC("amrf")},
        {"amrnb", fourCC("amrf")}, {"amrwb", fourCC("amrf")}, {"caf", fourCC("caff")}, {"wav", fourCC("WAVE")},
        {"w64", fourCC("W64f")}, {"au", fourCC("NeXT")},    {"flac", fourCC("flac")}, {"ogg", fourCC("OggS")},
    };
    for (const Container& c : kContainers)
        if (name == c.name)
            return c.type;
    return 0;
}

// Containers whose index gives every packet's exact timestamp, so a seek can land anywhere.
bool seeksExactly(const AVFormatContext* fmt)
{
    const QByteArray name = fmt->iformat->name;
    return name.startsWith("mov") || name == "caf" || name == "wav" || name == "w64" || name == "aiff" || name == "flac";
}

// Containers of self-contained frames without an index or an exact length of their own.
bool scannedForIndex(const AVFormatContext* fmt)
{
    const QByteArray name = fmt->iformat->name;
    return name == "mp3" || name == "aac" || name == "ac3" || name == "eac3" || name.startsWith("amr");
}

}  // namespace

struct FFmpegAudioReader::Handles {
    AVFormatContext* fmt = nullptr;
    AVCodecContext* dec = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    SwrContext* swr = nullptr;
    int stream = -1;
    AVRational timeBase{1, 1};
    int64_t startPts = AV_NOPTS_VALUE;
    int64_t firstPacketDts = AV_NOPTS_VALUE;
    int64_t firstPacketPos = -1;
    bool sawPacket = false;
    bool exactSeek = false;
    bool sentEndOfStream = false;
    SampleType outType = SampleType::Float32;
    std::vector<const uint8_t*> planes;  // per-channel read positions inside the current frame
    const AVCodec* codec = nullptr;
    std::shared_ptr<const ffmpeg::PacketIndex> index;
    QString path;

    // The container as at first open: after a seek by bytes some demuxers no longer know the
    // timestamps of the first packets, and with them the priming to cut.
    int reopenInput()
    {
        avformat_close_input(&fmt);
        int err = avformat_open_input(&fmt, QFile::encodeName(path).constData(), nullptr, nullptr);
        if (err >= 0)
            err = avformat_find_stream_info(fmt, nullptr);
        if (err < 0)
            return err;
        if (stream >= int(fmt->nb_streams))
            return AVERROR_INVALIDDATA;
        for (unsigned i = 0; i < fmt->nb_streams; ++i)
            fmt->streams[i]->discard = int(i) == stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
        return openDecoder();
    }

    // A fresh decoder: flushing keeps some codecs' overlap buffers, which would leak the
    // old position's sound into the first frame after a rewind.
    int openDecoder()
    {
        avcodec_free_context(&dec);
        dec = avcodec_alloc_context3(codec);
        if (!dec)
            return AVERROR(ENOMEM);
        const int err = avcodec_parameters_to_context(dec, fmt->streams[stream]->codecpar);
        return err < 0 ? err : avcodec_open2(dec, codec, nullptr);
    }

    ~Handles()
    {
        swr_free(&swr);
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&dec);
        avformat_close_input(&fmt);
    }
};

std::unique_ptr<AudioFileReader> FFmpegAudioReader::open(const QString& path, QString* reason)
{
    ffmpeg::quietLibraryLog();
    auto h = std::make_unique<Handles>();
    int err = avformat_open_input(&h->fmt, QFile::encodeName(path).constData(), nullptr, nullptr);
    if (err >= 0)
        err = avformat_find_stream_info(h->fmt, nullptr);
    if (err < 0) {
        *reason = ffmpeg::errorText(err);
        return nullptr;
    }
    const AVCodec* codec = nullptr;
    h->stream = av_find_best_stream(h->fmt, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (h->stream < 0 || !codec) {
        *reason = QStringLiteral("no audio stream that can be decoded");
        return nullptr;
    }
    AVStream* st = h->fmt->streams[h->stream];
    // Only the audio stream is demuxed; cover art and video are skipped at the source.
    for (unsigned i = 0; i < h->fmt->nb_streams; ++i)
        if (int(i) != h->stream)
            h->fmt->streams[i]->discard = AVDISCARD_ALL;
    h->codec = codec;
    h->path = path;
    h->packet = av_packet_alloc();
    h->frame = av_frame_alloc();
    if (!h->packet || !h->frame) {
        *reason = QStringLiteral("out of memory");
        return nullptr;
    }
    err = h->openDecoder();
    if (err < 0 || h->dec->ch_layout.nb_channels <= 0 || h->dec->sample_rate <= 0) {
        *reason = err < 0 ? ffmpeg::errorText(err) : QStringLiteral("no channels or sample rate");
        return nullptr;
    }
    h->timeBase = st->time_base;
    h->exactSeek = seeksExactly(h->fmt);

    const AVCodecParameters* par = st->codecpar;
    AudioFileInfo info;
    info.fileType = fileTypeFor(h->fmt, par, path);
    info.dataFormat = dataFormatFor(par);
    info.sampleRate = h->dec->sample_rate;
    info.channels = h->dec->ch_layout.nb_channels;
    // FFmpeg's native channel bits are WAVE's.
    if (par->ch_layout.order == AV_CHANNEL_ORDER_NATIVE)
        info.channelMask = par->ch_layout.u.mask;
    if (info.dataFormat == fourCC("lpcm")) {
        info.formatFlags = pcmFlags(par);
        info.bitsPerSample = par->bits_per_coded_sample;
    } else if (par->codec_id == AV_CODEC_ID_ALAC || par->codec_id == AV_CODEC_ID_FLAC) {
        // Lossless codecs carry the source's depth in the flags, as ALAC descriptions do.
        const int bits = h->dec->bits_per_raw_sample > 0 ? h->dec->bits_per_raw_sample : par->bits_per_raw_sample;
        info.formatFlags = alacFlagsForBits(bits);
    }
    info.bitRate = par->bit_rate > 0 ? par->bit_rate : std::max<int64_t>(h->fmt->bit_rate, 0);
    if (st->duration != AV_NOPTS_VALUE && st->duration > 0) {
        info.lengthFrames = av_rescale_q(st->duration, st->time_base, AVRational{1, h->dec->sample_rate});
        info.lengthIsExact = h->exactSeek;
    } else if (h->fmt->duration != AV_NOPTS_VALUE && h->fmt->duration > 0) {
        info.lengthFrames = av_rescale(h->fmt->duration, h->dec->sample_rate, AV_TIME_BASE);
        info.lengthIsExact = false;
    } else {
        info.lengthIsExact = false;
    }
    if (scannedForIndex(h->fmt)) {
        h->index = ffmpeg::PacketIndex::forFile(path, h->stream, h->dec->sample_rate);
        if (h->index) {
            info.lengthFrames = h->index->length;
            info.lengthIsExact = true;
            // The first frame's rate says little of a VBR file: the average over the stream.
            if (h->index->codedLength > 0)
                info.bitRate = h->index->bytes * 8 * h->dec->sample_rate / h->index->codedLength;
        }
    }

    std::unique_ptr<FFmpegAudioReader> reader(new FFmpegAudioReader(std::move(h), info));
    // A file only counts as readable once its first frame decodes; that frame also fixes
    // where the timeline starts.
    if (!reader->decodeNextFrame()) {
        *reason = QStringLiteral("no audio could be decoded");
        return nullptr;
    }
    reader->mH->startPts = reader->mH->frame->best_effort_timestamp;
    return reader;
}

FFmpegAudioReader::FFmpegAudioReader(std::unique_ptr<Handles> handles, AudioFileInfo info)
    : AudioFileReader(std::move(info)), mH(std::move(handles))
{
    mH->planes.resize(size_t(mInfo.channels));
}

FFmpegAudioReader::~FFmpegAudioReader() = default;

bool FFmpegAudioReader::decodeNextFrame()
{
    for (;;) {
        int err = avcodec_receive_frame(mH->dec, mH->frame);
        if (err == 0) {
            if (mH->frame->nb_samples <= 0)
                continue;
            int64_t start = mNextFrameStart;
            if (mResync == Resync::AfterIndexSeek) {
                // Frames of packets the index doesn't know can't be placed: skip to one it does.
                const int64_t packet = mH->frame->pts;
                if (packet < 0 || packet >= int64_t(mH->index->start.size()))
                    continue;
                start = mH->index->start[size_t(packet)];
            } else if (mResync != Resync::None && mH->frame->best_effort_timestamp != AV_NOPTS_VALUE &&
                mH->startPts != AV_NOPTS_VALUE) {
                const int64_t stamped = av_rescale_q(mH->frame->best_effort_timestamp - mH->startPts, mH->timeBase,
                                                     AVRational{1, int(mInfo.sampleRate)});
                if (mResync == Resync::AfterSeek || mTarget < 0 || stamped <= mTarget)
                    start = stamped;
            }
            mResync = Resync::None;
            if (mTarget >= 0 && start > mTarget) {
                // The container put us after the target: start over and count from the beginning.
                if (!rewindToStart())
                    return false;
                continue;
            }
            mNextFrameStart = start + mH->frame->nb_samples;
            mFrameOffset = 0;
            if (mTarget >= 0) {
                if (mNextFrameStart <= mTarget)
                    continue;
                mFrameOffset = mTarget - start;
                mTarget = -1;
            }
            mPosition = start + mFrameOffset;
            mFrameValid = true;
            return true;
        }
        mFrameValid = false;
        if (err == AVERROR_EOF) {
            mEnded = true;
            return false;
        }
        if (err != AVERROR(EAGAIN)) {
            mFailed = true;
            return false;
        }
        if (mH->sentEndOfStream) {
            mEnded = true;
            return false;
        }
        err = av_read_frame(mH->fmt, mH->packet);
        if (err < 0) {
            // End of the file, or a truncated one: let the decoder hand out what it holds.
            avcodec_send_packet(mH->dec, nullptr);
            mH->sentEndOfStream = true;
            continue;
        }
        if (mH->packet->stream_index == mH->stream) {
            if (mResync == Resync::AfterIndexSeek) {
                // Each packet carries its number in the index through the decoder.
                const int64_t packet = mH->index->packetAtPosition(mH->packet->pos);
                mH->packet->pts = mH->packet->dts = packet >= 0 ? packet : AV_NOPTS_VALUE;
            }
            if (!mH->sawPacket) {
                mH->sawPacket = true;
                mH->firstPacketDts = mH->packet->dts != AV_NOPTS_VALUE ? mH->packet->dts : mH->packet->pts;
                mH->firstPacketPos = mH->packet->pos;
            }
            err = avcodec_send_packet(mH->dec, mH->packet);
            // A damaged packet is dropped, as players do; the stream goes on after it.
            if (err < 0 && err != AVERROR_INVALIDDATA && err != AVERROR(EAGAIN)) {
                av_packet_unref(mH->packet);
                mFailed = true;
                return false;
            }
        }
        av_packet_unref(mH->packet);
    }
}

bool FFmpegAudioReader::setOutputType(SampleType type)
{
    swr_free(&mH->swr);
    const AVSampleFormat out = type == SampleType::Float32 ? AV_SAMPLE_FMT_FLT : AV_SAMPLE_FMT_S16;
    int err = swr_alloc_set_opts2(&mH->swr, &mH->dec->ch_layout, out, mH->dec->sample_rate, &mH->dec->ch_layout,
                                  mH->dec->sample_fmt, mH->dec->sample_rate, 0, nullptr);
    if (err >= 0)
        err = swr_init(mH->swr);
    if (err < 0) {
        swr_free(&mH->swr);
        return false;
    }
    mH->outType = type;
    return true;
}

int64_t FFmpegAudioReader::readFile(void* interleaved, int64_t frames, SampleType type)
{
    if ((!mH->swr || mH->outType != type) && !setOutputType(type))
        return -1;
    auto* out = static_cast<uint8_t*>(interleaved);
    const int outFrameBytes = mInfo.channels * bytesPerSample(type);
    int64_t got = 0;
    while (got < frames) {
        if (!mFrameValid || mFrameOffset >= mH->frame->nb_samples) {
            if (mEnded || mFailed || !decodeNextFrame())
                break;
            continue;
        }
        const AVFrame* f = mH->frame;
        // Decoders may change layout mid-stream (rare, e.g. broken files); stop cleanly there.
        if (f->format != mH->dec->sample_fmt || f->ch_layout.nb_channels != mInfo.channels) {
            mFailed = true;
            break;
        }
        const int n = int(std::min<int64_t>(frames - got, f->nb_samples - mFrameOffset));
        const int sampleBytes = av_get_bytes_per_sample(AVSampleFormat(f->format));
        if (av_sample_fmt_is_planar(AVSampleFormat(f->format))) {
            for (int c = 0; c < mInfo.channels; ++c)
                mH->planes[size_t(c)] = f->extended_data[c] + mFrameOffset * sampleBytes;
        } else {
            mH->planes[0] = f->extended_data[0] + mFrameOffset * sampleBytes * mInfo.channels;
        }
        uint8_t* dst = out + got * outFrameBytes;
        const int converted = swr_convert(mH->swr, &dst, n, mH->planes.data(), n);
        if (converted != n) {
            mFailed = true;
            break;
        }
        mFrameOffset += n;
        mPosition += n;
        got += n;
    }
    if (got == 0 && mFailed)
        return -1;
    return got;
}

bool FFmpegAudioReader::rewindToStart()
{
    if (mH->index) {
        // Read again from a fresh open, counting frames as the first read did.
        if (mH->reopenInput() < 0) {
            mFailed = true;
            return false;
        }
        mH->sentEndOfStream = false;
        mEnded = mFailed = mFrameValid = false;
        mResync = Resync::None;
        mNextFrameStart = 0;
        mPosition = 0;
        return true;
    }
    // Back to the very first packet, priming included, by its timestamp or else its offset.
    const bool seeked = (mH->firstPacketDts != AV_NOPTS_VALUE &&
                         av_seek_frame(mH->fmt, mH->stream, mH->firstPacketDts, AVSEEK_FLAG_BACKWARD) >= 0) ||
                        av_seek_frame(mH->fmt, mH->stream, std::max<int64_t>(mH->firstPacketPos, 0), AVSEEK_FLAG_BYTE) >= 0;
    if (!seeked || mH->openDecoder() < 0)
        return false;
    mH->sentEndOfStream = false;
    mEnded = mFailed = mFrameValid = false;
    // Priming packets (timestamps before the start) may come back; their timestamps sort them out.
    mResync = Resync::AfterRewind;
    mNextFrameStart = 0;
    mPosition = 0;
    return true;
}

bool FFmpegAudioReader::seekFile(int64_t frame)
{
    frame = std::max<int64_t>(frame, 0);
    // Inside the frame at hand: just move within it.
    if (mFrameValid) {
        const int64_t frameStart = mNextFrameStart - mH->frame->nb_samples;
        if (frame >= frameStart && frame < mNextFrameStart) {
            mFrameOffset = frame - frameStart;
            mPosition = frame;
            return true;
        }
    }
    mFrameValid = false;
    mTarget = frame;
    const bool farAhead = (mH->exactSeek || mH->index) && frame - mPosition > kSeekPrerollFrames;
    if (frame >= mPosition && !mEnded && !mFailed && !farAhead) {
        // Ahead of us: decode forward to it.
        return true;
    }
    if (mH->exactSeek && frame > kSeekPrerollFrames && mH->startPts != AV_NOPTS_VALUE) {
        const int64_t ts = mH->startPts + av_rescale_q(frame - kSeekPrerollFrames, AVRational{1, int(mInfo.sampleRate)},
                                                       mH->timeBase);
        if (av_seek_frame(mH->fmt, mH->stream, ts, AVSEEK_FLAG_BACKWARD) >= 0) {
            avcodec_flush_buffers(mH->dec);
            mH->sentEndOfStream = false;
            mEnded = mFailed = false;
            mResync = Resync::AfterSeek;
            return true;
        }
    }
    if (mH->index && seekByIndex(frame))
        return true;
    if (!rewindToStart())
        return false;
    mTarget = frame;
    return true;
}

bool FFmpegAudioReader::seekByIndex(int64_t frame)
{
    const size_t target = mH->index->packetAt(frame);
    // Near the start, decoding from the very first packet is as quick and keeps its priming.
    if (target <= kIndexPrerollPackets)
        return false;
    const size_t from = target - kIndexPrerollPackets;
    if (av_seek_frame(mH->fmt, mH->stream, mH->index->position[from], AVSEEK_FLAG_BYTE) < 0 || mH->openDecoder() < 0)
        return false;
    mH->sentEndOfStream = false;
    mEnded = mFailed = false;
    mResync = Resync::AfterIndexSeek;
    mTarget = frame;
    return true;
}

}  // namespace platform
