#include "platform/ffmpeg/FFmpegPacketIndex.h"

#include "platform/FileStamp.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/ffmpeg/PacketIndexFile.h"

#include <QFile>
#include <algorithm>
#include <list>
#include <mutex>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/intreadwrite.h>
}

namespace platform::ffmpeg {
namespace {

// A few files' indexes stay, so the player and the waveform share one scan of each file.
constexpr size_t kCachedIndexes = 8;

struct Entry {
    QString path;
    FileStamp stamp;
    int stream;
    std::shared_ptr<const PacketIndex> index;
};

std::shared_ptr<const PacketIndex> scan(const QString& path, int stream, int sampleRate)
{
    AVFormatContext* fmt = nullptr;
    if (avformat_open_input(&fmt, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return nullptr;
    std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> owner(fmt, [](AVFormatContext* f) { avformat_close_input(&f); });
    if (avformat_find_stream_info(fmt, nullptr) < 0 || stream < 0 || unsigned(stream) >= fmt->nb_streams)
        return nullptr;
    for (unsigned i = 0; i < fmt->nb_streams; ++i)
        fmt->streams[i]->discard = int(i) == stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    const AVRational timeBase = fmt->streams[stream]->time_base;
    std::unique_ptr<AVPacket, void (*)(AVPacket*)> packet(av_packet_alloc(), [](AVPacket* p) { av_packet_free(&p); });
    if (!packet)
        return nullptr;
    auto index = std::make_shared<PacketIndex>();
    int64_t frames = 0;
    while (av_read_frame(fmt, packet.get()) >= 0) {
        if (packet->stream_index == stream && packet->pos >= 0) {
            int64_t duration = av_rescale_q(packet->duration, timeBase, AVRational{1, sampleRate});
            if (duration <= 0)
                duration = av_get_audio_frame_duration2(fmt->streams[stream]->codecpar, packet->size);
            index->codedLength += std::max<int64_t>(duration, 0);
            // Priming and padding (from an encoder's header) are cut by the decoder, not delivered.
            size_t sideSize = 0;
            if (const uint8_t* skip = av_packet_get_side_data(packet.get(), AV_PKT_DATA_SKIP_SAMPLES, &sideSize);
                skip && sideSize >= 8)
                duration -= int64_t(AV_RL32(skip)) + int64_t(AV_RL32(skip + 4));
            index->bytes = packet->pos + packet->size;
            index->position.push_back(packet->pos);
            index->start.push_back(frames);
            frames += std::max<int64_t>(duration, 0);
        }
        av_packet_unref(packet.get());
    }
    if (index->position.empty() || !std::is_sorted(index->position.begin(), index->position.end()))
        return nullptr;
    index->length = frames;
    index->bytes -= index->position.front();
    index->position.shrink_to_fit();
    index->start.shrink_to_fit();
    return index;
}

}  // namespace

size_t PacketIndex::packetAt(int64_t frame) const
{
    const auto it = std::upper_bound(start.begin(), start.end(), frame);
    return it == start.begin() ? 0 : size_t(it - start.begin() - 1);
}

int64_t PacketIndex::packetAtPosition(int64_t bytes) const
{
    const auto it = std::lower_bound(position.begin(), position.end(), bytes);
    return it != position.end() && *it == bytes ? int64_t(it - position.begin()) : -1;
}

std::shared_ptr<const PacketIndex> PacketIndex::forFile(const QString& path, int stream, int sampleRate)
{
    static std::mutex mutex;
    static std::list<Entry> cache;
    const FileStamp stamp = FileStamp::of(path);
    {
        std::lock_guard lock(mutex);
        for (auto it = cache.begin(); it != cache.end(); ++it) {
            if (it->path == path && it->stream == stream && it->stamp == stamp) {
                cache.splice(cache.begin(), cache, it);
                return cache.front().index;
            }
        }
    }
    // An earlier run's scan of this very version, else a scan that the next run finds.
    const PacketIndexFile::Key key{path, stamp, stream, sampleRate};
    const QString folder = Locations::packetIndexes();
    auto index = PacketIndexFile::load(folder, key);
    if (!index) {
        index = scan(path, stream, sampleRate);
        if (!index)
            return nullptr;
        log(QStringLiteral("Scanned the packets of %1").arg(path));
        // A file that changed during the scan is scanned again next time.
        if (FileStamp::of(path) != stamp)
            return index;
        if (!PacketIndexFile::save(folder, key, *index))
            log(QStringLiteral("Could not keep the packet index of %1 in %2").arg(path, folder));
    }
    std::lock_guard lock(mutex);
    cache.push_front({path, stamp, stream, index});
    if (cache.size() > kCachedIndexes)
        cache.pop_back();
    return index;
}

}  // namespace platform::ffmpeg
