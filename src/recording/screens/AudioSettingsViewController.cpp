#include "recording/screens/AudioSettingsViewController.h"

#include "platform/Alerts.h"
#include "recording/AudioEngine.h"
#include "recording/HardwareSettings.h"
#include "recording/screens/SettingsRows.h"

#include <QGraphicsOpacityEffect>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>
#include <cmath>

namespace {
constexpr int kSheetPadding = 48;
const QString kTitle = QStringLiteral("Audio Settings");
const QString kGainTitle = QStringLiteral("Mic input gain");
const QString kMeasurementTitle = QStringLiteral("Measurement mode");
const QString kMeasurementSubtitle =
    QStringLiteral("Disables the device's built-in audio processing, improves fidelity. Linux applies no processing "
                   "to a JACK input, so it is always on.");
const QString kRateTitle = QStringLiteral("Samplerate (kHz)");
const QString kRateSubtitle = QStringLiteral("Preferred hardware sample rate.");
const QString kBufferTitle = QStringLiteral("Buffer frame size");
const QString kBufferSubtitle = QStringLiteral("Smaller buffer sizes result in less latency but may cause stuttering.");
const QString kRateSheet = QStringLiteral("PREFERRED SAMPLE RATE");
const QString kBufferSheet = QStringLiteral("PREFERRED BUFFER SIZE");
const QString kMark = QStringLiteral("\u221A");
const QString kSorry = QStringLiteral("Sorry");
const QString kRateRefused = QStringLiteral("Could not set the preferred sample rate.");
const QString kBufferRefused = QStringLiteral("The current buffer size is controlled by another app and can not be set here.");
const QString kNoServer = QStringLiteral("No audio server is running.");
constexpr int kGainSteps = 1000;
constexpr double kDimmed = 0.3;

void setAlpha(QWidget* widget, double alpha)
{
    auto* effect = qobject_cast<QGraphicsOpacityEffect*>(widget->graphicsEffect());
    if (!effect) {
        effect = new QGraphicsOpacityEffect(widget);
        widget->setGraphicsEffect(effect);
    }
    effect->setOpacity(alpha);
}
}  // namespace

AudioSettingsViewController::AudioSettingsViewController(platform::HostEngine* engine, QWidget* parent)
    : QWidget(parent), mSettings(std::make_unique<HardwareSettings>(engine ? engine : AudioEngine::audioController()))
{
    setWindowTitle(kTitle);
    build();
    // Whoever changes the server's buffer or rate, the buttons follow without alerts.
    connect(mSettings.get(), &HardwareSettings::bufferSizeChanged, this, [this] { refreshBufferButton(false); });
    connect(mSettings.get(), &HardwareSettings::sampleRateChanged, this, [this] {
        refreshSampleRateButton(false);
        refreshBufferButton(false);
    });
    connect(mSettings.get(), &HardwareSettings::bufferRequestEnded, this, [this](bool) { refreshBufferButton(true); });
}

AudioSettingsViewController::~AudioSettingsViewController() = default;

void AudioSettingsViewController::build()
{
    QVBoxLayout* rows = SettingsRows::makeScreen(this);

    auto* gain = new QWidget;
    auto* gainLine = new QHBoxLayout(gain);
    gainLine->setContentsMargins(0, 0, 0, 0);
    mGain = new QSlider(Qt::Horizontal);
    mGain->setRange(0, kGainSteps);
    mGain->setMinimumWidth(140);
    mGain->setAccessibleName(kGainTitle);
    mGainValue = new QLabel;
    mGainValue->setMinimumWidth(56);
    mGainValue->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    gainLine->addWidget(mGain);
    gainLine->addWidget(mGainValue);
    mGainSubtitle = SettingsRows::add(rows, kGainTitle, gain, QStringLiteral("")).subtitle;
    connect(mGain, &QSlider::valueChanged, this, &AudioSettingsViewController::gainChanged);
    refreshGain();

    mMeasurement = new QPushButton;
    mMeasurement->setCheckable(true);
    mMeasurement->setChecked(HardwareSettings::measurementModeOn());
    mMeasurement->setText(mMeasurement->isChecked() ? QStringLiteral("ON") : QStringLiteral("OFF"));
    mMeasurement->setEnabled(HardwareSettings::measurementModeSwitchable());
    mMeasurement->setAccessibleName(kMeasurementTitle);
    mMeasurementSubtitle = SettingsRows::add(rows, kMeasurementTitle, mMeasurement, kMeasurementSubtitle).subtitle;

    mRate = new QPushButton;
    mRate->setAccessibleName(kRateTitle);
    connect(mRate, &QPushButton::clicked, this, &AudioSettingsViewController::sampleRatePress);
    mRateSubtitle = SettingsRows::add(rows, kRateTitle, mRate, kRateSubtitle).subtitle;

    mBuffer = new QPushButton;
    mBuffer->setAccessibleName(kBufferTitle);
    connect(mBuffer, &QPushButton::clicked, this, &AudioSettingsViewController::bufferPress);
    mBufferSubtitle = SettingsRows::add(rows, kBufferTitle, mBuffer, kBufferSubtitle).subtitle;
    rows->addStretch(1);

    const bool server = mSettings->hasServer();
    for (QPushButton* b : {mRate, mBuffer})
        b->setEnabled(server);
    if (!server) {
        mRateSubtitle->setText(kRateSubtitle + QLatin1Char(' ') + kNoServer);
        mBufferSubtitle->setText(kBufferSubtitle + QLatin1Char(' ') + kNoServer);
    }
    refreshSampleRateButton(false);
    refreshBufferButton(false);
}

