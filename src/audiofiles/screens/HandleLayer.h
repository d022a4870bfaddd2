#pragma once
#include <QWidget>

class WaveView;

// The top layer of the waveform: the play cursor, the two trim handles and, while zoomed,
// nothing that belongs to the whole-file view.
class HandleLayer : public QWidget {
    Q_OBJECT
public:
    explicit HandleLayer(WaveView* waveView);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    WaveView* mWaveView;
};
