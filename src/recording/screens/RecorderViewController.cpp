#include "recording/screens/RecorderViewController.h"

#include "audiofiles/FilePlayer.h"
#include "platform/Alerts.h"
#include "platform/HostEngine.h"
#include "platform/Log.h"
#include "platform/MainThreadObserver.h"
#include "platform/Notifications.h"
#include "recording/AudioEngine.h"
#include "recording/Recorder.h"
#include "recording/RecordingSettings.h"
#include "recording/screens/IAAPresetsViewController.h"
#include "recording/screens/LevelMeter.h"
#include "recording/screens/RAUViewController.h"
#include "recording/screens/RecSettingsViewController.h"
#include "recording/screens/SettingsRows.h"
#include "recording/screens/UnitImage.h"
#include "ui/screens/NavigationController.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QTimer>
#include <QPushButton>
#include <QSlider>
#include <QToolButton>
#include <QVBoxLayout>
#include <cmath>

namespace {
const QString kTitle = QStringLiteral("Recorder");
const QString kClose = QStringLiteral("Close");
const QString kCancel = QStringLiteral("Cancel");
const QString kSettings = QStringLiteral("Settings");
const QString kMenu = QStringLiteral("\u2630");
const QString kMenuTip = QStringLiteral("Plugin setups");
const QString kRec = QStringLiteral("REC");
const QString kStop = QStringLiteral("STOP");
const QString kRecord = QStringLiteral("RECORD");
const QString kMonitorOff = QStringLiteral("MONITOR\nOFF");
const QString kMonitorOn = QStringLiteral("MONITOR\nON");
const QString kPlay = QStringLiteral("\u25B6");
const QString kPause = QStringLiteral("\u2016");
const QString kEffect = QStringLiteral("FX");
const QString kChange = QStringLiteral("\u25BE");
const QString kSource = QStringLiteral("SOURCE");
const QString kEffects = QStringLiteral("EFFECTS");
const QString kLevel = QStringLiteral("Record level");
const QString kZeroDuration = QStringLiteral("00:00.00");
const QString kHardwareInput = QStringLiteral("Hardware input");
const QString kCanNotRecord = QStringLiteral("Can not record");
const QString kNoInputs =
    QStringLiteral("No audio inputs available. This could be due to the audio server's setup, please try and restart the "
                   "JACK server and all your audio programs.");
const QString kDiskLeft = QStringLiteral("Disk: %1 left");
const QString kDiskLow = QStringLiteral("Disk almost full: %1 left");
const QString kDropouts = QStringLiteral("Dropouts: %1");
constexpr int kSlotIcon = 40;
constexpr int kSlotButton = 56;
constexpr int kLevelSteps = 1000;
// Long enough for the spinner to be drawn before a unit's loading holds the main thread.
constexpr int kSpinnerShowMs = 100;
constexpr int kPreferredWidth = 320;
constexpr int kPreferredHeight = 560;
// White 0.15, opaque: the background of a slot that holds a unit.
const QString kSetSlotBackground = QStringLiteral("rgb(38, 38, 38)");

// "1:02:03" or "2:03" for a span of seconds.
QString spanText(double seconds)
{
    const qint64 s = qint64(seconds);
    if (s >= 3600)
        return QString::asprintf("%lld:%02lld:%02lld", s / 3600, (s / 60) % 60, s % 60);
    return QString::asprintf("%lld:%02lld", s / 60, s % 60);
}

QPushButton* bigButton(const QString& text)
{
    auto* b = new QPushButton(text);
    b->setCheckable(true);
    b->setMinimumHeight(48);
    QFont f = b->font();
    f.setBold(true);
    b->setFont(f);
    return b;
}
}  // namespace

