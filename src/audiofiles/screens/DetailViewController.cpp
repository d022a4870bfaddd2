#include "audiofiles/screens/DetailViewController.h"

#include "audiofiles/screens/ConvertViewController.h"
#include "audiofiles/FileInformation.h"
#include "audiofiles/screens/MidiPlotter.h"
#include "audiofiles/editor/EditorTexts.h"
#include "audiofiles/screens/TrimPanel.h"
#include "audiofiles/editor/TrimSettings.h"
#include "audiofiles/screens/WaveView.h"
#include "library/PasteboardScreen.h"
#include "library/RowTexts.h"
#include "library/Utils.h"
#include "platform/AudioFileReader.h"
#include "platform/Background.h"
#include "platform/Dispatch.h"
#include "platform/FileIO.h"
#include "platform/Log.h"
#include "platform/MainThreadObserver.h"
#include "platform/Notifications.h"
#include "ui/PopupPlacement.h"
#include "ui/screens/ElidedLabel.h"
#include "ui/screens/FlowLayout.h"
#include "ui/screens/ProgressHUD.h"
#include "ui/screens/Stepper.h"
#include "ui/screens/Theme.h"

#include <QDesktopServices>
#include <QDialog>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QScreen>
#include <QSignalBlocker>
#include <QSlider>
#include <QStackedWidget>
#include <QUrl>
#include <QVBoxLayout>

namespace {

const QString kAppTitle = QStringLiteral("Wavelocker");
const QString kTrimTitle = QStringLiteral("Trim & Fade");
constexpr int kVolumePanelWidth = 280;
constexpr int kVolumePanelHeight = 160;
constexpr int kVolumeSteps = 1000;
constexpr int kTransitionMs = 250;
constexpr int kMargin = 6;
constexpr int kSpacing = 4;
constexpr int kBarHeight = 44;
const QString kSelectFile = QStringLiteral("Select a file");
const QString kNoPreview = QStringLiteral("No preview for this kind of file");
const QString kBrokenLink = QStringLiteral("This link points to an item that is gone");

QString toggleTitle(bool on, const QString& text)
{
    return (on ? QStringLiteral("☒ ") : QStringLiteral("☐ ")) + text;
}

// Lets a view that has just changed appear gradually.
void fadeIn(QWidget* view)
{
    auto* effect = new QGraphicsOpacityEffect(view);
    view->setGraphicsEffect(effect);
    auto* animation = new QPropertyAnimation(effect, "opacity", effect);
    animation->setDuration(kTransitionMs);
    animation->setStartValue(0.0);
    animation->setEndValue(1.0);
    // A finished effect only costs drawing; it takes itself off the view when deleted.
    QObject::connect(animation, &QPropertyAnimation::finished, effect, &QObject::deleteLater);
    animation->start();
}

}  // namespace

