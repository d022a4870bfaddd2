#include "platform/AudioMetadata.h"

#include "platform/CodecModule.h"
#include "platform/FileIO.h"

namespace platform {

std::optional<AudioMetadata> readAudioMetadata(const QString& path)
{
    if (!isRegularFile(path))
        return std::nullopt;
    const CodecModule* codecs = codecModule();
    return codecs ? codecs->readMetadata(path) : std::nullopt;
}

}  // namespace platform