RecorderViewController::RecorderViewController(QWidget* parent) : QWidget(parent), mRecorder(std::make_unique<Recorder>())
{
    setWindowTitle(kTitle);
    AudioEngine::start();
    mRecorder->attach();
    mRecorder->setAlertContext(this);
    build();
    connect(mRecorder.get(), &Recorder::recStateChanged, this, &RecorderViewController::recStateChanged);
    connect(mRecorder.get(), &Recorder::durationChanged, this, [this] {
        updateRecDur();
        updateDiskLabel();
    });
    connect(mRecorder.get(), &Recorder::dropoutsChanged, this,
            [this](quint64 n) { mDropouts->setText(kDropouts.arg(n)); });
    connect(mRecorder.get(), &Recorder::diskSpaceLow, this, [this] {
        mDiskLow = true;
        updateDiskLabel();
    });
    connect(mRecorder.get(), &Recorder::takeFinished, this, [this](bool cancelled) {
        if (cancelled)
            mDuration->setText(kZeroDuration);
        recStateChanged(false);
    });
    mObservers[0] = platform::observeOnMain(notifications::kUpdatedIAAGraph, this,
                                            [this](const platform::Notification&) { iaaGraphUpdated(); });
    mObservers[1] = platform::observeOnMain(notifications::kRemoteTogglePlay, this,
                                            [this](const platform::Notification&) { updateFilePlayerButtons(); });
    mObservers[2] = platform::observeOnMain(notifications::kFilePlayerDidFinish, this,
                                            [this](const platform::Notification&) { mPlay->setChecked(false); });
    mObservers[3] = platform::observeOnMain(notifications::kConnectionsChanged, this,
                                            [this](const platform::Notification&) { connectionChanged(); });
    connect(FilePlayer::sharedPlayer(), &FilePlayer::playingChanged, this, &RecorderViewController::updateFilePlayerButtons);

    const platform::HostEngine* engine = AudioEngine::audioController();
    if (!engine || engine->inputChannelCount() < 1) {
        platform::showAlert(kCanNotRecord, kNoInputs, this);
    } else {
        mMeter->setNumberOfChannels(2);
        mMeter->startUpdating();
    }
}

RecorderViewController::~RecorderViewController()
{
    mMeter->stopUpdating();
    mMeter->setDelegate({});
    // A take still running is finished and delivered as the recorder goes.
    mRecorder.reset();
}

