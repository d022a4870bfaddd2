#include "audiofiles/screens/WaveformPainter.h"

#include "audiofiles/waveform/Waveform.h"

#include <QPainter>

namespace WaveformPainter {

QColor backgroundColor() { return QColor(QRgb(WaveformRaster::kBackgroundRgb)); }

QColor waveColor() { return QColor(QRgb(WaveformRaster::kWaveRgb)); }

void paint(QPainter& painter, const Waveform* waveform, const QSizeF& size)
{
    painter.fillRect(QRectF(QPointF(0, 0), size), backgroundColor());
    if (!waveform)
        return;
    const int width = int(size.width());
    const int height = int(size.height());
    const auto columns = WaveformRaster::columnPeaks(*waveform, width);
    for (int x = 0; x < width; ++x) {
        const WaveformRaster::Span span = WaveformRaster::columnSpan(columns[size_t(x)], height);
        if (span.bottom > span.top)
            painter.fillRect(QRect(x, span.top, 1, span.bottom - span.top), waveColor());
    }
}

}  // namespace WaveformPainter
