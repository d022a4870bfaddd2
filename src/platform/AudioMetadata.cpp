#include "platform/AudioMetadata.h"

#include "platform/CodecModule.h"

namespace platform {

std::optional<AudioMetadata> readAudioMetadata(const QString& path)
{
    const CodecModule* codecs = codecModule();
    return codecs ? codecs->readMetadata(path) : std::nullopt;
}

}  // namespace platform