void RecorderViewController::build()
{
    setAutoFillBackground(true);
    QPalette dark = palette();
    dark.setColor(QPalette::Window, QColor::fromRgbF(0.13, 0.13, 0.13));
    setPalette(dark);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 12);
    layout->setSpacing(10);

    mDuration = new QLabel(kZeroDuration);
    mDuration->setAlignment(Qt::AlignCenter);
    QFont big = mDuration->font();
    big.setPointSizeF(big.pointSizeF() * 3.2);
    big.setFamily(QStringLiteral("monospace"));
    mDuration->setFont(big);
    mDuration->setAccessibleName(QStringLiteral("Duration"));
    layout->addWidget(mDuration);

    mInfo = new QLabel;
    mInfo->setAlignment(Qt::AlignCenter);
    mInfo->setWordWrap(true);
    layout->addWidget(mInfo);
    updateInfoLabel();

    auto* figures = new QHBoxLayout;
    mDisk = new QLabel;
    mDropouts = new QLabel(kDropouts.arg(0));
    mDropouts->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    figures->addWidget(mDisk, 1);
    figures->addWidget(mDropouts);
    layout->addLayout(figures);
    updateDiskLabel();

    mMeter = new LevelMeter;
    Recorder* recorder = mRecorder.get();
    mMeter->setDelegate([recorder](int channel) {
        return LevelMeterModel::Reading{recorder->peakPowerForChannel(channel), recorder->averagePowerForChannel(channel)};
    });
    layout->addWidget(mMeter);

    auto* levelRow = new QHBoxLayout;
    auto* levelLabel = new QLabel(kLevel);
    mLevel = new QSlider(Qt::Horizontal);
    mLevel->setRange(0, kLevelSteps);
    mLevel->setValue(int(std::lround(AudioEngine::recLevel() * kLevelSteps)));
    mLevel->setAccessibleName(kLevel);
    levelLabel->setBuddy(mLevel);
    connect(mLevel, &QSlider::valueChanged, this, &RecorderViewController::levelSliderChanged);
    levelRow->addWidget(levelLabel);
    levelRow->addWidget(mLevel, 1);
    layout->addLayout(levelRow);

    auto* recordTitle = new QLabel(kRecord);
    recordTitle->setAlignment(Qt::AlignCenter);
    layout->addWidget(recordTitle);
    auto* transport = new QHBoxLayout;
    mRec = bigButton(kRec);
    mRec->setStyleSheet(QStringLiteral("QPushButton:checked { background: #c0392b; color: white; }"));
    mStop = bigButton(kStop);
    mStop->setChecked(true);
    mMonitor = bigButton(kMonitorOff);
    mPlay = bigButton(kPlay);
    mPlay->setAccessibleName(QStringLiteral("Play"));
    for (QPushButton* b : {mRec, mStop, mMonitor, mPlay})
        transport->addWidget(b);
    layout->addLayout(transport);
    connect(mRec, &QPushButton::clicked, this, &RecorderViewController::recPress);
    connect(mStop, &QPushButton::clicked, this, [this] {
        mStop->setChecked(!mRecorder->isRecording());
        if (mRecorder->isRecording())
            recPress();
    });
    connect(mMonitor, &QPushButton::clicked, this, &RecorderViewController::monitorPress);
    connect(mPlay, &QPushButton::clicked, this, &RecorderViewController::playPressed);

    auto* slotGrid = new QGridLayout;
    slotGrid->setHorizontalSpacing(8);
    slotGrid->setVerticalSpacing(2);
    auto* sourceTitle = new QLabel(kSource);
    auto* effectsTitle = new QLabel(kEffects);
    slotGrid->addWidget(sourceTitle, 0, 0, Qt::AlignCenter);
    slotGrid->addWidget(effectsTitle, 0, 1, 1, 3, Qt::AlignCenter);
    for (int slot = 0; slot < AudioEngine::kSlotCount; ++slot) {
        auto* button = new QToolButton;
        button->setFixedSize(kSlotButton, kSlotButton);
        button->setIconSize(QSize(kSlotIcon, kSlotIcon));
        button->setToolButtonStyle(Qt::ToolButtonIconOnly);
        button->setAutoRaise(false);
        connect(button, &QToolButton::clicked, this, [this, slot] { slotPressed(slot); });
        auto* change = new QToolButton;
        change->setText(kChange);
        change->setAutoRaise(true);
        change->setAccessibleName(slot == 0 ? QStringLiteral("Choose source") : QStringLiteral("Choose effect %1").arg(slot));
        connect(change, &QToolButton::clicked, this, [this, slot] { changeSlotPressed(slot); });
        auto* spinner = new QProgressBar(button);
        spinner->setRange(0, 0);  // busy
        spinner->setTextVisible(false);
        spinner->setGeometry(8, kSlotButton / 2 - 4, kSlotButton - 16, 8);
        spinner->hide();
        mSpinners[size_t(slot)] = spinner;
        mSlots[size_t(slot)] = button;
        mChangeSlots[size_t(slot)] = change;
        slotGrid->addWidget(button, 1, slot, Qt::AlignCenter);
        slotGrid->addWidget(change, 2, slot, Qt::AlignCenter);
    }
    layout->addLayout(slotGrid);
    layout->addStretch(1);

    mClose = new QPushButton(kClose, this);
    mSettings = new QPushButton(kSettings, this);
    mMenu = new QToolButton(this);
    mMenu->setText(kMenu);
    mMenu->setToolTip(kMenuTip);
    mMenu->setAccessibleName(kMenuTip);
    for (QWidget* w : {static_cast<QWidget*>(mClose), static_cast<QWidget*>(mSettings), static_cast<QWidget*>(mMenu)})
        w->hide();
    connect(mClose, &QPushButton::clicked, this, &RecorderViewController::cancelPress);
    connect(mSettings, &QPushButton::clicked, this, &RecorderViewController::settingsPress);
    connect(mMenu, &QToolButton::clicked, this, &RecorderViewController::menuPress);

    setMinimumSize(kPreferredWidth, kPreferredHeight);
    iaaGraphUpdated();
}

void RecorderViewController::installBarItems(NavigationController* navigation)
{
    if (!navigation)
        return;
    auto* right = new QWidget;
    auto* row = new QHBoxLayout(right);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(4);
    mMenu->setParent(right);
    mSettings->setParent(right);
    row->addWidget(mMenu);
    row->addWidget(mSettings);
    mMenu->show();
    mSettings->show();
    mClose->setParent(nullptr);
    navigation->setLeftItem(this, mClose);
    navigation->setRightItem(this, right);
}

