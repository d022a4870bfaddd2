#include "audiofiles/screens/MidiPlotter.h"

#include "platform/Log.h"

#include <QPainter>
#include <array>

namespace {

// Red, green and blue for channels 0 to 15; 14 and 15 share one colour on purpose.
constexpr std::array<std::array<double, 3>, 16> kChannelColours = {{
    {1.0, 0.2, 0.2}, {1.0, 0.5, 0.2}, {0.75, 1.0, 0.2}, {0.2, 1.0, 0.2},
    {0.2, 1.0, 1.0}, {0.2, 0.2, 1.0}, {0.5, 0.2, 1.0}, {1.0, 0.2, 0.5},
    {0.5, 0.2, 0.2}, {0.5, 0.5, 0.2}, {0.75, 0.5, 0.2}, {0.2, 0.5, 0.2},
    {0.2, 0.5, 0.5}, {0.2, 0.2, 0.5}, {0.5, 0.2, 0.5}, {0.5, 0.2, 0.5},
}};
constexpr int kNoteRange = 128;

}  // namespace

MidiPlotter::MidiPlotter(QWidget* parent) : QWidget(parent) {}

bool MidiPlotter::loadMidiFile(const QString& path)
{
    platform::log(QStringLiteral("MidiPlotter: loading %1").arg(path));
    mNotes.clear();
    mLengthBeats = mSongLength = 0;
    QString why;
    const auto midi = platform::MidiFile::open(path, &why);
    if (!midi) {
        platform::log(QStringLiteral("MidiPlotter: %1: %2").arg(path, why));
        update();
        return false;
    }
    platform::log(QStringLiteral("MidiPlotter: sequence has %1 tracks").arg(midi->trackCount()));
    mLengthBeats = midi->lengthBeats();
    mSongLength = midi->lengthSeconds();
    mNotes = midi->notes();
    platform::log(QStringLiteral("MidiPlotter: track length: %1 seconds (%2 beats)")
                      .arg(mSongLength, 0, 'g', 6)
                      .arg(mLengthBeats, 0, 'g', 6));
    update();
    return true;
}

QColor MidiPlotter::colourForNote(int channel, int velocity)
{
    const auto& rgb = kChannelColours[size_t(channel & 0x0F)];
    return QColor::fromRgbF(float(rgb[0]), float(rgb[1]), float(rgb[2]), float(velocity) / kNoteRange);
}

void MidiPlotter::draw(QPainter& painter, const QSizeF& size) const
{
    if (mLengthBeats <= 0)
        return;
    const double w = size.width(), h = size.height();
    for (const platform::MidiNote& n : mNotes) {
        const double x = w * n.startBeat / mLengthBeats;
        const double length = w * n.durationBeats / mLengthBeats;
        const double y = h - int(h * n.note / kNoteRange);
        painter.setPen(QPen(colourForNote(n.channel, n.velocity), kLineWidth, Qt::SolidLine, Qt::FlatCap));
        painter.drawLine(QPointF(x, y), QPointF(x + length, y));
    }
}

void MidiPlotter::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    draw(painter, size());
}
