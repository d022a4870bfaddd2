#include "audiofiles/screens/WaveView.h"

#include "audiofiles/screens/FadeView.h"
#include "audiofiles/screens/HandleLayer.h"
#include "audiofiles/waveform/PeakReader.h"
#include "audiofiles/waveform/TrimGeometry.h"
#include "audiofiles/screens/WaveViewDelegate.h"
#include "audiofiles/waveform/Waveform.h"
#include "audiofiles/waveform/WaveformCache.h"
#include "audiofiles/screens/WaveformPainter.h"
#include "platform/Log.h"

#include <QGuiApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QProgressBar>
#include <QScreen>
#include <QVariantAnimation>
#include <algorithm>
#include <cmath>

namespace {
constexpr int kScreenMargin = 20;
constexpr int kHandleSize = 45;  // the two-column screen takes the large handles
constexpr double kZoomSpeedLimit = 10;  // points per second; slower counts as holding still
constexpr int kZoomDelayMs = 1000;
constexpr int kZoomAnimationMs = 1000;
constexpr int kCursorFadeMs = 200;
constexpr int kInfoFlashMs = 1500;
constexpr double kCursorRestingOpacity = 0.5;
constexpr double kCursorMovingOpacity = 0.9;

int screenPointCount()
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    return std::max(1, (screen ? screen->size().width() : 1024) - kScreenMargin);
}

double lerp(double a, double b, double t)
{
    return a + (b - a) * t;
}
}  // namespace

WaveView::WaveView(QWidget* parent, int pointCount)
    : QWidget(parent),
      mCache(new WaveformCache(pointCount > 0 ? pointCount : screenPointCount(), {}, this)),
      mFadeView(new FadeView(this)),
      mHandleLayer(new HandleLayer(this)),
      mInfoLabel(new QLabel(this)),
      mActivity(new QProgressBar(this)),
      mZoomAnimation(new QVariantAnimation(this)),
      mCursorFade(new QVariantAnimation(this)),
      mCursorOpacity(kCursorRestingOpacity)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumHeight(kHandleSize * 2);
    connect(mCache, &WaveformCache::redraw, this, qOverload<>(&QWidget::update));
    connect(mCache, &WaveformCache::loadingChanged, mActivity, &QWidget::setVisible);

    mActivity->setRange(0, 0);
    mActivity->setTextVisible(false);
    mActivity->setFixedSize(60, 6);
    mActivity->hide();

    mInfoLabel->setAlignment(Qt::AlignCenter);
    mInfoLabel->setStyleSheet(QStringLiteral(
        "QLabel { color: white; background: rgba(0,0,0,160); border-radius: 6px; padding: 6px 12px; }"));
    mInfoLabel->hide();
    mInfoTimer.setSingleShot(true);
    connect(&mInfoTimer, &QTimer::timeout, mInfoLabel, &QWidget::hide);

    mZoomTimer.setSingleShot(true);
    connect(&mZoomTimer, &QTimer::timeout, this, &WaveView::autoZoom);

    mZoomAnimation->setDuration(kZoomAnimationMs);
    mZoomAnimation->setStartValue(0.0);
    mZoomAnimation->setEndValue(1.0);
    mZoomAnimation->setEasingCurve(QEasingCurve::InOutQuad);
    connect(mZoomAnimation, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) {
        mAnimationProgress = v.toDouble();
        update();
    });
    connect(mZoomAnimation, &QVariantAnimation::finished, this, [this] {
        mSnapshot = QPixmap();
        mAnimationProgress = 1;
        update();
        redrawOverlays();
    });

    mCursorFade->setDuration(kCursorFadeMs);
    connect(mCursorFade, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) {
        mCursorOpacity = v.toDouble();
        mHandleLayer->update();
    });
}

WaveView::~WaveView() = default;

bool WaveView::loadURL(const QString& path)
{
    cancelZoom();
    mZoomWaveform.reset();
    mZoomed = false;
    mUrl = path;
    redrawOverlays();
    return mCache->loadURL(path);
}

double WaveView::readWaveformInto(Waveform& waveform, double startTime, double endTime)
{
    return PeakReader::readWaveformInto(waveform, mUrl, startTime, endTime, mNeverCancel);
}

void WaveView::clearCache()
{
    mCache->clearCache();
}

void WaveView::deleted(const QString& path)
{
    mCache->deleted(path);
    update();
}

void WaveView::renamed(const QString& oldPath, const QString& newPath)
{
    mCache->renamed(oldPath, newPath);
    if (mUrl == oldPath)
        mUrl = newPath;
}

const Waveform* WaveView::shownWaveform() const
{
    if (mZoomed && mZoomWaveform)
        return mZoomWaveform.get();
    return mCache->current().get();
}

double WaveView::visibleStart() const
{
    return mZoomed ? mZoomStart : 0;
}

double WaveView::visibleEnd() const
{
    return mZoomed ? mZoomEnd : mTotalLength;
}

int WaveView::handleSize() const
{
    return kHandleSize;
}

