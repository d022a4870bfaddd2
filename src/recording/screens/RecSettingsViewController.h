#pragma once
#include <QMenu>
#include <QPointer>
#include <QWidget>

class QLabel;
class QPushButton;
class SegmentedControl;
namespace platform {
class HostEngine;
}

// The recording settings: format, channels, bit depth or bit rate, sample rate, normalize,
// open when finished and auto-monitor, each stored as it is chosen and read again when the
// next recording starts; and the way to the hardware settings.
class RecSettingsViewController : public QWidget {
    Q_OBJECT
public:
    // engine: the audio controller whose rate the sample-rate row compares with
    // (AudioEngine's when none is given).
    explicit RecSettingsViewController(platform::HostEngine* engine = nullptr, QWidget* parent = nullptr);

    QPushButton* formatButton() const { return mFormat; }
    SegmentedControl* channelsControl() const { return mChannels; }
    QLabel* bitLabel() const { return mBitLabel; }
    SegmentedControl* bitsControl() const { return mBits; }
    SegmentedControl* bitrateControl() const { return mBitrate; }
    QLabel* sampleRateLabel() const { return mRateLabel; }
    SegmentedControl* sampleRateControl() const { return mRate; }
    SegmentedControl* normalizeControl() const { return mNormalize; }
    SegmentedControl* autoOpenControl() const { return mAutoOpen; }
    SegmentedControl* abMonitorControl() const { return mAbMonitor; }
    QPushButton* hardwareButton() const { return mHardware; }

    // The "Choose format" sheet, open while shown.
    void formatPress();
    QMenu* openSheet() const { return mSheet; }
    void formatSelected(int index);
    void channelsChanged(int segment);
    void bitsChanged(int segment);
    void bitrateChanged(int segment);
    void rateSelected(int segment);
    // Labels the row after the hardware's rate and warns when rate is above it.
    void checkSampleRate(int rate);
    void updateBitLabel();
    void hardwarePress();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void build();
    int hardwareRate() const;

    platform::HostEngine* mEngine;
    QPushButton* mFormat = nullptr;
    SegmentedControl* mChannels = nullptr;
    QLabel* mBitLabel = nullptr;
    SegmentedControl* mBits = nullptr;
    SegmentedControl* mBitrate = nullptr;
    QLabel* mRateLabel = nullptr;
    SegmentedControl* mRate = nullptr;
    SegmentedControl* mNormalize = nullptr;
    SegmentedControl* mAutoOpen = nullptr;
    SegmentedControl* mAbMonitor = nullptr;
    QPushButton* mHardware = nullptr;
    QPointer<QMenu> mSheet;
};
