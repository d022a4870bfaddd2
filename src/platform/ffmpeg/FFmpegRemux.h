#pragma once
#include <QString>
#include <cstdint>

namespace platform::ffmpeg {

// Copies the audio packets of an MP4 (plain or fragmented, whole or cut off) into a plain
// M4A at dest, without decoding. Answers the frames written, or -1 with the reason.
int64_t remuxToM4A(const QString& src, const QString& dest, QString* reason);

}  // namespace platform::ffmpeg