bool WaveView::isAnimating() const
{
    return mZoomAnimation->state() == QAbstractAnimation::Running;
}

double WaveView::xForTime(double seconds) const
{
    return TrimGeometry::handleX(seconds, visibleStart(), visibleEnd(), width());
}

double WaveView::timeForX(double x) const
{
    return visibleStart() + (visibleEnd() - visibleStart()) * x / std::max(1, width());
}

void WaveView::setTotalLength(double seconds)
{
    mTotalLength = seconds;
    redrawOverlays();
}

void WaveView::setCursorPos(double fraction)
{
    mCursorPos = fraction;
    mHandleLayer->update();
}

void WaveView::setCursorVisible(bool visible)
{
    mCursorVisible = visible;
    mHandleLayer->update();
}

void WaveView::setStartPos(double seconds)
{
    mStartPos = seconds;
    redrawOverlays();
}

void WaveView::setEndPos(double seconds)
{
    mEndPos = seconds;
    redrawOverlays();
}

void WaveView::setFadeIn(double seconds)
{
    mFadeIn = seconds;
    mFadeView->update();
}

void WaveView::setFadeOut(double seconds)
{
    mFadeOut = seconds;
    mFadeView->update();
}

void WaveView::setTrimSnap(bool on)
{
    mTrimSnap = on;
    redrawOverlays();
}

void WaveView::setSnapTime(double seconds)
{
    mSnapTime = seconds;
    if (mTrimSnap)
        redrawOverlays();
}

void WaveView::setTrimMode(bool on)
{
    if (on && !mTrimMode) {
        mStartPos = 0;
        mEndPos = mTotalLength;
    }
    mTrimMode = on;
    if (!on && mZoomed)
        zoomOut();
    redrawOverlays();
}

void WaveView::updateHandlePositions()
{
    redrawOverlays();
}

void WaveView::redrawOverlays()
{
    mFadeView->update();
    mHandleLayer->update();
}

void WaveView::clipTrimStart()
{
    mStartPos = TrimGeometry::clipStart(mStartPos, mEndPos, 0);
    if (mZoomed)
        mStartPos = std::clamp(mStartPos, mZoomStart, mZoomEnd);
}

void WaveView::clipTrimEnd()
{
    mEndPos = TrimGeometry::clipEnd(mStartPos, mEndPos, mTotalLength);
    if (mZoomed)
        mEndPos = std::clamp(mEndPos, mZoomStart, mZoomEnd);
}

void WaveView::flashInfo(const QString& text)
{
    mInfoLabel->setText(text);
    mInfoLabel->adjustSize();
    mInfoLabel->move((width() - mInfoLabel->width()) / 2, (height() - mInfoLabel->height()) / 3);
    mInfoLabel->show();
    mInfoLabel->raise();
    mInfoTimer.start(kInfoFlashMs);
}

void WaveView::zoomSoon()
{
    if (mZoomRequested)
        return;
    mZoomTimer.stop();
    mZoomTimer.start(kZoomDelayMs);
    mZoomRequested = true;
}

void WaveView::cancelZoom()
{
    mZoomTimer.stop();
    mZoomRequested = false;
}

void WaveView::autoZoom()
{
    if (mDragHandle < 0 || mZoomed || mTotalLength <= 0 || width() <= 0)
        return;
    const double handleTime = mDragHandle == 0 ? mStartPos : mEndPos;
    const TrimGeometry::ZoomRange range = TrimGeometry::zoomRange(handleTime, width(), mTotalLength);
    platform::log(QString::asprintf("total time: %g", mTotalLength));
    platform::log(QString::asprintf("zoomed time: %g", range.span()));
    platform::log(QString::asprintf("center before clip %g", handleTime));
    platform::log(QString::asprintf("center after clip %g", range.start + range.span() / 2));
    platform::log(QString::asprintf("zoom range: %g -> %g", range.start, range.end));

    mSnapshot = grab();
    const double rangeStartX = width() * range.start / mTotalLength;
    const double rangeEndX = width() * range.end / mTotalLength;
    mZoomWaveform = std::make_unique<Waveform>(mCache->pointCount());
    readWaveformInto(*mZoomWaveform, range.start, range.end);
    mZoomed = true;
    mZoomStart = range.start;
    mZoomEnd = range.end;

    const double secondsPerPoint = range.span() / width();
    (mDragHandle == 0 ? mStartPos : mEndPos) = mZoomStart + secondsPerPoint * mLastX;
    if (mDragHandle == 0)
        clipTrimStart();
    else
        clipTrimEnd();
    if (mDelegate)
        mDelegate->waveViewDidChangeSelection(this);
    startZoomAnimation(true, rangeStartX, rangeEndX);
}

void WaveView::zoomOut()
{
    if (!mZoomed)
        return;
    mSnapshot = grab();
    const double rangeStartX = width() * mZoomStart / mTotalLength;
    const double rangeEndX = width() * mZoomEnd / mTotalLength;
    mZoomWaveform.reset();
    mZoomed = false;
    startZoomAnimation(false, rangeStartX, rangeEndX);
}

