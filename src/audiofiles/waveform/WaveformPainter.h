#pragma once
#include <QColor>
#include <QSizeF>
#include <vector>

class QPainter;
class Waveform;

// Draws a waveform as the editor shows it: one vertical line per column of the view from the
// largest negative to the largest positive excursion of the points under that column.
namespace WaveformPainter {

struct Column {
    float negative = 0;
    float positive = 0;
};

// The excursions per column of a view `width` columns wide. Points are spread over the
// columns by the waveform's full size, so a partly read waveform stays in place in time.
std::vector<Column> columnPeaks(const Waveform& waveform, int width);

QColor backgroundColor();
QColor waveColor();

// Fills the background and draws the waveform (nothing but the background when null).
void paint(QPainter& painter, const Waveform* waveform, const QSizeF& size);

}  // namespace WaveformPainter