DetailViewController::DetailViewController(QWidget* parent)
    : QWidget(parent),
      mCancelButton(new QPushButton(QStringLiteral("Cancel"), this)),
      mTitle(new ElidedLabel(kAppTitle, this)),
      mImportButton(new QPushButton(QStringLiteral("IMPORT INTO APP"), this)),
      mCopyButton(new QPushButton(QStringLiteral("Copy"), this)),
      mToolsButton(new QPushButton(QStringLiteral("Tools"), this)),
      mToolsMenu(new QMenu(this)),
      mModes(new QStackedWidget(this)),
      mInfoLabel(new QLabel(mModes)),
      mTrimPanel(new TrimPanel(mModes)),
      mContent(new QStackedWidget(this)),
      mWaveView(new WaveView(mContent)),
      mMidiPlot(new MidiPlotter(mContent)),
      mNotesView(new QPlainTextEdit(mContent)),
      mEmpty(new QLabel(kSelectFile, mContent)),
      mTransport(new QWidget(this)),
      mPlayButton(new QPushButton(QStringLiteral("▶"), mTransport)),
      mRewindButton(new QPushButton(QStringLiteral("|◀"), mTransport)),
      mLoopToggle(new QPushButton(toggleTitle(false, QStringLiteral("LOOP")), mTransport)),
      mVolumeButton(new QPushButton(QStringLiteral("Volume"), mTransport)),
      mTimeLabel(new QLabel(EditorTexts::playTimeText(0), mTransport)),
      mPlayback(new EditorTransport(FilePlayer::sharedPlayer(), this))
{
    mWaveView->setWaveDelegate(this);
    for (QWidget* page : {static_cast<QWidget*>(mEmpty), static_cast<QWidget*>(mWaveView), static_cast<QWidget*>(mMidiPlot),
                          static_cast<QWidget*>(mNotesView)})
        mContent->addWidget(page);
    connect(mNotesView, &QPlainTextEdit::textChanged, this, [this] { mTextChanged = true; });
    mNotesView->installEventFilter(this);
    mInfoLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    mModes->addWidget(mInfoLabel);
    mModes->addWidget(mTrimPanel);
    showMode(mInfoLabel, false);

    buildBars();
    buildTransport();
    connectTrimPanel();

    mEmpty->setAlignment(Qt::AlignCenter);
    mEmpty->setWordWrap(true);
    mEmpty->setForegroundRole(QPalette::PlaceholderText);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    // As high as the library's navigation bar beside it, so both columns start level.
    auto* barRow = new QWidget(this);
    barRow->setFixedHeight(kBarHeight - kMargin);
    auto* bar = new QHBoxLayout(barRow);
    bar->setContentsMargins(0, 0, 0, 0);
    bar->addWidget(mCancelButton);
    bar->addWidget(mTitle, 1);
    bar->addWidget(mImportButton);
    bar->addWidget(mCopyButton);
    bar->addWidget(mToolsButton);
    layout->addWidget(barRow);
    layout->addWidget(mModes);
    layout->addWidget(mContent, 1);
    layout->addWidget(mTransport);

    connect(mPlayback, &EditorTransport::playingChanged, this, &DetailViewController::updatePlayButton);
    connect(mPlayback, &EditorTransport::positionChanged, this, &DetailViewController::showPosition);
    mImportStarted = platform::observeOnMain(notifications::kAppImportStarted, this, [this](const platform::Notification& n) {
        mImportScheme = n.userInfo.value(QStringLiteral("scheme")).toString();
        mImportButton->setVisible(!mImportScheme.isEmpty() && !mDetailItem.isEmpty());
    });

    setDetailItem(QString());
}

DetailViewController::~DetailViewController() = default;

void DetailViewController::buildBars()
{
    mTitle->setAlignment(Qt::AlignCenter);
    for (QPushButton* button : {mCancelButton, mImportButton, mCopyButton, mToolsButton, mPlayButton, mRewindButton,
                                mLoopToggle, mVolumeButton})
        Theme::setCompact(button);
    mCancelButton->setToolTip(QStringLiteral("Leave Trim & Fade without saving"));
    mImportButton->setToolTip(QStringLiteral("Send this file to the program that asked for one"));
    mPlayButton->setToolTip(QStringLiteral("Play or pause"));
    mRewindButton->setToolTip(QStringLiteral("Back to the start"));
    mLoopToggle->setToolTip(QStringLiteral("Play in a loop"));
    mVolumeButton->setToolTip(QStringLiteral("Playback volume"));
    mTimeLabel->setToolTip(QStringLiteral("Playing position"));
    QFont font = mTitle->font();
    font.setBold(true);
    mTitle->setFont(font);
    mCancelButton->hide();
    mImportButton->hide();
    connect(mCancelButton, &QPushButton::clicked, this, &DetailViewController::toolCancelPress);
    // Pressing the button must not end an edit of the notes: "Done" saves it.
    mToolsButton->setFocusPolicy(Qt::NoFocus);
    connect(mToolsButton, &QPushButton::clicked, this, &DetailViewController::toolsPress);
    // A press on the button while the menu is open only closes the menu.
    mToolsMenu->setAttribute(Qt::WA_NoMouseReplay);
    connect(mImportButton, &QPushButton::clicked, this, &DetailViewController::doAppImport);
    mCopyButton->hide();
    mCopyButton->setFocusPolicy(Qt::NoFocus);
    mCopyButton->setToolTip(QStringLiteral("Copy to the AudioCopy or the general pasteboard"));
    connect(mCopyButton, &QPushButton::clicked, this, &DetailViewController::audioCopy);
    connect(mToolsMenu->addAction(QStringLiteral("Normalize")), &QAction::triggered, this,
            &DetailViewController::normalize);
    // A single '&' in a menu marks a shortcut key; doubled it shows.
    const QString trimItem = QString(kTrimTitle).replace(u'&', QStringLiteral("&&"));
    connect(mToolsMenu->addAction(trimItem), &QAction::triggered, this, [this] {
        mWaveView->setTrimMode(true);
        updateEditState();
    });
    connect(mToolsMenu->addAction(QStringLiteral("Convert")), &QAction::triggered, this,
            &DetailViewController::showConvert);
}

