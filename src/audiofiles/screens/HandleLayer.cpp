#include "audiofiles/screens/HandleLayer.h"

#include "audiofiles/waveform/TrimGeometry.h"
#include "audiofiles/screens/WaveView.h"

#include <QPainter>

namespace {
constexpr double kHandleBottomGap = 2.5;
const QColor kHandleColor = QColor::fromRgbF(1.0f, 0.6f, 0.1f);
const QColor kCursorColor = QColor::fromRgbF(1.0f, 1.0f, 1.0f);
}  // namespace

HandleLayer::HandleLayer(WaveView* waveView) : QWidget(waveView), mWaveView(waveView)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
}

void HandleLayer::paintEvent(QPaintEvent*)
{
    const WaveView& w = *mWaveView;
    if (w.isAnimating() || w.totalLength() <= 0)
        return;
    QPainter painter(this);
    const double h = height();
    const double from = w.visibleStart();
    const double to = w.visibleEnd();

    if (w.trimMode()) {
        const double size = w.handleSize();
        const double top = h - kHandleBottomGap - size;
        painter.setPen(QPen(kHandleColor, 1));
        const double sx = TrimGeometry::handleX(w.startPos(), from, to, width());
        const double ex = TrimGeometry::handleX(w.endPos(), from, to, width());
        painter.drawLine(QLineF(sx, 0, sx, h));
        painter.drawLine(QLineF(ex, 0, ex, h));
        painter.setBrush(kHandleColor);
        // The start handle's square hangs to the right of its line, the end's to the left.
        painter.drawRect(QRectF(sx, top, size, size));
        painter.drawRect(QRectF(ex - size, top, size, size));
    }

    if (w.cursorVisible() && !w.zoomed()) {
        QColor color = kCursorColor;
        color.setAlphaF(float(w.cursorOpacity()));
        painter.setPen(QPen(color, 1));
        const double x = TrimGeometry::handleX(w.cursorPos() * w.totalLength(), from, to, width());
        painter.drawLine(QLineF(x, 0, x, h));
    }
}
