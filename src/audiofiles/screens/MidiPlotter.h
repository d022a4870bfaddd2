#pragma once
#include "platform/MidiFile.h"

#include <QColor>
#include <QWidget>
#include <vector>

class QPainter;

// Draws a MIDI file's notes in place of a waveform: one short line per note, across by time,
// up by pitch, coloured by channel and as opaque as the note is loud.
class MidiPlotter : public QWidget {
    Q_OBJECT
public:
    static constexpr double kLineWidth = 2.0;

    explicit MidiPlotter(QWidget* parent = nullptr);

    bool loadMidiFile(const QString& path);
    double songLength() const { return mSongLength; }
    double lengthBeats() const { return mLengthBeats; }
    const std::vector<platform::MidiNote>& notes() const { return mNotes; }

    // The channel's colour with alpha velocity ÷ 128.
    static QColor colourForNote(int channel, int velocity);
    void draw(QPainter& painter, const QSizeF& size) const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<platform::MidiNote> mNotes;
    double mLengthBeats = 0;
    double mSongLength = 0;
};
