#pragma once
#include <QString>

// Makes a recording that was cut off at any instant (killed, crashed, power gone) a file
// other programs play, in place. PCM containers (WAVE, RF64, AIFF, CAF) get their size fields
// from the file's real length, in whole frames; a WAVE past 4 GiB becomes RF64. An M4A
// written in fragments becomes a plain M4A of every fragment that is complete.
namespace platform::AudioFileRepair {

// False with the reason when the file is not one of these or can't be repaired; the file is
// then left as it was.
bool repair(const QString& path, QString* reason = nullptr);

}  // namespace platform::AudioFileRepair