void DetailViewController::buildTransport()
{
    // A narrow column wraps the controls onto a second row rather than widening the window.
    auto* row = new FlowLayout(mTransport, kSpacing);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(mRewindButton);
    row->addWidget(mPlayButton);
    row->addWidget(mTimeLabel);
    row->addWidget(mLoopToggle);
    row->addRightAlignedWidget(mVolumeButton);
    mTimeLabel->setAlignment(Qt::AlignCenter);
    mTimeLabel->setMinimumWidth(mTimeLabel->fontMetrics().horizontalAdvance(EditorTexts::playTimeText(0)) + 2 * kMargin);
    connect(mPlayButton, &QPushButton::clicked, this, &DetailViewController::playPress);
    connect(mRewindButton, &QPushButton::clicked, this, &DetailViewController::rewindPress);
    connect(mLoopToggle, &QPushButton::clicked, this, &DetailViewController::loopToggled);
    connect(mVolumeButton, &QPushButton::clicked, this, &DetailViewController::showVolumePanel);
}

void DetailViewController::connectTrimPanel()
{
    connect(mTrimPanel->fadeInStepper(), &Stepper::valueChanged, this, &DetailViewController::fadeInStepperChanged);
    connect(mTrimPanel->fadeOutStepper(), &Stepper::valueChanged, this, &DetailViewController::fadeOutStepperChanged);
    connect(mTrimPanel->tempoStepper(), &Stepper::valueChanged, this, &DetailViewController::beatSnapBpmChanged);
    connect(mTrimPanel, &TrimPanel::nudgePressed, this, &DetailViewController::trimNudgePress);
    connect(mTrimPanel, &TrimPanel::snapTapped, this, &DetailViewController::beatSnapTapped);
    connect(mTrimPanel, &TrimPanel::tabChanged, this,
            [this](int tab, int fromTab) { tabBar(mTrimPanel->tabBar(), tab, fromTab); });
}

bool DetailViewController::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == mNotesView && (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut)) {
        mEditingText = event->type() == QEvent::FocusIn;
        updateToolButton();
    }
    return QWidget::eventFilter(watched, event);
}

// ---- The item shown

