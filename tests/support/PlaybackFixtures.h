#pragma once
#include <QString>
#include <cstdint>
#include <vector>

namespace testsupport {

// Writes a 32-bit float WAVE file from interleaved samples.
bool writeFloatWav(const QString& path, int sampleRate, int channels, const std::vector<float>& interleaved);

// One note of a single-track MIDI file, in beats.
struct TestNote {
    double startBeat;
    double lengthBeats;
    int note;
    int velocity = 100;
    int channel = 0;
};
// Writes a format-0 standard MIDI file at 480 pulses per quarter note and the given tempo.
QByteArray midiFileBytes(const std::vector<TestNote>& notes, double bpm = 120, int program = 0);

}  // namespace testsupport