NavigationController* RecorderViewController::navigation() const
{
    for (QWidget* w = parentWidget(); w; w = w->parentWidget())
        if (auto* n = qobject_cast<NavigationController*>(w))
            return n;
    return nullptr;
}

void RecorderViewController::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    // The settings may have changed on the screen above.
    updateInfoLabel();
    updateDiskLabel();
}

void RecorderViewController::recPress()
{
    if (!mRecorder->isRecording()) {
        if (NavigationController* n = navigation())
            n->popToViewController(this, true);
    }
    mRecorder->toggleRecord();
    recStateChanged(mRecorder->isRecording());
}

void RecorderViewController::cancelPress()
{
    if (mRecorder->cancel())
        emit closeRequested();
}

void RecorderViewController::recStateChanged(bool recording)
{
    mRec->setChecked(recording);
    mStop->setChecked(!recording);
    if (mClose)
        mClose->setText(recording ? kCancel : kClose);
    if (mSettings)
        mSettings->setEnabled(!recording);
    if (mMenu)
        mMenu->setEnabled(!recording);
    // The slots change the source: not while a take runs.
    for (int slot = 0; slot < AudioEngine::kSlotCount; ++slot)
        mChangeSlots[size_t(slot)]->setEnabled(!recording);
    if (recording) {
        mDiskLow = false;
        mDropouts->setText(kDropouts.arg(0));
    }
    updateInfoLabel();
    updateDiskLabel();
    updateFilePlayerButtons();
}

void RecorderViewController::settingsPress() { SettingsRows::show(this, new RecSettingsViewController); }

void RecorderViewController::menuPress() { SettingsRows::show(this, new IAAPresetsViewController); }

void RecorderViewController::slotPressed(int slot)
{
    const auto rau = AudioEngine::rauAtSlot(slot);
    // While a choice is being prepared, the unit still in the slot is on its way out.
    if (rau && rau != AudioEngine::fakePlayerRau() && !mBusy[size_t(slot)])
        AudioEngine::gotoIaaApp(slot);
    else if (!mRecorder->isRecording())
        changeSlotPressed(slot);
}

void RecorderViewController::changeSlotPressed(int slot)
{
    if (mRecorder->isRecording())
        return;
    NavigationController* stack = navigation();
    if (!stack)
        return;
    RAUViewController* chooser =
        RAUViewController::pushForSlot(stack, slot, AudioEngine::audiobusConnected() ? slot0Title() : QString());
    QPointer<RecorderViewController> self(this);
    chooser->selectedRAU = [self, stack, slot](RAUViewController*, RemoteAU::Ptr rau) {
        if (!self)
            return;
        stack->popToViewController(self, true);
        self->loadRau(std::move(rau), slot);
    };
}

void RecorderViewController::loadRau(std::shared_ptr<RemoteAU> rau, int slot)
{
    QToolButton* button = mSlots[size_t(slot)];
    button->setIcon(QIcon());
    button->setText(QString());
    mSpinners[size_t(slot)]->show();
    // The last choice made is the one that ends up in the slot: the spinner stays until it is
    // settled, whatever becomes of earlier ones still being checked.
    const uint64_t choice = ++mChoices[size_t(slot)];
    mBusy[size_t(slot)] = true;
    QTimer::singleShot(kSpinnerShowMs, this, [this, rau = std::move(rau), slot, choice] {
        RAUViewController::loadRau(rau, slot, this, [this, slot, choice] {
            if (choice != mChoices[size_t(slot)])
                return;
            mBusy[size_t(slot)] = false;
            mSpinners[size_t(slot)]->hide();
            iaaGraphUpdated();
        });
    });
}

bool RecorderViewController::slotIsLoading(int slot) const { return mSpinners[size_t(slot)]->isVisibleTo(mSlots[size_t(slot)]); }

