#pragma once
#include <QPointer>
#include <QWidget>
#include <memory>

class HardwareSettings;
class QLabel;
#include <QMenu>
class QPushButton;
class QSlider;
namespace platform {
class HostEngine;
}

// The hardware settings: the sound card's input gain, measurement mode, the server's sample
// rate and buffer size. Acts on the audio server at once; stores nothing.
class AudioSettingsViewController : public QWidget {
    Q_OBJECT
public:
    // engine: the audio controller (AudioEngine's when none is given).
    explicit AudioSettingsViewController(platform::HostEngine* engine = nullptr, QWidget* parent = nullptr);
    ~AudioSettingsViewController() override;

    HardwareSettings* settings() const { return mSettings.get(); }
    QSlider* gainSlider() const { return mGain; }
    QLabel* gainValueLabel() const { return mGainValue; }
    QLabel* gainSubtitle() const { return mGainSubtitle; }
    QPushButton* measurementButton() const { return mMeasurement; }
    QLabel* measurementSubtitle() const { return mMeasurementSubtitle; }
    QPushButton* sampleRateButton() const { return mRate; }
    QPushButton* bufferButton() const { return mBuffer; }
    QLabel* rateSubtitle() const { return mRateSubtitle; }
    QLabel* bufferSubtitle() const { return mBufferSubtitle; }

    // The action sheets ("PREFERRED SAMPLE RATE", "PREFERRED BUFFER SIZE"), open while shown.
    void sampleRatePress();
    void bufferPress();
    QMenu* openSheet() const { return mSheet; }
    // A choice of the sheets by its index in the choices (what a tap on the entry does).
    void rateSelected(int index);
    void bufferSelected(int index);
    void gainChanged(int sliderValue);

    void refreshSampleRateButton(bool allowAlert);
    void refreshBufferButton(bool allowAlert);

private:
    void build();
    void refreshGain();

    std::unique_ptr<HardwareSettings> mSettings;
    QSlider* mGain = nullptr;
    QLabel* mGainValue = nullptr;
    QLabel* mGainSubtitle = nullptr;
    QPushButton* mMeasurement = nullptr;
    QLabel* mMeasurementSubtitle = nullptr;
    QPushButton* mRate = nullptr;
    QLabel* mRateSubtitle = nullptr;
    QPushButton* mBuffer = nullptr;
    QLabel* mBufferSubtitle = nullptr;
    QPointer<QMenu> mSheet;
};
