#pragma once

class WaveView;

// What the waveform view tells the screen that shows it, on the main thread.
class WaveViewDelegate {
public:
    virtual ~WaveViewDelegate() = default;
    // A cursor drag starts (true) or ends (false).
    virtual void waveView(WaveView* view, bool movingCursor) = 0;
    // The cursor moved to this fraction of the view's width.
    virtual void waveView(WaveView* view, double movedCursor) = 0;
    // A handle is moving.
    virtual void waveViewDidChangeSelection(WaveView* view) = 0;
    // A handle was released: 0 start, 1 end.
    virtual void waveViewDidSetSelection(WaveView* view, int handle) = 0;
};
