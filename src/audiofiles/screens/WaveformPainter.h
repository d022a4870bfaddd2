#pragma once
#include "audiofiles/waveform/WaveformRaster.h"

#include <QColor>
#include <QSizeF>
#include <vector>

class QPainter;
class Waveform;

// Draws a waveform in a view, by the rule of WaveformRaster.
namespace WaveformPainter {

using Column = WaveformRaster::Column;
inline std::vector<Column> columnPeaks(const Waveform& waveform, int width)
{
    return WaveformRaster::columnPeaks(waveform, width);
}

QColor backgroundColor();
QColor waveColor();

// Fills the background and draws the waveform (nothing but the background when null).
void paint(QPainter& painter, const Waveform* waveform, const QSizeF& size);

}  // namespace WaveformPainter
