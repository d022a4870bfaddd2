#include "wifidrive/QrCodeView.h"

#include <QPainter>
#include <algorithm>

namespace {
constexpr int kQuietModules = 4;  // the light border a camera needs to find the code
constexpr int kPreferredSide = 200;
}  // namespace

QrCodeView::QrCodeView(QWidget* parent) : QWidget(parent)
{
    setMinimumSize(kPreferredSide, kPreferredSide);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void QrCodeView::setText(const QString& text)
{
    if (text == mText)
        return;
    mText = text;
    mCode = text.isEmpty() ? QrCode() : QrCode::encode(text);
    setAccessibleName(text.isEmpty() ? QString() : QStringLiteral("QR code of %1").arg(text));
    update();
}

QSize QrCodeView::sizeHint() const { return {kPreferredSide, kPreferredSide}; }

void QrCodeView::paintEvent(QPaintEvent*)
{
    if (mCode.isEmpty())
        return;
    const int modules = mCode.size() + 2 * kQuietModules;
    // Whole pixels per module keep the edges sharp enough for a phone's camera.
    const int scale = std::max(1, std::min(width(), height()) / modules);
    const int side = scale * modules;
    const QPoint origin((width() - side) / 2, (height() - side) / 2);
    QPainter painter(this);
    painter.fillRect(QRect(origin, QSize(side, side)), Qt::white);
    for (int y = 0; y < mCode.size(); ++y) {
        for (int x = 0; x < mCode.size(); ++x) {
            if (mCode.isDark(x, y))
                painter.fillRect(origin.x() + (x + kQuietModules) * scale, origin.y() + (y + kQuietModules) * scale,
                                 scale, scale, Qt::black);
        }
    }
}
