#include "audiofiles/waveform/WaveformPainter.h"

#include "audiofiles/waveform/Waveform.h"

#include <QLineF>
#include <QPainter>
#include <algorithm>

namespace WaveformPainter {
namespace {
constexpr double kBackgroundWhite = 0.13;
constexpr double kVerticalMargin = 2;
}  // namespace

std::vector<Column> columnPeaks(const Waveform& waveform, int width)
{
    std::vector<Column> columns(size_t(std::max(width, 0)));
    const int capacity = waveform.capacity();
    const int count = waveform.count();
    if (capacity == 0 || width <= 0)
        return columns;
    for (int x = 0; x < width; ++x) {
        const int first = int(int64_t(x) * capacity / width);
        const int last = std::max(first + 1, int(int64_t(x + 1) * capacity / width));
        Column& column = columns[size_t(x)];
        for (int i = first; i < std::min(last, count); ++i) {
            const WavePoint p = waveform.point(i);
            column.negative = std::max(column.negative, p.negative);
            column.positive = std::max(column.positive, p.positive);
        }
    }
    return columns;
}

QColor backgroundColor()
{
    return QColor::fromRgbF(kBackgroundWhite, kBackgroundWhite, kBackgroundWhite);
}

QColor waveColor()
{
    return QColor::fromRgbF(0.45f, 0.75f, 1.0f);
}

void paint(QPainter& painter, const Waveform* waveform, const QSizeF& size)
{
    painter.fillRect(QRectF(QPointF(0, 0), size), backgroundColor());
    if (!waveform)
        return;
    const int width = int(size.width());
    const double middle = size.height() / 2;
    const double scale = size.height() / 2 - kVerticalMargin;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(QPen(waveColor(), 1));
    const auto columns = columnPeaks(*waveform, width);
    for (int x = 0; x < width; ++x) {
        const Column& c = columns[size_t(x)];
        const double centre = x + 0.5;
        painter.drawLine(QLineF(centre, middle - (scale * c.negative + 0.5), centre, middle + scale * c.positive + 0.5));
    }
    painter.restore();
}

}  // namespace WaveformPainter
