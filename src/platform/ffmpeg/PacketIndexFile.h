#pragma once
#include "platform/FileStamp.h"
#include "platform/ffmpeg/FFmpegPacketIndex.h"

#include <QString>
#include <memory>

namespace platform::ffmpeg {

// A file's packet index kept on disk between runs, one file per audio file in `folder`. It
// holds the version of the audio file it was made from (size, modification time, inode) and a
// checksum: an index of another version, a damaged or a cut-off one is never used.
namespace PacketIndexFile {

// What identifies the index of one stream of one version of a file.
struct Key {
    QString path;
    FileStamp stamp;
    int stream = 0;
    int sampleRate = 0;
};

// The stored index for key; nullptr when there is none that fits.
std::shared_ptr<const PacketIndex> load(const QString& folder, const Key& key);
// Stores the index (replacing any for the same path in one rename); false when it can't.
// The folder keeps at most its newest kMostFiles indexes.
bool save(const QString& folder, const Key& key, const PacketIndex& index);

constexpr int kMostFiles = 256;

}  // namespace PacketIndexFile
}  // namespace platform::ffmpeg
