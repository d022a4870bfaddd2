#include "platform/ffmpeg/FFmpegRemux.h"

#include "platform/ffmpeg/FFmpegSupport.h"

#include <QFile>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace platform::ffmpeg {
namespace {

struct Contexts {
    AVFormatContext* in = nullptr;
    AVFormatContext* out = nullptr;
    AVPacket* packet = nullptr;
    ~Contexts()
    {
        av_packet_free(&packet);
        avformat_close_input(&in);
        if (out) {
            avio_closep(&out->pb);
            avformat_free_context(out);
        }
    }
};

int64_t fail(QString* reason, const QString& text)
{
    if (reason)
        *reason = text;
    return -1;
}

}  // namespace

int64_t remuxToM4A(const QString& src, const QString& dest, int64_t knownFrames, QString* reason)
{
    quietLibraryLog();
    Contexts c;
    const QByteArray in = QFile::encodeName(src);
    const QByteArray out = QFile::encodeName(dest);
    int err = avformat_open_input(&c.in, in.constData(), nullptr, nullptr);
    if (err >= 0)
        err = avformat_find_stream_info(c.in, nullptr);
    if (err < 0)
        return fail(reason, errorText(err));
    const int audio = av_find_best_stream(c.in, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (audio < 0)
        return fail(reason, QStringLiteral("no audio stream"));
    AVStream* source = c.in->streams[audio];
    err = avformat_alloc_output_context2(&c.out, av_guess_format("ipod", nullptr, nullptr), nullptr, out.constData());
    if (err < 0 || !c.out)
        return fail(reason, QStringLiteral("no muxer"));
    AVStream* stream = avformat_new_stream(c.out, nullptr);
    c.packet = av_packet_alloc();
    if (!stream || !c.packet)
        return fail(reason, QStringLiteral("out of memory"));
    err = avcodec_parameters_copy(stream->codecpar, source->codecpar);
    stream->codecpar->codec_tag = 0;
    stream->time_base = source->time_base;
    if (err >= 0)
        err = avio_open(&c.out->pb, out.constData(), AVIO_FLAG_WRITE);
    if (err >= 0)
        err = avformat_write_header(c.out, nullptr);
    if (err < 0)
        return fail(reason, errorText(err));

    int64_t frames = 0;
    const AVRational samples{1, source->codecpar->sample_rate};
    const int64_t packetFrames = source->codecpar->frame_size > 0 ? source->codecpar->frame_size : 1024;
    // One packet is held back, so the last one is known when it is written.
    AVPacket* held = av_packet_alloc();
    bool holding = false;
    auto writeHeld = [&](bool last) {
        int64_t duration = av_rescale_q(held->duration, source->time_base, samples);
        if (last && knownFrames > frames)
            duration = knownFrames - frames;
        else if (duration <= 0)
            duration = packetFrames;
        frames += duration;
        held->duration = av_rescale_q(duration, samples, source->time_base);
        held->stream_index = stream->index;
        av_packet_rescale_ts(held, source->time_base, stream->time_base);
        held->pos = -1;
        const int e = av_interleaved_write_frame(c.out, held);
        av_packet_unref(held);
        return e;
    };
    // A fragment cut off by a crash ends the packets; everything before it is kept.
    while (err >= 0 && av_read_frame(c.in, c.packet) >= 0) {
        if (c.packet->stream_index != audio || c.packet->size <= 0) {
            av_packet_unref(c.packet);
            continue;
        }
        if (holding)
            err = writeHeld(false);
        av_packet_move_ref(held, c.packet);
        holding = true;
    }
    if (err >= 0 && holding)
        err = writeHeld(true);
    av_packet_free(&held);
    if (err < 0)
        return fail(reason, errorText(err));
    err = av_write_trailer(c.out);
    const int closeErr = avio_closep(&c.out->pb);
    if (err < 0 || closeErr < 0)
        return fail(reason, errorText(err < 0 ? err : closeErr));
    return frames;
}

}  // namespace platform::ffmpeg