void DetailViewController::setDetailItem(const QString& path)
{
    // The same file again (its row clicked once more): unsaved notes, the trim state and play
    // stay as they are, unless the file was replaced on disk since it was shown.
    const platform::FileStamp stamp = platform::FileStamp::of(path);
    if (path == mDetailItem && !path.isEmpty() && stamp == mDetailStamp)
        return;
    mDetailStamp = stamp;
    maybeSaveText();
    if (mWaveView->trimMode()) {
        mWaveView->setTrimMode(false);
        updateEditState(false);
    }
    mDetailItem = path;
    double length = 0;
    FilePlayer::Type type = FilePlayer::kNone;
    mIs44k16 = false;
    mTextChanged = false;
    mInfoLabel->setText(RowTexts::oneLineName(path));
    mImportButton->setVisible(!mImportScheme.isEmpty() && !path.isEmpty());
    setWindowTitle(RowTexts::oneLineName(path));
    updateTitle();
    const QFileInfo entry(path);
    mEmpty->setText(path.isEmpty() ? kSelectFile : entry.isSymLink() && !entry.exists() ? kBrokenLink : kNoPreview);
    if (path.isEmpty()) {
        mWaveView->loadURL(QString());
        mContent->setCurrentWidget(mEmpty);
    } else if (!platform::isRegularFile(path)) {
        mContent->setCurrentWidget(mEmpty);  // a FIFO or a device: nothing to show, nothing to wait for
    } else if (Utils::fileIsText(path)) {
        QFile file(path);
        mNotesView->setPlainText(file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString());
        mTextChanged = false;
        mContent->setCurrentWidget(mNotesView);
    } else if (Utils::fileIsMIDI(path)) {
        mMidiPlot->loadMidiFile(path);
        length = mMidiPlot->songLength();
        type = FilePlayer::kMidi;
        mInfoLabel->setText(QStringLiteral("MIDI file\n%1").arg(EditorTexts::timeText(length)));
        mContent->setCurrentWidget(mMidiPlot);
    } else if (Utils::fileIsAudio(path)) {
        const auto reader = platform::AudioFileReader::open(path);
        length = reader ? reader->duration() : 0;
        type = FilePlayer::kAudio;
        mWaveView->setTotalLength(length);
        mWaveView->loadURL(path);
        mContent->setCurrentWidget(mWaveView);
        updateInfoLabelAnimated(false);
    } else {
        mContent->setCurrentWidget(mEmpty);
    }
    mTransport->setVisible(type != FilePlayer::kNone);
    mPlayback->setItem(path, type, length);
    updateToolButton();
}

QWidget* DetailViewController::shownContent() const
{
    return mContent->currentWidget();
}

void DetailViewController::waveformDeleted(const QString& path)
{
    mWaveView->deleted(path);
}

void DetailViewController::waveformRenamed(const QString& oldPath, const QString& newPath)
{
    mWaveView->renamed(oldPath, newPath);
}

void DetailViewController::updateInfoLabelAnimated(bool animated)
{
    if (mDetailItem.isEmpty() || mContent->currentWidget() != mWaveView)
        return;
    // A file that can't be opened keeps the text it had.
    const auto info = Utils::fileInformation(mDetailItem);
    if (!info)
        return;
    mIs44k16 = info->is44100Hz16Bit;
    if (info->text == mInfoLabel->text())
        return;
    mInfoLabel->setText(info->text);
    if (animated)
        fadeIn(mInfoLabel);
}

QString DetailViewController::title() const
{
    return mTitle->fullText();
}

QString DetailViewController::emptyText() const
{
    return mContent->currentWidget() == mEmpty ? mEmpty->text() : QString();
}

void DetailViewController::updateTitle()
{
    if (mWaveView->trimMode())
        mTitle->setFullText(kTrimTitle);
    else
        mTitle->setFullText(mDetailItem.isEmpty() ? kAppTitle : RowTexts::oneLineName(mDetailItem));
}

QString DetailViewController::infoText() const
{
    return mInfoLabel->text();
}

void DetailViewController::maybeSaveText()
{
    if (!mTextChanged || mContent->currentWidget() != mNotesView || mDetailItem.isEmpty())
        return;
    QFile file(mDetailItem);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(mNotesView->toPlainText().toUtf8());
    platform::log(QStringLiteral("Saved text"));
    mTextChanged = false;
}

// ---- Tools button and the trim state

