#pragma once
#include "platform/AudioMetadata.h"

namespace platform {

// A file's tags and duration, read by FFmpeg without decoding.
struct FFmpegMetadata {
    static std::optional<AudioMetadata> read(const QString& path);
};

}  // namespace platform