void WaveView::startZoomAnimation(bool zoomingIn, double rangeStartX, double rangeEndX)
{
    mZoomingIn = zoomingIn;
    mRangeStartX = rangeStartX;
    mRangeEndX = std::max(rangeEndX, rangeStartX + 1);
    mAnimationProgress = 0;
    mZoomAnimation->stop();
    mZoomAnimation->start();
    redrawOverlays();
    update();
}

void WaveView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (!isAnimating() || mSnapshot.isNull()) {
        WaveformPainter::paint(painter, shownWaveform(), size());
        return;
    }
    // The zoom range's rectangle travels between its place in the whole file and the full view.
    const double t = mAnimationProgress;
    const double w = width();
    const double left = mZoomingIn ? lerp(mRangeStartX, 0, t) : lerp(0, mRangeStartX, t);
    const double right = mZoomingIn ? lerp(mRangeEndX, w, t) : lerp(w, mRangeEndX, t);
    const QRectF range(left, 0, right - left, height());
    if (mZoomingIn) {
        const double k = range.width() / (mRangeEndX - mRangeStartX);
        painter.drawPixmap(QRectF(left - mRangeStartX * k, 0, w * k, height()), mSnapshot, mSnapshot.rect());
        painter.setOpacity(t);
        WaveformPainter::paint(painter, shownWaveform(), size());
    } else {
        WaveformPainter::paint(painter, shownWaveform(), size());
        painter.setOpacity(1 - t);
        painter.drawPixmap(range, mSnapshot, mSnapshot.rect());
    }
    painter.setOpacity(1);
    painter.setPen(QPen(Qt::white, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(range.adjusted(0.5, 0.5, -0.5, -0.5));
}

void WaveView::resizeEvent(QResizeEvent*)
{
    mFadeView->setGeometry(rect());
    mHandleLayer->setGeometry(rect());
    mActivity->move(width() - mActivity->width() - 8, 8);
}

void WaveView::mousePressEvent(QMouseEvent* event)
{
    const QPointF p = event->position();
    if (mTrimMode && mTotalLength > 0 && p.y() >= height() - handleSize()) {
        const double sx = xForTime(mStartPos);
        const double ex = xForTime(mEndPos);
        mDragHandle = std::abs(p.x() - sx) < std::abs(p.x() - ex) ? 0 : 1;
        flashInfo(QStringLiteral("Hold still to zoom"));
        mLastX = p.x();
        mLastMove.start();
        mZoomRequested = false;
        if (!mZoomed)
            zoomSoon();
        return;
    }
    mMoving = true;
    if (mDelegate)
        mDelegate->waveView(this, true);
    mCursorFade->stop();
    mCursorOpacity = kCursorMovingOpacity;
    moveCursorTo(p.x());
}

void WaveView::mouseMoveEvent(QMouseEvent* event)
{
    const double x = event->position().x();
    if (mDragHandle >= 0) {
        if (!mZoomed) {
            const double seconds = std::max(mLastMove.nsecsElapsed() / 1e9, 1e-6);
            if (std::abs(x - mLastX) / seconds > kZoomSpeedLimit)
                mZoomRequested = false;
            zoomSoon();
        }
        mLastX = x;
        mLastMove.restart();
        moveHandleTo(x);
    } else if (mMoving) {
        moveCursorTo(x);
    }
}

void WaveView::mouseReleaseEvent(QMouseEvent*)
{
    if (mDragHandle >= 0) {
        const int handle = mDragHandle;
        cancelZoom();
        mDragHandle = -1;
        zoomOut();
        if (mDelegate)
            mDelegate->waveViewDidSetSelection(this, handle);
        redrawOverlays();
        return;
    }
    if (!mMoving)
        return;
    mMoving = false;
    if (mDelegate)
        mDelegate->waveView(this, false);
    mCursorFade->setStartValue(mCursorOpacity);
    mCursorFade->setEndValue(kCursorRestingOpacity);
    mCursorFade->start();
}

void WaveView::moveCursorTo(double x)
{
    const double w = width();
    x = std::clamp(std::floor(x) + 0.5, 0.5, std::max(0.5, w - 0.5));
    if (mTrimMode && mTotalLength > 0 && !mZoomed)
        x = std::clamp(x, xForTime(mStartPos), std::max(xForTime(mStartPos), xForTime(mEndPos)));
    mCursorPos = w > 0 ? x / w : 0;
    mHandleLayer->update();
    if (mDelegate)
        mDelegate->waveView(this, mCursorPos);
}

void WaveView::moveHandleTo(double x)
{
    const double t = timeForX(x);
    if (mDragHandle == 0) {
        mStartPos = mTrimSnap ? TrimGeometry::snapStart(t, mSnapTime) : t;
        clipTrimStart();
    } else {
        mEndPos = mTrimSnap ? TrimGeometry::snapEnd(mStartPos, t, mSnapTime) : t;
        clipTrimEnd();
    }
    redrawOverlays();
    if (mDelegate)
        mDelegate->waveViewDidChangeSelection(this);
}
