#pragma once
#include "audiofiles/AudioOperations.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"
#include "platform/PartFile.h"

#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

// Pieces shared by the offline operations.
namespace Utils::operations {

constexpr int64_t kChunkFrames = 8192;

// A new temporary file of this operation's own beside dest, on dest's file system (dest's
// extension unless one is given); null, logged, when the folder can't take one.
std::unique_ptr<PartFile> temporaryFileFor(const QString& dest, const QString& extension = {});

// The source, opened; nullptr, logged, when it can't be opened or holds no audio.
std::unique_ptr<platform::AudioFileReader> openReader(const QString& src);
// The source with a float client format at its own channels and rate (or clientRate when
// given); nullptr, logged, when
// it can't be opened or holds no audio. clientFormatError is logged when the client format
// can't be set.
std::unique_ptr<platform::AudioFileReader> openSource(const QString& src, const char* clientFormatError, double clientRate = 0);

// Checks the finished temporary file (it opens as audio, and its length is expectedFrames at
// rate, give or take an encoder's padding) and renames it to dest, over what is there only
// when asked: a source it replaces stays until then. False, logged, when it did not arrive.
bool moveIntoPlace(PartFile& temp, const QString& dest, bool replace, int64_t expectedFrames, double rate);

// Data a lossy encoder wrote: neither PCM nor a lossless codec.
bool isLossy(const platform::StreamDescription& format);

// A writer for normalize and trim that keeps the source's container, encoding, depth and, for
// lossy codecs, bit rate, or falls back to WAVE at the source's depth (16 bits for lossy
// sources; then dest's extension becomes "wav"). Null, logged, on failure.
struct KeptFormatOutput {
    std::unique_ptr<platform::AudioFileWriter> writer;
    QString dest;
};
std::optional<KeptFormatOutput> createKeepingFormat(const platform::AudioFileReader& src, const QString& temp,
                                                    const QString& dest, bool logClientFormatError);

// Reads chunks until the source ends or `limit` frames are done; each chunk goes through
// `process` (when set) and then into `writer` (when set); `done` is reported after every
// chunk. False, logged, on a read or write error and when cancel is set before a chunk.
using ChunkProcess = std::function<void(float* chunk, int frames, int64_t done)>;
bool streamChunks(platform::AudioFileReader& src, platform::AudioFileWriter* writer, std::vector<float>& buffer,
                  int64_t limit, const ChunkProcess& process, const std::function<void(int64_t done)>& progress,
                  const CancelFlag* cancel = nullptr);

// Completes the writer; false, logged, when the file can't be finished.
bool finish(platform::AudioFileWriter& writer, const QString& temp);

void report(const ProgressBlock& progressBlock, double fraction);

}  // namespace Utils::operations
