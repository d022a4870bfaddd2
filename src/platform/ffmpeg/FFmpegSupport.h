#pragma once
#include <QString>

// Shared by the FFmpeg reader and writer.
namespace platform::ffmpeg {

// Keeps FFmpeg's own messages off stderr; our log carries the reasons that matter.
void quietLibraryLog();
// FFmpeg's text for an error code.
QString errorText(int code);

}  // namespace platform::ffmpeg
