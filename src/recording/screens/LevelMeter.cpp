#include "recording/screens/LevelMeter.h"

#include <QPainter>
#include <algorithm>
#include <array>

namespace {
constexpr int kInset = 2;
constexpr int kBarGap = 6;
constexpr int kPeakWidth = 3;
constexpr int kStripePeriod = 4;
const QColor kBackground = QColor::fromRgbF(0.1f, 0.1f, 0.1f);
const QColor kTickColor = QColor::fromRgbF(0.6f, 0.6f, 0.6f);
constexpr std::array<int, 8> kTickLevels{-60, -50, -40, -30, -20, -10, -3, 0};
}  // namespace

LevelMeter::LevelMeter(QWidget* parent) : QWidget(parent)
{
    mTimer.setInterval(1000 / kRedrawHz);
    connect(&mTimer, &QTimer::timeout, this, &LevelMeter::tick);
    // The bar's fill: green stripes, brighter on every other column.
    mStripe = QPixmap(kStripePeriod, kBarHeight);
    mStripe.fill(QColor(40, 170, 60));
    QPainter p(&mStripe);
    p.fillRect(0, 0, kStripePeriod / 2, kBarHeight, QColor(70, 220, 90));
    setAccessibleName(QStringLiteral("Level meter"));
}

void LevelMeter::setNumberOfChannels(int channels)
{
    mModel.setNumberOfChannels(channels);
    updateGeometry();
    update();
}

void LevelMeter::startUpdating()
{
    if (!mTimer.isActive())
        mTimer.start();
}

void LevelMeter::stopUpdating() { mTimer.stop(); }

void LevelMeter::tick()
{
    std::array<LevelMeterModel::Reading, LevelMeterModel::kMaxChannels> readings{};
    size_t count = 0;
    if (mDelegate)
        for (; count < size_t(mModel.numberOfChannels()); ++count)
            readings[count] = mDelegate(int(count));
    mModel.step(std::span(readings.data(), count));
    update();
}

QSize LevelMeter::sizeHint() const
{
    const int channels = mModel.numberOfChannels();
    return {280, 2 * kInset + channels * kBarHeight + (channels - 1) * kBarGap + kTickHeight};
}

void LevelMeter::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    makeTicks();
}

// The scale's labels under the bars, drawn once per size.
void LevelMeter::makeTicks()
{
    const int width = std::max(1, this->width() - 2 * kInset - kLabelMargin);
    mTicks = QPixmap(width + kLabelMargin, kTickHeight);
    mTicks.fill(Qt::transparent);
    QPainter p(&mTicks);
    QFont f = font();
    f.setPointSizeF(f.pointSizeF() * 0.8);
    p.setFont(f);
    p.setPen(kTickColor);
    for (int level : kTickLevels) {
        const int x = kLabelMargin + qRound(LevelMeterModel::scale(float(level)) * float(width));
        p.drawLine(x, 0, x, 4);
        const QString text = QString::asprintf("%d", level);
        const int w = p.fontMetrics().horizontalAdvance(text);
        p.drawText(QRect(std::clamp(x - w / 2, kLabelMargin - w / 2, kLabelMargin + width - w), 4, w + 2, kTickHeight - 4),
                   Qt::AlignLeft | Qt::AlignVCenter, text);
    }
}

void LevelMeter::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    const QRect inner = rect().adjusted(kInset, kInset, -kInset, -kInset);
    p.fillRect(inner, kBackground);
    const int left = inner.left() + kLabelMargin;
    const int width = std::max(1, inner.width() - kLabelMargin);
    p.setPen(kTickColor);
    for (int c = 0; c < mModel.numberOfChannels(); ++c) {
        const int top = inner.top() + c * (kBarHeight + kBarGap);
        p.drawText(QRect(inner.left(), top, kLabelMargin - 4, kBarHeight), Qt::AlignRight | Qt::AlignVCenter,
                   mModel.numberOfChannels() == 1 ? QStringLiteral("M") : (c == 0 ? QStringLiteral("L") : QStringLiteral("R")));
        const float average = std::clamp(mModel.shownAverage(c), 0.0f, 1.0f);
        const float peak = std::clamp(mModel.shownPeak(c), 0.0f, 1.0f);
        p.drawTiledPixmap(QRect(left, top, qRound(average * float(width)), kBarHeight), mStripe);
        if (peak > 0.0f) {
            const int x = left + qRound(peak * float(width - kPeakWidth));
            p.fillRect(QRect(x, top, kPeakWidth, kBarHeight), peak >= LevelMeterModel::scale(0.0f) ? QColor(230, 60, 50) : QColor(240, 220, 90));
        }
    }
    const int ticksTop = inner.top() + mModel.numberOfChannels() * (kBarHeight + kBarGap) - kBarGap;
    p.drawPixmap(inner.left(), ticksTop, mTicks);
}
