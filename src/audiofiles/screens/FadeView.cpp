#include "audiofiles/screens/FadeView.h"

#include "audiofiles/waveform/TrimGeometry.h"
#include "audiofiles/screens/WaveView.h"

#include <QPainter>
#include <cmath>

namespace {
const QColor kFadeColor = QColor::fromRgbF(0, 0.25f, 0.5f, 0.4f);
const QColor kGridColor = QColor::fromRgbF(0.3f, 0.5f, 1.0f, 0.5f);
}  // namespace

FadeView::FadeView(WaveView* waveView) : QWidget(waveView), mWaveView(waveView)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
}

QPolygonF FadeView::fadeInShape(double startX, double fadeInWidth, double height)
{
    return QPolygonF({{startX, 0}, {startX + fadeInWidth, 0}, {startX, height / 2},
                      {startX + fadeInWidth, height}, {startX, height}});
}

QPolygonF FadeView::fadeOutShape(double endX, double fadeOutWidth, double height)
{
    return QPolygonF({{endX, 0}, {endX - fadeOutWidth, 0}, {endX, height / 2},
                      {endX - fadeOutWidth, height}, {endX, height}});
}

void FadeView::paintEvent(QPaintEvent*)
{
    const WaveView& w = *mWaveView;
    if (!w.trimMode() || w.totalLength() <= 0 || w.isAnimating())
        return;
    QPainter painter(this);
    const double h = height();
    if (!w.zoomed()) {
        const double scale = width() / w.totalLength();
        const double s = std::floor(scale * w.startPos()) + 0.5;
        const double e = std::floor(scale * w.endPos()) + 0.5;
        painter.setPen(Qt::NoPen);
        painter.setBrush(kFadeColor);
        painter.drawPolygon(fadeInShape(s, scale * w.fadeIn(), h));
        painter.drawPolygon(fadeOutShape(e, scale * w.fadeOut(), h));
    }
    if (w.trimSnap()) {
        painter.setPen(QPen(kGridColor, 1));
        const double from = w.visibleStart();
        const double to = w.visibleEnd();
        for (const double t : TrimGeometry::gridTimes(from, to, w.startPos(), w.snapTime())) {
            const double x = TrimGeometry::handleX(t, from, to, width());
            painter.drawLine(QLineF(x, 1, x, h - 2));
        }
    }
}