void DetailViewController::updateToolButton()
{
    const bool notes = mContent->currentWidget() == mNotesView;
    if (notes && mEditingText) {
        mToolsButton->setText(QStringLiteral("Done"));
        mToolsButton->setToolTip(QStringLiteral("Save the notes"));
    } else if (mWaveView->trimMode()) {
        mToolsButton->setText(QStringLiteral("Save"));
        mToolsButton->setToolTip(QStringLiteral("Save the region with its fades as a new file"));
    } else {
        mToolsButton->setText(QStringLiteral("Tools"));
        mToolsButton->setToolTip(QStringLiteral("Normalize, Trim & Fade or Convert this file"));
    }
    mToolsButton->setVisible(mContent->currentWidget() == mWaveView || (notes && mEditingText));
    mCopyButton->setVisible(mPasteboard && mContent->currentWidget() == mWaveView && !mWaveView->trimMode());
}

void DetailViewController::setPasteboardScreen(PasteboardScreen* pasteboard)
{
    mPasteboard = pasteboard;
    updateToolButton();
}

void DetailViewController::audioCopy()
{
    if (mPasteboard && !mDetailItem.isEmpty())
        mPasteboard->audioCopy(this, mDetailItem);
}

void DetailViewController::toolsPress()
{
    if (mContent->currentWidget() == mNotesView) {
        maybeSaveText();
        mNotesView->clearFocus();
        mEditingText = false;
        updateToolButton();
    } else if (mWaveView->trimMode()) {
        trim();
    } else if (mToolsMenu->isVisible()) {
        mToolsMenu->close();  // a second press only closes the menu
    } else if (mContent->currentWidget() == mWaveView) {
        mToolsMenu->popup(mToolsButton->mapToGlobal(QPoint(0, mToolsButton->height())));
    }
}

void DetailViewController::toolCancelPress()
{
    mWaveView->setTrimMode(false);
    updateEditState();
}

void DetailViewController::updateEditState(bool animated)
{
    if (mWaveView->trimMode()) {
        mWaveView->setSnapTime(EditorTexts::initialSnapTime(mDetailItem, TrimSettings::storedTempo()));
        mTrimPanel->fadeInStepper()->setValue(TrimSettings::kStartFade);
        mTrimPanel->fadeOutStepper()->setValue(TrimSettings::kStartFade);
        fadeInStepperChanged(TrimSettings::kStartFade);
        fadeOutStepperChanged(TrimSettings::kStartFade);
        {
            // Showing the tempo is not setting one: "SnapBpm" keeps the user's last choice.
            const QSignalBlocker quiet(mTrimPanel->tempoStepper());
            mTrimPanel->tempoStepper()->setValue(TrimSettings::tempoForSnapTime(mWaveView->snapTime()));
        }
        mTrimPanel->setSnap(mWaveView->trimSnap());
        mTrimPanel->showPage(0);
        updateTitle();
        mCancelButton->show();
        updateSelectionText();
        showMode(mTrimPanel, animated);
    } else {
        updateTitle();
        mCancelButton->hide();
        if (animated)
            updateInfoLabelAnimated(true);
        showMode(mInfoLabel, animated);
    }
    updateToolButton();
    mPlayback->setTrimming(mWaveView->trimMode());
    updateRegion();
}

// The normal and the trim views take turns above the waveform, each at its own height.
void DetailViewController::showMode(QWidget* view, bool animated)
{
    for (int i = 0; i < mModes->count(); ++i) {
        QWidget* page = mModes->widget(i);
        page->setSizePolicy(QSizePolicy::Preferred, page == view ? QSizePolicy::Preferred : QSizePolicy::Ignored);
    }
    mModes->setCurrentWidget(view);
    mModes->updateGeometry();
    // Only the information text fades in: under an opacity effect the trim panel's scrolled
    // pages are never painted.
    if (animated && view == mInfoLabel)
        fadeIn(view);
}

void DetailViewController::tabBar(QTabBar*, int didChangeTab, int)
{
    mTrimPanel->showPage(didChangeTab);
}

void DetailViewController::fadeInStepperChanged(double seconds)
{
    mPlayback->setFadeIn(seconds);
    mWaveView->setFadeIn(seconds);
}

void DetailViewController::fadeOutStepperChanged(double seconds)
{
    mPlayback->setFadeOut(seconds);
    mWaveView->setFadeOut(seconds);
}

