#pragma once
#include "audiofiles/ConversionOptions.h"

#include <QDialog>
#include <functional>
#include <optional>

class QLabel;
class SegmentedControl;

// The conversion screen: a column of choices over a conversion options dictionary. Save
// stores the choices as "ConverterFormat" and hands them to doneBlock; Cancel hands nullopt.
class ConvertViewController : public QDialog {
    Q_OBJECT
public:
    explicit ConvertViewController(QWidget* parent = nullptr);

    ConversionOptions format;
    std::function<void(const std::optional<ConversionOptions>&)> doneBlock;

    void convertSavePress();
    void convertCancelPress();

    // Exposed for the screen's tests.
    SegmentedControl* formatControl() const { return mFormat; }
    SegmentedControl* channelsControl() const { return mChannels; }
    SegmentedControl* monoSourceControl() const { return mMonoSource; }
    SegmentedControl* bitsControl() const { return mBits; }
    SegmentedControl* bitRateControl() const { return mBitRate; }
    SegmentedControl* sampleRateControl() const { return mSampleRate; }
    QString depthLabelText() const;
    // Sets the format as the action sheet's choice does.
    void chooseFormat(int index);

private:
    void showFormatSheet();
    void updateControls();
    void updateFormatDependentControls();

    SegmentedControl* mFormat;
    SegmentedControl* mChannels;
    SegmentedControl* mMonoSource;
    SegmentedControl* mBits;
    SegmentedControl* mBitRate;
    SegmentedControl* mSampleRate;
    QLabel* mDepthLabel;
};
