#include "platform/CodecModule.h"
#include "platform/ffmpeg/FFmpegAudioReader.h"
#include "platform/ffmpeg/FFmpegAudioWriter.h"
#include "platform/ffmpeg/FFmpegMetadata.h"
#include "platform/ffmpeg/FFmpegRemux.h"

namespace {
const platform::CodecModule kModule{
    platform::kCodecModuleVersion,
    &platform::FFmpegAudioReader::open,
    &platform::FFmpegAudioWriter::create,
    &platform::FFmpegMetadata::read,
    &platform::FFmpegAudioWriter::createFragmented,
    &platform::ffmpeg::remuxToM4A,
};
}  // namespace

extern "C" __attribute__((visibility("default"))) const platform::CodecModule* wavelockerCodecModule() { return &kModule; }
