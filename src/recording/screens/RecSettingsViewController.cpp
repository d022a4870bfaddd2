#include "recording/screens/RecSettingsViewController.h"

#include "audiofiles/RecFormats.h"
#include "platform/Alerts.h"
#include "platform/HostEngine.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "recording/RecordingSettings.h"
#include "recording/screens/AudioSettingsViewController.h"
#include "recording/screens/SettingsRows.h"
#include "ui/screens/SegmentedControl.h"

#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <cmath>

namespace {
constexpr int kSheetPadding = 48;
const QString kTitle = QStringLiteral("Rec Settings");
const QString kFormatTitle = QStringLiteral("Format");
const QString kFormatSheet = QStringLiteral("Choose format");
const QString kChannelsTitle = QStringLiteral("Channels");
const QString kBitDepthTitle = QStringLiteral("Bit depth");
const QString kBitRateTitle = QStringLiteral("Bit rate (kb/s)");
const QString kRateTitle = QStringLiteral("Sample rate");
const QString kRateConverting = QStringLiteral("Sample rate - converting from %1");
const QString kNormalizeTitle = QStringLiteral("Normalize");
const QString kAutoOpenTitle = QStringLiteral("Open recording when finished");
const QString kAbMonitorTitle = QStringLiteral("Auto-monitor");
const QString kHardwareTitle = QStringLiteral("Hardware settings");
const QString kWarning = QStringLiteral("Warning");
const QString kRateHigher = QStringLiteral(
    "The selected sample rate (%1) is higher than the current hardware sample rate (%2). Recording will be converted "
    "instead of using the higher fidelity. Change the hardware sample rate in Hardware Settings.");

const QStringList kChannelTitles{QStringLiteral("Stereo"), QStringLiteral("Mono")};
constexpr std::array<int, 2> kChannelValues{2, 1};
const QStringList kBitsTitles{QStringLiteral("16"), QStringLiteral("24"), QStringLiteral("32")};
constexpr std::array<int, 3> kBitsValues{16, 24, 32};
const QStringList kBitrateTitles{QStringLiteral("96"),  QStringLiteral("128"), QStringLiteral("160"),
                                 QStringLiteral("192"), QStringLiteral("256"), QStringLiteral("320")};
constexpr std::array<int, 6> kBitrateValues{96000, 128000, 160000, 192000, 256000, 320000};
const QStringList kRateTitles{QStringLiteral("96k"), QStringLiteral("48k"), QStringLiteral("44k"),
                              QStringLiteral("22k"), QStringLiteral("11k"), QStringLiteral("8k")};
constexpr std::array<int, 6> kRateValues{96000, 48000, 44100, 22050, 11025, 8000};
const QStringList kOffOn{QStringLiteral("OFF"), QStringLiteral("ON")};
// The format that takes no 32-bit samples, and the depth it gets instead.
constexpr int kFormatWithout32 = 1;
constexpr int k32BitSegment = 2;
constexpr int k24BitSegment = 1;

template <size_t N>
int segmentOf(const std::array<int, N>& values, int value)
{
    const auto it = std::find(values.begin(), values.end(), value);
    return it == values.end() ? -1 : int(it - values.begin());
}

// Segments share what width they get: each control asks for room for its titles.
constexpr int kSegmentWidth = 48;

SegmentedControl* toggle(bool on)
{
    auto* c = new SegmentedControl(kOffOn);
    c->setMinimumWidth(2 * kSegmentWidth);
    c->setSelectedSegmentIndex(on ? 1 : 0);
    return c;
}
}  // namespace

RecSettingsViewController::RecSettingsViewController(platform::HostEngine* engine, QWidget* parent)
    : QWidget(parent), mEngine(engine)
{
    setWindowTitle(kTitle);
    build();
}

int RecSettingsViewController::hardwareRate() const
{
    const platform::HostEngine* engine = mEngine ? mEngine : AudioEngine::audioController();
    return int(std::lround(engine ? engine->sampleRate() : platform::HostEngine::kDefaultSampleRate));
}

