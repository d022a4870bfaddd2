#pragma once
#include <QPolygonF>
#include <QWidget>

class WaveView;

// Drawn over the waveform in trim mode: the shading of what the fades remove and, with
// snapping on, the beat grid.
class FadeView : public QWidget {
    Q_OBJECT
public:
    explicit FadeView(WaveView* waveView);

    // The shaded shapes of a view w × h showing the whole file: the fade-in from the start
    // handle to the right and the fade-out from the end handle to the left.
    static QPolygonF fadeInShape(double startX, double fadeInWidth, double height);
    static QPolygonF fadeOutShape(double endX, double fadeOutWidth, double height);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    WaveView* mWaveView;
};