void AudioSettingsViewController::refreshGain()
{
    const bool available = mSettings->inputGainAvailable();
    mGain->setEnabled(available);
    if (!available) {
        mGainValue->clear();
        mGainSubtitle->setText(mSettings->inputGainUnavailableReason());
        return;
    }
    const QSignalBlocker quiet(mGain);
    const float gain = mSettings->inputGain();
    mGain->setValue(int(std::lround(gain * kGainSteps)));
    mGainValue->setText(QString::asprintf("%.1f %%", double(gain) * 100.0));
    mGainSubtitle->setText(QStringLiteral("Capture volume of the sound card (%1).").arg(mSettings->inputGainSource()));
}

void AudioSettingsViewController::gainChanged(int sliderValue)
{
    const float gain = float(sliderValue) / float(kGainSteps);
    mSettings->setInputGain(gain);
    mGainValue->setText(QString::asprintf("%.1f %%", double(mSettings->inputGain()) * 100.0));
}

void AudioSettingsViewController::sampleRatePress()
{
    delete mSheet;
    mSheet = new QMenu(this);
    mSheet->setAttribute(Qt::WA_DeleteOnClose);
    mSheet->addSection(kRateSheet);
    // Wide enough for the sheet's title, which a section header does not widen the menu for.
    mSheet->setMinimumWidth(mSheet->fontMetrics().horizontalAdvance(kRateSheet) + kSheetPadding);
    const long current = std::lround(mSettings->currentSampleRate());
    for (size_t i = 0; i < HardwareSettings::kRateChoices.size(); ++i) {
        const int rate = HardwareSettings::kRateChoices[i];
        const QString text = QStringLiteral("%1 %2 Hz").arg(rate == current ? kMark : QStringLiteral(" ")).arg(rate);
        connect(mSheet->addAction(text), &QAction::triggered, this, [this, i] { rateSelected(int(i)); });
    }
    mSheet->popup(mRate->mapToGlobal(QPoint(0, mRate->height())));
}

void AudioSettingsViewController::bufferPress()
{
    delete mSheet;
    mSheet = new QMenu(this);
    mSheet->setAttribute(Qt::WA_DeleteOnClose);
    mSheet->addSection(kBufferSheet);
    // Wide enough for the sheet's title, which a section header does not widen the menu for.
    mSheet->setMinimumWidth(mSheet->fontMetrics().horizontalAdvance(kBufferSheet) + kSheetPadding);
    const uint32_t current = mSettings->currentBufferFrames();
    for (size_t i = 0; i < HardwareSettings::kBufferChoices.size(); ++i) {
        const uint32_t frames = HardwareSettings::kBufferChoices[i];
        const QString text = QStringLiteral("%1 %2 frames").arg(frames == current ? kMark : QStringLiteral(" ")).arg(frames);
        connect(mSheet->addAction(text), &QAction::triggered, this, [this, i] { bufferSelected(int(i)); });
    }
    mSheet->popup(mBuffer->mapToGlobal(QPoint(0, mBuffer->height())));
}

void AudioSettingsViewController::rateSelected(int index)
{
    if (index < 0 || index >= int(HardwareSettings::kRateChoices.size()))
        return;
    mSettings->setPreferredSampleRate(HardwareSettings::kRateChoices[size_t(index)]);
    refreshSampleRateButton(true);
}

void AudioSettingsViewController::bufferSelected(int index)
{
    if (index < 0 || index >= int(HardwareSettings::kBufferChoices.size()))
        return;
    mSettings->setPreferredBufferFrames(HardwareSettings::kBufferChoices[size_t(index)]);
    // Shown at once; the server's answer comes with bufferRequestEnded.
    refreshBufferButton(false);
}

void AudioSettingsViewController::refreshSampleRateButton(bool allowAlert)
{
    const long rate = std::lround(mSettings->currentSampleRate());
    mRate->setText(QStringLiteral("%1k").arg(rate / 1000));
    const double preferred = HardwareSettings::preferredSampleRate();
    if (allowAlert && preferred > 0 && std::lround(preferred) != rate)
        platform::showAlert(kSorry, kRateRefused, this);
}

void AudioSettingsViewController::refreshBufferButton(bool allowAlert)
{
    mBuffer->setText(QString::number(mSettings->currentBufferFrames()));
    const bool foreign = mSettings->bufferIsForeign();
    setAlpha(mBuffer, foreign ? kDimmed : 1.0);
    if (allowAlert && foreign)
        platform::showAlert(kSorry, kBufferRefused, this);
}
