#pragma once
#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

namespace platform::ffmpeg {

// Where every packet of a frame-by-frame stream (MP3, ADTS, AC-3, AMR) starts, in bytes and in
// decoded frames, from one pass over the packets without decoding. Such containers carry no
// index and a VBR file without a header has no honest length: this gives both, exactly.
struct PacketIndex {
    std::vector<int64_t> position;  // byte offset of each packet
    std::vector<int64_t> start;     // decoded frame the packet's first delivered sample lands on
    int64_t length = 0;             // decoded frames in the whole stream
    int64_t bytes = 0;              // from the first packet's start to the last one's end
    int64_t codedLength = 0;        // frames the packets code, priming and padding included

    // The packet holding `frame`: the last one that starts at or before it.
    size_t packetAt(int64_t frame) const;
    // The packet at a byte offset, or -1 when none starts there.
    int64_t packetAtPosition(int64_t bytes) const;

    // From a cache of recently scanned files (keyed by path and the file's version), else from
    // the index an earlier run kept on disk for this version, else by a scan (then kept on
    // disk); nullptr when the stream can't be scanned.
    static std::shared_ptr<const PacketIndex> forFile(const QString& path, int stream, int sampleRate);
};

}  // namespace platform::ffmpeg