double DetailViewController::guessBpm() const
{
    return EditorTexts::guessBpm(mDetailItem);
}

void DetailViewController::beatSnapTapped()
{
    const bool on = !mWaveView->trimSnap();
    mWaveView->setTrimSnap(on);
    mTrimPanel->setSnap(on);
    updateSelectionText();
}

void DetailViewController::beatSnapBpmChanged(double bpm)
{
    mWaveView->setSnapTime(TrimSettings::snapTimeForTempo(bpm));
    TrimSettings::storeTempo(bpm);
    updateSelectionText();
}

void DetailViewController::trimNudgePress(int tag)
{
    syncSelection();
    const double lower = mWaveView->zoomed() ? mWaveView->zoomStart() : 0;
    const double upper = mWaveView->zoomed() ? mWaveView->zoomEnd() : mWaveView->totalLength();
    const EditorTransport::Selection moved = mPlayback->trimNudgePress(tag, lower, upper);
    mWaveView->setStartPos(moved.start);
    mWaveView->setEndPos(moved.end);
    mWaveView->updateHandlePositions();
    updateSelectionText();
}

void DetailViewController::updateRegion()
{
    syncSelection();
    mPlayback->updateRegion();
}

// The transport plays what the waveform shows as selected.
void DetailViewController::syncSelection()
{
    mPlayback->setSelection(mWaveView->startPos(), mWaveView->endPos());
}

void DetailViewController::updateSelectionText()
{
    mTrimPanel->setSelectionText(EditorTexts::selectionText(mWaveView->startPos(), mWaveView->endPos(),
                                                            mWaveView->trimSnap(), mWaveView->snapTime()));
}

// ---- Waveform delegate

void DetailViewController::waveView(WaveView*, bool movingCursor)
{
    if (movingCursor)
        mPlayback->cursorDragStarted();
    else
        mPlayback->cursorDragEnded();
}

void DetailViewController::waveView(WaveView*, double movedCursor)
{
    mPlayback->cursorMoved(movedCursor * mPlayback->length());
}

void DetailViewController::waveViewDidChangeSelection(WaveView*)
{
    syncSelection();
    updateSelectionText();
}

void DetailViewController::waveViewDidSetSelection(WaveView*, int)
{
    syncSelection();
    mPlayback->selectionSet();
}

// ---- Playback

void DetailViewController::playPress()
{
    syncSelection();
    mPlayback->playPress();
}

void DetailViewController::rewindPress()
{
    syncSelection();
    mPlayback->rewindPress();
}

void DetailViewController::loopToggled()
{
    mPlayback->loopToggled();
    mLoopToggle->setText(toggleTitle(mPlayback->loop(), QStringLiteral("LOOP")));
}

void DetailViewController::changeVolume(float volume)
{
    mPlayback->setVolume(volume);
}

void DetailViewController::showVolumePanel()
{
    auto* panel = new QDialog(this, Qt::Popup);
    mVolumePanel = panel;
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setFixedSize(kVolumePanelWidth, kVolumePanelHeight);
    auto* layout = new QVBoxLayout(panel);
    layout->addWidget(new QLabel(QStringLiteral("Volume"), panel), 0, Qt::AlignHCenter);
    auto* slider = new QSlider(Qt::Horizontal, panel);
    slider->setRange(0, kVolumeSteps);
    slider->setValue(int(mPlayback->volume() * kVolumeSteps));
    slider->setToolTip(QStringLiteral("Playback volume"));
    connect(slider, &QSlider::valueChanged, this, [this](int v) { changeVolume(float(v) / kVolumeSteps); });
    layout->addWidget(slider);
    // Above the button where there is room, and wholly on the button's screen either way.
    const QRect anchor(mVolumeButton->mapToGlobal(QPoint(0, 0)), mVolumeButton->size());
    const QScreen* screen = mVolumeButton->screen();
    panel->show();
    // Placed once shown, when its frame is known.
    panel->move(PopupPlacement::positionNear(panel->frameGeometry().size(), anchor,
                                             screen ? screen->availableGeometry() : QRect(anchor.topLeft(), panel->size())));
}