void RecorderViewController::updateSlotButton(int slot)
{
    if (mBusy[size_t(slot)])
        return;  // busy until its choice is settled, whatever other slots do meanwhile
    QToolButton* button = mSlots[size_t(slot)];
    const auto rau = AudioEngine::rauAtSlot(slot);
    QString background = QStringLiteral("transparent");
    if (rau) {
        button->setIcon(UnitImage::forRau(rau, kSlotIcon));
        button->setText(rau->name());
        button->setToolTip(rau->name());
        button->setToolButtonStyle(Qt::ToolButtonIconOnly);
        if (rau != AudioEngine::fakePlayerRau())
            background = kSetSlotBackground;
    } else if (slot == 0) {
        const bool routed = AudioEngine::audiobusConnected();
        button->setIcon(UnitImage::image(routed ? QStringLiteral("audiobus") : QStringLiteral("iaa_mic"), slot0Title(), kSlotIcon));
        button->setText(slot0Title());
        button->setToolTip(slot0Title());
        button->setToolButtonStyle(Qt::ToolButtonIconOnly);
    } else {
        button->setIcon(QIcon());
        button->setText(kEffect);
        button->setToolTip(QStringLiteral("Empty"));
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
    }
    button->setAccessibleName(slot == 0 ? QStringLiteral("Source: %1").arg(button->text())
                                        : QStringLiteral("Effect %1: %2").arg(slot).arg(rau ? rau->name() : QStringLiteral("Empty")));
    button->setStyleSheet(QStringLiteral("QToolButton { background: %1; border: 1px solid rgb(90, 90, 90); border-radius: 6px; }")
                              .arg(background));
}

void RecorderViewController::iaaGraphUpdated()
{
    platform::log(QStringLiteral("Got iaa graph update notification, updating slot buttons"));
    for (int slot = 0; slot < AudioEngine::kSlotCount; ++slot)
        updateSlotButton(slot);
    updateMonitorButton();
    updateFilePlayerButtons();
}

void RecorderViewController::connectionChanged()
{
    updateSlotButton(0);
    updateFilePlayerButtons();
    updateMonitorButton();
}

QString RecorderViewController::slot0Title() const
{
    const platform::HostEngine* engine = AudioEngine::audioController();
    if (!AudioEngine::audiobusConnected() || !engine)
        return kHardwareInput;
    return Recorder::sourceTitle(engine->receiverSources());
}

void RecorderViewController::monitorPress()
{
    // The button has already flipped by the time the click arrives: the state before it is the engine's.
    AudioEngine::setMonitoring(!AudioEngine::isMonitoring());
    updateMonitorButton();
}

void RecorderViewController::updateMonitorButton()
{
    const bool on = AudioEngine::isMonitoring();
    mMonitor->setChecked(on);
    mMonitor->setText(on ? kMonitorOn : kMonitorOff);
}

void RecorderViewController::levelSliderChanged(int value) { AudioEngine::setRecLevel(float(value) / float(kLevelSteps)); }

void RecorderViewController::playPressed()
{
    FilePlayer* player = FilePlayer::sharedPlayer();
    if (player->isPlaying())
        player->pause();
    else
        player->play();
    updateFilePlayerButtons();
}

void RecorderViewController::updateFilePlayerButtons()
{
    const bool playerSource = AudioEngine::sourceIsFilePlayer();
    const bool playing = FilePlayer::sharedPlayer()->isPlaying();
    mPlay->setVisible(playerSource);
    mPlay->setChecked(playing);
    mPlay->setText(playing ? kPause : kPlay);
}

void RecorderViewController::updateInfoLabel()
{
    const RecordingSettings s = mRecorder->isRecording() ? mRecorder->takeSettings() : RecordingSettings::current();
    mInfo->setText(s.infoText());
}

void RecorderViewController::updateRecDur()
{
    if (mRecorder->currentRecState())
        mDuration->setText(Recorder::durationText(mRecorder->recDuration()));
}

void RecorderViewController::updateDiskLabel()
{
    const double left = mRecorder->secondsLeftOnDisk();
    mDisk->setVisible(left >= 0);
    if (left < 0)
        return;
    const bool low = mDiskLow || left < Recorder::kLowDiskSeconds;
    mDisk->setText((low ? kDiskLow : kDiskLeft).arg(spanText(left)));
    mDisk->setStyleSheet(low ? QStringLiteral("color: #ff6b5b; font-weight: bold;") : QString());
}
