#pragma once
#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

namespace platform {

// One channel message of a standard MIDI file, at its place on the song's time line.
struct MidiEvent {
    double seconds = 0;
    double beats = 0;
    uint8_t bytes[3] = {0, 0, 0};
    uint8_t size = 0;
    bool isNote() const { return (bytes[0] & 0xE0) == 0x80; }  // note on or off
};

// A note from its note-on to the matching note-off (or to the end of its track).
struct MidiNote {
    int channel = 0;
    int note = 0;
    int velocity = 0;
    double startBeat = 0;
    double durationBeats = 0;
};

// A standard MIDI file read whole into memory (libsmf), with its tempo map. Files whose
// time base is not in pulses per quarter note, and files libsmf cannot parse, are refused.
class MidiFile {
public:
    // nullptr when the file cannot be read; the reason goes into error.
    static std::unique_ptr<MidiFile> open(const QString& path, QString* error = nullptr);
    ~MidiFile();
    MidiFile(const MidiFile&) = delete;
    MidiFile& operator=(const MidiFile&) = delete;

    int trackCount() const;
    // The longest track, from the start of the song to its last event.
    double lengthBeats() const { return mLengthBeats; }
    double lengthSeconds() const { return beatsToSeconds(mLengthBeats); }
    // Every channel message of every track, in time order.
    const std::vector<MidiEvent>& events() const { return mEvents; }
    std::vector<MidiNote> notes() const;

    double beatsToSeconds(double beats) const;
    double secondsToBeats(double seconds) const;

private:
    struct Smf;
    explicit MidiFile(std::unique_ptr<Smf> smf);

    std::unique_ptr<Smf> mSmf;
    int mPpqn = 0;
    double mLengthBeats = 0;
    std::vector<MidiEvent> mEvents;
};

}  // namespace platform