void RecSettingsViewController::build()
{
    QVBoxLayout* rows = SettingsRows::makeScreen(this);
    const RecordingSettings s = RecordingSettings::current();

    mFormat = new QPushButton(Utils::recFormatNames().value(s.format));
    mFormat->setAccessibleName(kFormatTitle);
    connect(mFormat, &QPushButton::clicked, this, &RecSettingsViewController::formatPress);
    SettingsRows::add(rows, kFormatTitle, mFormat);

    mChannels = new SegmentedControl(kChannelTitles);
    mChannels->setMinimumWidth(3 * kSegmentWidth);
    mChannels->setSelectedSegmentIndex(s.channels == 2 ? 0 : 1);
    connect(mChannels, &SegmentedControl::segmentChosen, this, &RecSettingsViewController::channelsChanged);
    SettingsRows::add(rows, kChannelsTitle, mChannels);

    // One row for the depth or, for the compressed format, the bit rate.
    auto* bitControls = new QStackedWidget;
    mBits = new SegmentedControl(kBitsTitles);
    mBits->setSelectedSegmentIndex(segmentOf(kBitsValues, s.bits));
    connect(mBits, &SegmentedControl::segmentChosen, this, &RecSettingsViewController::bitsChanged);
    mBitrate = new SegmentedControl(kBitrateTitles);
    mBitrate->setSelectedSegmentIndex(segmentOf(kBitrateValues, s.bitrate));
    connect(mBitrate, &SegmentedControl::segmentChosen, this, &RecSettingsViewController::bitrateChanged);
    bitControls->addWidget(mBits);
    bitControls->addWidget(mBitrate);
    bitControls->setMinimumWidth(int(kBitrateTitles.size()) * kSegmentWidth);
    mBitLabel = SettingsRows::addStacked(rows, kBitDepthTitle, bitControls).title;

    mRate = new SegmentedControl(kRateTitles);
    mRate->setSelectedSegmentIndex(segmentOf(kRateValues, s.samplerate));
    mRate->setMinimumWidth(int(kRateTitles.size()) * kSegmentWidth);
    connect(mRate, &SegmentedControl::segmentChosen, this, &RecSettingsViewController::rateSelected);
    mRateLabel = SettingsRows::addStacked(rows, kRateTitle, mRate).title;

    mNormalize = toggle(s.normalize);
    connect(mNormalize, &SegmentedControl::segmentChosen, this,
            [](int segment) { platform::Settings::setValue(RecordingSettings::kNormalizeKey, segment == 1); });
    SettingsRows::add(rows, kNormalizeTitle, mNormalize);
    mAutoOpen = toggle(s.autoopen);
    connect(mAutoOpen, &SegmentedControl::segmentChosen, this,
            [](int segment) { platform::Settings::setValue(RecordingSettings::kAutoOpenKey, segment == 1); });
    SettingsRows::add(rows, kAutoOpenTitle, mAutoOpen);
    mAbMonitor = toggle(s.abmonitor);
    connect(mAbMonitor, &SegmentedControl::segmentChosen, this,
            [](int segment) { platform::Settings::setValue(RecordingSettings::kAbMonitorKey, segment == 1); });
    SettingsRows::add(rows, kAbMonitorTitle, mAbMonitor);

    mHardware = new QPushButton(kHardwareTitle);
    connect(mHardware, &QPushButton::clicked, this, &RecSettingsViewController::hardwarePress);
    rows->addWidget(mHardware);
    rows->addStretch(1);
    updateBitLabel();
}

void RecSettingsViewController::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    checkSampleRate(RecordingSettings::current().samplerate);
}

void RecSettingsViewController::formatPress()
{
    delete mSheet;
    mSheet = new QMenu(this);
    mSheet->setAttribute(Qt::WA_DeleteOnClose);
    mSheet->addSection(kFormatSheet);
    // Wide enough for the sheet's title, which a section header does not widen the menu for.
    mSheet->setMinimumWidth(mSheet->fontMetrics().horizontalAdvance(kFormatSheet) + kSheetPadding);
    const QStringList& names = Utils::recFormatNames();
    for (int i = 0; i < names.size(); ++i)
        connect(mSheet->addAction(names[i]), &QAction::triggered, this, [this, i] { formatSelected(i); });
    mSheet->popup(mFormat->mapToGlobal(QPoint(0, mFormat->height())));
}

void RecSettingsViewController::formatSelected(int index)
{
    if (index < 0 || index >= Utils::recFormatNames().size())
        return;
    platform::Settings::setValue(RecordingSettings::kFormatKey, index);
    mFormat->setText(Utils::recFormatNames()[index]);
    updateBitLabel();
    if (index == kFormatWithout32 && mBits->selectedSegmentIndex() == k32BitSegment)
        bitsChanged(k32BitSegment);
}

void RecSettingsViewController::channelsChanged(int segment)
{
    if (segment >= 0 && segment < int(kChannelValues.size()))
        platform::Settings::setValue(RecordingSettings::kChannelsKey, kChannelValues[size_t(segment)]);
}

void RecSettingsViewController::bitsChanged(int segment)
{
    if (segment < 0 || segment >= int(kBitsValues.size()))
        return;
    if (segment == k32BitSegment && RecordingSettings::current().format == kFormatWithout32)
        segment = k24BitSegment;
    mBits->setSelectedSegmentIndex(segment);
    platform::Settings::setValue(RecordingSettings::kBitsKey, kBitsValues[size_t(segment)]);
}

void RecSettingsViewController::bitrateChanged(int segment)
{
    if (segment >= 0 && segment < int(kBitrateValues.size()))
        platform::Settings::setValue(RecordingSettings::kBitRateKey, kBitrateValues[size_t(segment)]);
}

void RecSettingsViewController::rateSelected(int segment)
{
    if (segment < 0 || segment >= int(kRateValues.size()))
        return;
    const int rate = kRateValues[size_t(segment)];
    platform::Settings::setValue(RecordingSettings::kSampleRateKey, rate);
    checkSampleRate(rate);
}

void RecSettingsViewController::checkSampleRate(int rate)
{
    const int hardware = hardwareRate();
    if (rate > hardware)
        platform::showAlert(kWarning, kRateHigher.arg(rate).arg(hardware), this);
    mRateLabel->setText(rate == hardware ? kRateTitle : kRateConverting.arg(hardware));
}

void RecSettingsViewController::updateBitLabel()
{
    const bool compressed = RecordingSettings::current().format == Utils::kRecFormatAAC;
    mBitLabel->setText(compressed ? kBitRateTitle : kBitDepthTitle);
    auto* stack = qobject_cast<QStackedWidget*>(mBits->parentWidget());
    if (stack)
        stack->setCurrentWidget(compressed ? static_cast<QWidget*>(mBitrate) : mBits);
}

void RecSettingsViewController::hardwarePress() { SettingsRows::show(this, new AudioSettingsViewController(mEngine)); }
