#include "audiofiles/screens/ConvertViewController.h"

#include "audiofiles/RecFormats.h"
#include "ui/screens/SegmentedControl.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 400;

const QList<int> kChannelValues = {2, 1};
const QList<int> kBitsValues = {16, 24, 32};
const QList<int> kBitRateValues = {96000, 128000, 160000, 192000, 256000, 320000};
const QList<int> kSampleRateValues = {96000, 48000, 44100, 22050, 11025, 8000};

}  // namespace

ConvertViewController::ConvertViewController(QWidget* parent)
    : QDialog(parent),
      format(ConversionOptions::stored()),
      mFormat(new SegmentedControl({QString()}, true, this)),
      mChannels(new SegmentedControl({tr("Stereo"), tr("Mono")}, false, this)),
      mMonoSource(new SegmentedControl({tr("Mix"), tr("Left"), tr("Right")}, false, this)),
      mBits(new SegmentedControl({"16", "24", "32"}, false, this)),
      mBitRate(new SegmentedControl({"96", "128", "160", "192", "256", "320"}, false, this)),
      mSampleRate(new SegmentedControl({"96k", "48k", "44k", "22k", "11k", "8k"}, false, this)),
      mDepthLabel(new QLabel(this))
{
    setWindowTitle(tr("Convert file"));
    resize(kWidth, kHeight);

    auto* buttons = new QDialogButtonBox(this);
    QPushButton* cancel = buttons->addButton(tr("Cancel"), QDialogButtonBox::RejectRole);
    QPushButton* save = buttons->addButton(tr("Save"), QDialogButtonBox::AcceptRole);
    connect(cancel, &QPushButton::clicked, this, &ConvertViewController::convertCancelPress);
    connect(save, &QPushButton::clicked, this, &ConvertViewController::convertSavePress);

    // On the controls, so that each of their segments shows it too.
    mFormat->setToolTip(tr("The file format to write"));
    mChannels->setToolTip(tr("Two channels, or one"));
    mMonoSource->setToolTip(tr("What the one channel of a stereo file holds: both mixed, the left or the right"));
    mBits->setToolTip(tr("Bits per sample"));
    mBitRate->setToolTip(tr("AAC bit rate in kb/s"));
    mSampleRate->setToolTip(tr("Samples per second"));
    save->setToolTip(tr("Remember these choices and convert"));
    cancel->setToolTip(tr("Convert nothing"));

    auto* form = new QFormLayout;
    form->addRow(tr("Format"), mFormat);
    form->addRow(tr("Channels"), mChannels);
    form->addRow(tr("Mono source"), mMonoSource);
    auto* depth = new QVBoxLayout;
    depth->addWidget(mBits);
    depth->addWidget(mBitRate);
    form->addRow(mDepthLabel, depth);
    form->addRow(tr("Samplerate"), mSampleRate);
    auto* column = new QVBoxLayout(this);
    column->addLayout(form);
    column->addStretch();
    column->addWidget(buttons);

    connect(mFormat, &SegmentedControl::segmentChosen, this, &ConvertViewController::showFormatSheet);
    connect(mChannels, &SegmentedControl::segmentChosen, this, [this](int i) {
        format.channels = kChannelValues[i];
        mMonoSource->setEnabled(format.channels == 1);
    });
    connect(mMonoSource, &SegmentedControl::segmentChosen, this, [this](int i) { format.stereomono = i; });
    connect(mBits, &SegmentedControl::segmentChosen, this, [this](int i) {
        // AIFF and ALAC take no 32-bit depth: the control springs back to 24.
        if (kBitsValues[i] > Utils::highestBitsForRecFormat(format.format)) {
            i = kBitsValues.indexOf(Utils::highestBitsForRecFormat(format.format));
            mBits->setSelectedSegmentIndex(i);
        }
        format.bits = kBitsValues[i];
    });
    connect(mBitRate, &SegmentedControl::segmentChosen, this, [this](int i) {
        // Rates the encoder can't reach spring back to the highest it gives.
        if (kBitRateValues[i] > Utils::highestAacBitRate()) {
            i = kBitRateValues.indexOf(Utils::highestAacBitRate());
            mBitRate->setSelectedSegmentIndex(i);
        }
        format.bitrate = kBitRateValues[i];
    });
    connect(mSampleRate, &SegmentedControl::segmentChosen, this,
            [this](int i) { format.samplerate = kSampleRateValues[i]; });
    updateControls();
}

void ConvertViewController::updateControls()
{
    // A stored value that is none of a control's values leaves it with nothing selected.
    mChannels->setSelectedSegmentIndex(kChannelValues.indexOf(format.channels));
    mMonoSource->setSelectedSegmentIndex(format.stereomono >= 0 && format.stereomono <= 2 ? format.stereomono : -1);
    mMonoSource->setEnabled(format.channels == 1);
    mBits->setSelectedSegmentIndex(kBitsValues.indexOf(format.bits));
    mBitRate->setSelectedSegmentIndex(kBitRateValues.indexOf(format.bitrate));
    mSampleRate->setSelectedSegmentIndex(kSampleRateValues.indexOf(format.samplerate));
    updateFormatDependentControls();
}

void ConvertViewController::updateFormatDependentControls()
{
    const bool aac = format.format == Utils::kRecFormatAAC;
    mFormat->setTitle(0, Utils::recFormatNames().value(format.format));
    mDepthLabel->setText(aac ? tr("Bit rate (kb/s)") : tr("Bit depth"));
    mBits->setVisible(!aac);
    mBitRate->setVisible(aac);
}

QString ConvertViewController::depthLabelText() const { return mDepthLabel->text(); }

void ConvertViewController::showFormatSheet()
{
    // A drop-down under the button, as wide as it; Escape or a click elsewhere leaves it.
    QMenu sheet(this);
    sheet.setToolTip(tr("Choose destination format"));
    sheet.setMinimumWidth(mFormat->width());
    const QStringList names = Utils::recFormatNames();
    for (int i = 0; i < names.size(); ++i) {
        QAction* choice = sheet.addAction(names[i], this, [this, i] { chooseFormat(i); });
        choice->setCheckable(i == format.format);  // the current one shows its mark
        choice->setChecked(i == format.format);
    }
    sheet.exec(mFormat->mapToGlobal(QPoint(0, mFormat->height())));
}

void ConvertViewController::chooseFormat(int index)
{
    format.format = index;
    // On screen only: the stored bits change when the bits control itself is touched.
    if (mBits->selectedSegmentIndex() >= 0 && kBitsValues[mBits->selectedSegmentIndex()] > Utils::highestBitsForRecFormat(index))
        mBits->setSelectedSegmentIndex(kBitsValues.indexOf(Utils::highestBitsForRecFormat(index)));
    updateFormatDependentControls();
}

void ConvertViewController::convertSavePress()
{
    format.store();
    if (doneBlock)
        doneBlock(format);
    accept();
}

void ConvertViewController::convertCancelPress()
{
    if (doneBlock)
        doneBlock(std::nullopt);
    reject();
}
