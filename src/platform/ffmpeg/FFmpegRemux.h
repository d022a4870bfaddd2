#pragma once
#include <QString>
#include <cstdint>

namespace platform::ffmpeg {

// Copies the audio packets of an MP4 (plain or fragmented, whole or cut off) into a plain
// M4A at dest, without decoding. A fragmented file does not tell the length of its last
// packet: knownFrames (the frames encoded, -1 when unknown) does. Answers the frames
// written, or -1 with the reason.
int64_t remuxToM4A(const QString& src, const QString& dest, int64_t knownFrames, QString* reason);

}  // namespace platform::ffmpeg
