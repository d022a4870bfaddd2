#pragma once
#include <QElapsedTimer>
#include <QPixmap>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QWidget>
#include <atomic>
#include <memory>

class FadeView;
class HandleLayer;
class QLabel;
class QProgressBar;
class QVariantAnimation;
class Waveform;
class WaveformCache;
class WaveViewDelegate;

// The waveform of one audio file with a play cursor and, in trim mode, two handles marking
// a selection, with hold-still zooming and optional snapping to a beat grid.
class WaveView : public QWidget {
    Q_OBJECT
public:
    static constexpr double kDefaultSnapTime = 0.5;

    // pointCount 0 takes the screen's width less 20, the size of every waveform.
    explicit WaveView(QWidget* parent = nullptr, int pointCount = 0);
    ~WaveView() override;

    bool loadURL(const QString& path);
    // Reads the peaks of [startTime, endTime] of the shown file; endTime 0 is the file's end.
    double readWaveformInto(Waveform& waveform, double startTime, double endTime);
    void clearCache();
    void deleted(const QString& path);
    void renamed(const QString& oldPath, const QString& newPath);

    void autoZoom();
    void zoomOut();
    void zoomSoon();
    void cancelZoom();
    void updateHandlePositions();
    void clipTrimStart();
    void clipTrimEnd();
    void flashInfo(const QString& text);
    void setTrimMode(bool on);

    QString url() const { return mUrl; }
    double totalLength() const { return mTotalLength; }
    void setTotalLength(double seconds);
    double cursorPos() const { return mCursorPos; }  // fraction of the file, 0..1
    void setCursorPos(double fraction);
    bool cursorVisible() const { return mCursorVisible; }
    void setCursorVisible(bool visible);
    bool trimMode() const { return mTrimMode; }
    double startPos() const { return mStartPos; }
    void setStartPos(double seconds);
    double endPos() const { return mEndPos; }
    void setEndPos(double seconds);
    double fadeIn() const { return mFadeIn; }
    void setFadeIn(double seconds);
    double fadeOut() const { return mFadeOut; }
    void setFadeOut(double seconds);
    bool trimSnap() const { return mTrimSnap; }
    void setTrimSnap(bool on);
    double snapTime() const { return mSnapTime; }
    void setSnapTime(double seconds);
    bool zoomed() const { return mZoomed; }
    double zoomStart() const { return mZoomStart; }
    double zoomEnd() const { return mZoomEnd; }
    bool moving() const { return mMoving; }
    WaveViewDelegate* waveDelegate() const { return mDelegate; }
    void setWaveDelegate(WaveViewDelegate* delegate) { mDelegate = delegate; }

    WaveformCache* cache() const { return mCache; }
    // The waveform drawn now: the zoom waveform while zoomed, else the file's.
    const Waveform* shownWaveform() const;
    // The span of time the view shows: the whole file, or the zoom range.
    double visibleStart() const;
    double visibleEnd() const;
    // Side of a handle's square, and the handle being dragged (-1 none).
    int handleSize() const;
    int draggedHandle() const { return mDragHandle; }
    double cursorOpacity() const { return mCursorOpacity; }
    bool isAnimating() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    double xForTime(double seconds) const;
    double timeForX(double x) const;
    void moveCursorTo(double x);
    void moveHandleTo(double x);
    void startZoomAnimation(bool zoomingIn, double rangeStartX, double rangeEndX);
    void redrawOverlays();

    WaveformCache* mCache;
    FadeView* mFadeView;
    HandleLayer* mHandleLayer;
    QLabel* mInfoLabel;
    QProgressBar* mActivity;
    QVariantAnimation* mZoomAnimation;
    QVariantAnimation* mCursorFade;
    QTimer mInfoTimer;
    QTimer mZoomTimer;
    std::unique_ptr<Waveform> mZoomWaveform;
    std::atomic<bool> mNeverCancel{false};

    QString mUrl;
    double mTotalLength = 0;
    double mCursorPos = 0;
    bool mCursorVisible = true;
    bool mTrimMode = false;
    double mStartPos = 0;
    double mEndPos = 0;
    double mFadeIn = 0;
    double mFadeOut = 0;
    bool mTrimSnap = false;
    double mSnapTime = kDefaultSnapTime;
    bool mZoomed = false;
    double mZoomStart = 0;
    double mZoomEnd = 0;
    bool mMoving = false;
    WaveViewDelegate* mDelegate = nullptr;
    double mCursorOpacity = 0;

    int mDragHandle = -1;
    bool mZoomRequested = false;
    double mLastX = 0;
    QElapsedTimer mLastMove;

    // The zoom animation: a snapshot of the view before, and the zoom range's place in it.
    QPixmap mSnapshot;
    bool mZoomingIn = true;
    double mRangeStartX = 0;
    double mRangeEndX = 0;
    double mAnimationProgress = 1;
};
