#pragma once
#include "recording/LevelMeterModel.h"

#include <QPixmap>
#include <QTimer>
#include <QWidget>
#include <functional>

// The recorder's level meter: one horizontal bar per channel (the average, with the peak as
// a marker) over a scale from -60 to +3. It pulls the levels from its delegate at display rate;
// the delegate reads values the audio thread writes, without locks.
class LevelMeter : public QWidget {
    Q_OBJECT
public:
    static constexpr int kRedrawHz = 30;  // every second frame of a 60 Hz display
    // Bar height, the margin left of the bars, the room for the scale's labels.
    static constexpr int kBarHeight = 22;
    static constexpr int kLabelMargin = 36;
    static constexpr int kTickHeight = 20;

    // The levels of a channel, in the recorder's units.
    using Delegate = std::function<LevelMeterModel::Reading(int channel)>;

    explicit LevelMeter(QWidget* parent = nullptr);

    void setDelegate(Delegate delegate) { mDelegate = std::move(delegate); }
    void setNumberOfChannels(int channels);
    int numberOfChannels() const { return mModel.numberOfChannels(); }
    void startUpdating();
    void stopUpdating();
    bool isUpdating() const { return mTimer.isActive(); }
    const LevelMeterModel& model() const { return mModel; }
    // One redraw's step, as the timer makes it.
    void tick();

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void makeTicks();

    LevelMeterModel mModel;
    Delegate mDelegate;
    QTimer mTimer;
    QPixmap mTicks;
    QPixmap mStripe;
};
