#include "audiofiles/screens/FadeView.h"
#include "audiofiles/screens/WaveView.h"
#include "audiofiles/screens/WaveViewDelegate.h"
#include "audiofiles/waveform/Waveform.h"
#include "audiofiles/screens/WaveformPainter.h"
#include "support/TempTree.h"

#include <QImage>
#include <QPainter>
#include <QTest>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

struct RecordingDelegate : WaveViewDelegate {
    QStringList calls;
    void waveView(WaveView*, bool movingCursor) override { calls << QString("moving %1").arg(movingCursor); }
    void waveView(WaveView*, double movedCursor) override { calls << QString("moved %1").arg(movedCursor); }
    void waveViewDidChangeSelection(WaveView*) override { calls << "change"; }
    void waveViewDidSetSelection(WaveView*, int handle) override { calls << QString("set %1").arg(handle); }
};

constexpr int kWidth = 300;
constexpr int kHeight = 120;
constexpr int kHandleY = 110;  // inside the bottom strip where the handles sit

}  // namespace

TEST(WaveView, HandlesSnapZoomWhenHeldStillAndZoomOutOnRelease)
{
    WaveView view(nullptr, kWidth);
    view.resize(kWidth, kHeight);
    view.show();
    RecordingDelegate delegate;
    view.setWaveDelegate(&delegate);
    view.setTotalLength(10);
    view.setTrimMode(true);
    EXPECT_EQ(view.startPos(), 0);
    EXPECT_EQ(view.endPos(), 10);
    view.setTrimSnap(true);
    EXPECT_EQ(view.snapTime(), 0.5);

    // Dragging the start to 1.3 s snaps it to 1.5 s.
    QTest::mousePress(&view, Qt::LeftButton, {}, QPoint(2, kHandleY));
    QTest::mouseMove(&view, QPoint(39, kHandleY));
    EXPECT_NEAR(view.startPos(), 1.5, 1e-9);
    QTest::mouseRelease(&view, Qt::LeftButton, {}, QPoint(39, kHandleY));
    EXPECT_EQ(delegate.calls.back(), "set 0");
    EXPECT_TRUE(delegate.calls.contains("change"));
    EXPECT_FALSE(view.zoomed());

    // Dragging the end to 2.6 s gives a whole number of beats from the start: 2.5 s.
    LogCapture log;
    delegate.calls.clear();
    QTest::mousePress(&view, Qt::LeftButton, {}, QPoint(298, kHandleY));
    QTest::mouseMove(&view, QPoint(78, kHandleY));
    EXPECT_NEAR(view.endPos(), 2.5, 1e-9);
    EXPECT_NEAR(view.startPos(), 1.5, 1e-9);

    // Holding still for a second zooms in on the end handle: 300 points of 1 ms.
    ASSERT_TRUE(waitUntil([&] { return view.zoomed(); }));
    EXPECT_NEAR(view.zoomStart(), 2.35, 1e-9);
    EXPECT_NEAR(view.zoomEnd(), 2.65, 1e-9);
    EXPECT_TRUE(log.contains("total time: 10"));
    EXPECT_TRUE(log.contains("zoomed time: 0.3"));
    EXPECT_TRUE(log.contains("zoom range: 2.35 -> 2.65"));
    // The handle stays under the finger on the zoomed scale, inside the zoom range.
    EXPECT_NEAR(view.endPos(), 2.35 + 0.001 * 78, 1e-9);
    EXPECT_EQ(view.visibleStart(), view.zoomStart());

    // While zoomed, a drag moves the handle in zoomed time and is clipped to the range.
    QTest::mouseMove(&view, QPoint(290, kHandleY));
    EXPECT_LE(view.endPos(), 2.65 + 1e-9);
    EXPECT_GE(view.endPos(), 2.5);
    QTest::mouseRelease(&view, Qt::LeftButton, {}, QPoint(290, kHandleY));
    EXPECT_FALSE(view.zoomed());
    EXPECT_EQ(delegate.calls.back(), "set 1");
    EXPECT_EQ(view.visibleEnd(), 10);
}

