#pragma once
#include <QString>
#include <optional>

namespace platform {

// The tags a music library shows for a track.
struct AudioMetadata {
    QString title;   // empty when the file has no title tag
    QString artist;  // empty when the file has no artist tag
    double duration = 0;  // seconds, 0 when unknown
};

// Reads a file's tags without decoding it; nullopt when it is not a media file we can open.
std::optional<AudioMetadata> readAudioMetadata(const QString& path);

}  // namespace platform
