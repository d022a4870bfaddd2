#include "platform/ffmpeg/FFmpegMetadata.h"

#include "platform/ffmpeg/FFmpegSupport.h"

#include <QFile>
#include <memory>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

namespace platform {
namespace {

struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

// Containers keep tags at file level (MP3, M4A) or on the audio stream (Ogg): look at both.
QString tag(const AVFormatContext* context, const char* key)
{
    if (const AVDictionaryEntry* e = av_dict_get(context->metadata, key, nullptr, 0))
        return QString::fromUtf8(e->value).trimmed();
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVStream* stream = context->streams[i];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO)
            continue;
        if (const AVDictionaryEntry* e = av_dict_get(stream->metadata, key, nullptr, 0))
            return QString::fromUtf8(e->value).trimmed();
    }
    return {};
}

}  // namespace

std::optional<AudioMetadata> FFmpegMetadata::read(const QString& path)
{
    ffmpeg::quietLibraryLog();
    AVFormatContext* raw = nullptr;
    if (avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return std::nullopt;
    const std::unique_ptr<AVFormatContext, InputCloser> context(raw);
    // Ogg and some others only fill in stream metadata and duration after probing packets.
    if (avformat_find_stream_info(context.get(), nullptr) < 0)
        return std::nullopt;
    if (av_find_best_stream(context.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0) < 0)
        return std::nullopt;
    AudioMetadata metadata;
    metadata.title = tag(context.get(), "title");
    metadata.artist = tag(context.get(), "artist");
    if (context->duration != AV_NOPTS_VALUE && context->duration > 0)
        metadata.duration = double(context->duration) / AV_TIME_BASE;
    return metadata;
}

}  // namespace platform