TEST(WaveView, CursorDragStaysBetweenHandlesInTrimMode)
{
    WaveView view(nullptr, kWidth);
    view.resize(kWidth, kHeight);
    view.show();
    RecordingDelegate delegate;
    view.setWaveDelegate(&delegate);
    view.setTotalLength(10);

    QTest::mousePress(&view, Qt::LeftButton, {}, QPoint(100, 20));
    EXPECT_TRUE(view.moving());
    QTest::mouseMove(&view, QPoint(400, 20));
    QTest::mouseRelease(&view, Qt::LeftButton, {}, QPoint(400, 20));
    EXPECT_FALSE(view.moving());
    EXPECT_EQ(delegate.calls, (QStringList{"moving 1", QString("moved %1").arg(100.5 / kWidth),
                                           QString("moved %1").arg(299.5 / kWidth), "moving 0"}));

    view.setTrimMode(true);
    view.setStartPos(1.5);
    view.setEndPos(5);
    delegate.calls.clear();
    QTest::mousePress(&view, Qt::LeftButton, {}, QPoint(10, 20));
    EXPECT_DOUBLE_EQ(view.cursorPos(), 45.5 / kWidth);
    QTest::mouseMove(&view, QPoint(250, 20));
    EXPECT_DOUBLE_EQ(view.cursorPos(), 150.5 / kWidth);
    QTest::mouseRelease(&view, Qt::LeftButton, {}, QPoint(250, 20));

    // Nudging below zero is clipped to the file.
    view.setStartPos(-0.05);
    view.clipTrimStart();
    EXPECT_EQ(view.startPos(), 0);
    view.setEndPos(11);
    view.clipTrimEnd();
    EXPECT_EQ(view.endPos(), 10);
}

TEST(WaveView, ColumnsAndDrawing)
{
    Waveform w(10);
    for (int i = 0; i < 10; ++i)
        w.raisePoint(i, {0.05f * i, 0.1f * i, 0});
    // More points than columns: each column takes the largest of its points.
    auto five = WaveformPainter::columnPeaks(w, 5);
    EXPECT_FLOAT_EQ(five[0].positive, 0.1f);
    EXPECT_FLOAT_EQ(five[4].positive, 0.9f);
    EXPECT_FLOAT_EQ(five[4].negative, 0.45f);
    // Fewer: points are spread over the columns.
    auto twenty = WaveformPainter::columnPeaks(w, 20);
    EXPECT_FLOAT_EQ(twenty[6].positive, 0.3f);
    EXPECT_FLOAT_EQ(twenty[7].positive, 0.3f);
    // A partly read waveform keeps its points where they are in time.
    w.setCount(5);
    auto partial = WaveformPainter::columnPeaks(w, 5);
    EXPECT_FLOAT_EQ(partial[1].positive, 0.3f);
    EXPECT_FLOAT_EQ(partial[3].positive, 0.0f);

    // A full-scale column reaches 2 points from each edge; the rest is background.
    Waveform full(4);
    full.raisePoint(1, {1, 1, 1});
    full.raisePoint(3, {0.5f, 0, 0});
    QImage image(4, 100, QImage::Format_RGB32);
    QPainter painter(&image);
    WaveformPainter::paint(painter, &full, image.size());
    painter.end();
    const QRgb background = WaveformPainter::backgroundColor().rgb();
    const QRgb wave = WaveformPainter::waveColor().rgb();
    EXPECT_EQ(image.pixel(0, 10), background);
    EXPECT_EQ(image.pixel(1, 2), wave);
    EXPECT_EQ(image.pixel(1, 97), wave);
    EXPECT_EQ(image.pixel(1, 0), background);
    EXPECT_EQ(image.pixel(3, 30), wave);   // the negative half reaches up 24 points
    EXPECT_EQ(image.pixel(3, 20), background);
    EXPECT_EQ(image.pixel(3, 60), background);  // no positive excursion

    // The fade shading is a bow tie pinned to the handle at half height.
    const QPolygonF in = FadeView::fadeInShape(10.5, 20, 100);
    EXPECT_EQ(in, QPolygonF({{10.5, 0}, {30.5, 0}, {10.5, 50}, {30.5, 100}, {10.5, 100}}));
    const QPolygonF out = FadeView::fadeOutShape(90.5, 20, 100);
    EXPECT_EQ(out.at(1), QPointF(70.5, 0));
}
