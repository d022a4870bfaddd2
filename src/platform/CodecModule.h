#pragma once
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"
#include "platform/AudioMetadata.h"

#include <QString>
#include <memory>
#include <optional>

namespace platform {

// Compressed formats come from FFmpeg, whose libraries take a tenth of a second to load. They
// live in a module loaded the first time such a file is opened or written, so that programs
// and commands that only touch PCM files start at once.
constexpr int kCodecModuleVersion = 3;

struct CodecModule {
    int version;
    std::unique_ptr<AudioFileReader> (*openReader)(const QString& path, QString* reason);
    // AAC or ALAC in M4A ('m4af'), MP3 ('MPG3'), Vorbis or Opus in Ogg ('OggS').
    std::unique_ptr<AudioFileWriter> (*createWriter)(const QString& path, uint32_t fileType, const StreamDescription& format,
                                                     QString* reason);
    std::optional<AudioMetadata> (*readMetadata)(const QString& path);
    // AAC or ALAC in M4A written as fragments (see AudioFileWriter::createRecoverable).
    std::unique_ptr<AudioFileWriter> (*createFragmentedWriter)(const QString& path, const StreamDescription& format,
                                                               QString* reason);
    // Copies the packets of an M4A, fragmented or cut off after its last complete fragment,
    // into a plain M4A at dest; the number of frames it holds, or -1.
    int64_t (*remuxToM4A)(const QString& src, const QString& dest, int64_t knownFrames, QString* reason);
};

// The file the module would be loaded from, without loading it; empty when there is none.
QString codecModulePath();

// The loaded module; nullptr with the reason when it can't be found or loaded (logged once).
const CodecModule* codecModule(QString* reason = nullptr);

}  // namespace platform