void DetailViewController::showPosition(double seconds)
{
    mTimeLabel->setText(EditorTexts::playTimeText(seconds));
    if (!mWaveView->moving())
        mWaveView->setCursorPos(mPlayback->length() > 0 ? seconds / mPlayback->length() : 0);
}

void DetailViewController::updatePlayButton()
{
    mPlayButton->setText(mPlayback->playingThis() ? QStringLiteral("❚❚") : QStringLiteral("▶"));
}

QString DetailViewController::timeText() const
{
    return mTimeLabel->text();
}

// ---- Running the tools

void DetailViewController::runTool(const QString& message, ToolJob job,
                                   std::function<Outcome(const EditorTools::Result&)> finish)
{
    const QPointer<ProgressHUD> hud = ProgressHUD::showWithMessage(this, message);
    hud->setProgress(0);
    Utils::ProgressBlock progress = [hud](float fraction) {
        platform::runOnMain([hud, fraction] {
            if (hud)
                hud->setProgress(fraction);
        });
    };
    platform::runInBackground(
        this, [job = std::move(job), progress = std::move(progress)] { return job(progress); },
        [hud, finish = std::move(finish)](const EditorTools::Result& result) {
            const Outcome outcome = finish(result);
            if (!hud)
                return;
            if (outcome.failed)
                hud->makeDismissMessage(outcome.message);
            else
                hud->makeAutoDismissMessage(outcome.message);
        });
}

void DetailViewController::trim()
{
    const EditorTools::TrimRegion region{mWaveView->startPos(), mWaveView->endPos(),
                                         mTrimPanel->fadeInStepper()->value(), mTrimPanel->fadeOutStepper()->value()};
    runTool(
        QStringLiteral("Trimming"),
        [source = mDetailItem, region](const Utils::ProgressBlock& progress) {
            return EditorTools::trim(source, region, progress);
        },
        [this](const EditorTools::Result&) {
            // A failure has been logged by the operation; the screen reports success either way.
            mWaveView->setTrimMode(false);
            updateEditState();
            return Outcome{QStringLiteral("Trimmed")};
        });
}

void DetailViewController::normalize()
{
    runTool(
        QStringLiteral("Normalizing"),
        [source = mDetailItem](const Utils::ProgressBlock& progress) { return EditorTools::normalize(source, progress); },
        [](const EditorTools::Result&) { return Outcome{QStringLiteral("Normalized")}; });
}

void DetailViewController::showConvert()
{
    if (mConvertScreen)
        return;
    auto* screen = new ConvertViewController(this);
    mConvertScreen = screen;
    screen->setAttribute(Qt::WA_DeleteOnClose);
    screen->doneBlock = [self = QPointer(this), screen](const std::optional<ConversionOptions>& options) {
        screen->close();
        if (self && options)
            self->doConvert(*options);
    };
    screen->open();
}

ConvertViewController* DetailViewController::convertScreen() const
{
    return mConvertScreen;
}

void DetailViewController::doConvert(const ConversionOptions& options)
{
    runTool(
        QStringLiteral("Converting"),
        [source = mDetailItem, options](const Utils::ProgressBlock& progress) {
            return EditorTools::convert(source, options, progress);
        },
        [](const EditorTools::Result& result) {
            return result ? Outcome{QStringLiteral("Converted")}
                          : Outcome{QStringLiteral("Sorry\nCould not convert file"), true};
        });
}

// ---- Import into the app that asked for a file

void DetailViewController::doAppImport()
{
    if (mImportScheme.isEmpty() || mDetailItem.isEmpty())
        return;
    const QString name = EditorTexts::escapeString(QFileInfo(mDetailItem).fileName());
    QDesktopServices::openUrl(QUrl(QStringLiteral("%1://%2").arg(mImportScheme, name)));
    mImportScheme.clear();
    mImportButton->hide();
    emit appImportDone();
}
