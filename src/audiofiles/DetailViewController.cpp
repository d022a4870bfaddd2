#include "audiofiles/DetailViewController.h"

#include "audiofiles/editor/EditorTexts.h"
#include "audiofiles/waveform/WaveView.h"
#include "library/Utils.h"
#include "platform/AudioFileReader.h"
#include "platform/Dispatch.h"
#include "platform/Log.h"
#include "platform/MidiFile.h"

#include <QDesktopServices>
#include <QDialog>
#include <QFile>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QStackedWidget>
#include <QUrl>
#include <QVBoxLayout>

namespace {

const QString kAppTitle = QStringLiteral("Wavelocker");
constexpr int kVolumePanelWidth = 280;
constexpr int kVolumePanelHeight = 160;
constexpr int kVolumeSteps = 1000;

QString toggleTitle(bool on, const QString& text)
{
    return (on ? QStringLiteral("☒ ") : QStringLiteral("☐ ")) + text;
}

FilePlayer& player()
{
    return *FilePlayer::sharedPlayer();
}

// Runs a member on the main thread if the screen is still there.
template <typename Fn>
platform::NotificationCenter::Handler onMain(DetailViewController* screen, Fn fn)
{
    return [self = QPointer(screen), fn](const platform::Notification&) {
        platform::runOnMain([self, fn] {
            if (self)
                fn(self.data());
        });
    };
}

}  // namespace

DetailViewController::DetailViewController(QWidget* parent)
    : QWidget(parent),
      mTitle(new QLabel(kAppTitle, this)),
      mImportButton(new QPushButton(QStringLiteral("IMPORT INTO APP"), this)),
      mInfoLabel(new QLabel(this)),
      mContent(new QStackedWidget(this)),
      mWaveView(new WaveView(mContent)),
      mNotesView(new QPlainTextEdit(mContent)),
      mEmpty(new QWidget(mContent)),
      mTransport(new QWidget(this)),
      mPlayButton(new QPushButton(QStringLiteral("▶"), mTransport)),
      mRewindButton(new QPushButton(QStringLiteral("⏮"), mTransport)),
      mLoopToggle(new QPushButton(toggleTitle(false, QStringLiteral("LOOP")), mTransport)),
      mVolumeButton(new QPushButton(QStringLiteral("Volume"), mTransport)),
      mTimeLabel(new QLabel(EditorTexts::playTimeText(0), mTransport))
{
    mWaveView->setWaveDelegate(this);
    mContent->addWidget(mEmpty);
    mContent->addWidget(mWaveView);
    mContent->addWidget(mNotesView);
    connect(mNotesView, &QPlainTextEdit::textChanged, this, [this] { mTextChanged = true; });

    mTitle->setAlignment(Qt::AlignCenter);
    QFont font = mTitle->font();
    font.setBold(true);
    mTitle->setFont(font);
    mImportButton->hide();
    connect(mImportButton, &QPushButton::clicked, this, &DetailViewController::doAppImport);
    mInfoLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* row = new QHBoxLayout(mTransport);
    row->addWidget(mRewindButton);
    row->addWidget(mPlayButton);
    row->addWidget(mTimeLabel, 1);
    row->addWidget(mLoopToggle);
    row->addWidget(mVolumeButton);
    mTimeLabel->setAlignment(Qt::AlignCenter);
    connect(mPlayButton, &QPushButton::clicked, this, &DetailViewController::playPress);
    connect(mRewindButton, &QPushButton::clicked, this, &DetailViewController::rewindPress);
    connect(mLoopToggle, &QPushButton::clicked, this, &DetailViewController::loopToggled);
    connect(mVolumeButton, &QPushButton::clicked, this, &DetailViewController::showVolumePanel);

    auto* layout = new QVBoxLayout(this);
    auto* bar = new QHBoxLayout;
    bar->addStretch(1);
    bar->addWidget(mTitle);
    bar->addStretch(1);
    bar->addWidget(mImportButton);
    layout->addLayout(bar);
    layout->addWidget(mInfoLabel);
    layout->addWidget(mContent, 1);
    layout->addWidget(mTransport);

    mRemotePlay = platform::ScopedObserver(QStringLiteral("AudioEngineRemoteTogglePlay"),
                                           onMain(this, [](DetailViewController* s) { s->playPress(); }));
    mRemoteRewind = platform::ScopedObserver(QStringLiteral("AudioEngineRemoteRewind"),
                                             onMain(this, [](DetailViewController* s) { s->rewindPress(); }));
    mPlayerFinished = platform::ScopedObserver(QString::fromLatin1(FilePlayer::kDidFinishNotification),
                                               onMain(this, [](DetailViewController* s) { s->filePlayerDidFinish(&player()); }));
    mImportStarted = platform::ScopedObserver(QStringLiteral("AppImportStarted"), [this](const platform::Notification& n) {
        const QString scheme = n.userInfo.value(QStringLiteral("scheme")).toString();
        platform::runOnMain([self = QPointer(this), scheme] {
            if (!self)
                return;
            self->mImportScheme = scheme;
            self->mImportButton->setVisible(!scheme.isEmpty() && !self->mDetailItem.isEmpty());
        });
    });

    setDetailItem(QString());
}

DetailViewController::~DetailViewController()
{
    if (player().delegate() == this)
        player().setDelegate(nullptr);
}

void DetailViewController::setDetailItem(const QString& path)
{
    if (path != mDetailItem)
        maybeSaveText();
    mDetailItem = path;
    mLength = 0;
    mMidi = false;
    mTextChanged = false;
    mInfoLabel->setText(QFileInfo(path).fileName());
    mImportButton->setVisible(!mImportScheme.isEmpty() && !path.isEmpty());
    if (path.isEmpty()) {
        mWaveView->loadURL(QString());
        mContent->setCurrentWidget(mEmpty);
    } else if (Utils::fileIsText(path)) {
        QFile file(path);
        mNotesView->setPlainText(file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString());
        mTextChanged = false;
        mContent->setCurrentWidget(mNotesView);
    } else if (Utils::fileIsMIDI(path)) {
        mMidi = true;
        const auto midi = platform::MidiFile::open(path);
        mLength = midi ? midi->lengthSeconds() : 0;
        mInfoLabel->setText(QStringLiteral("MIDI file\n%1").arg(EditorTexts::timeText(mLength)));
        mContent->setCurrentWidget(mEmpty);
    } else if (Utils::fileIsAudio(path)) {
        const auto reader = platform::AudioFileReader::open(path);
        mLength = reader ? reader->duration() : 0;
        mWaveView->setTotalLength(mLength);
        mWaveView->loadURL(path);
        mContent->setCurrentWidget(mWaveView);
    } else {
        mContent->setCurrentWidget(mEmpty);
    }
    mTransport->setVisible(mMidi || mContent->currentWidget() == mWaveView);
    updateTimeDisplay(0);
    mWaveView->setCursorPos(0);
    updatePlayButton();
}

void DetailViewController::waveformDeleted(const QString& path)
{
    mWaveView->deleted(path);
}

void DetailViewController::waveformRenamed(const QString& oldPath, const QString& newPath)
{
    mWaveView->renamed(oldPath, newPath);
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

// ---- Waveform delegate

void DetailViewController::waveView(WaveView*, bool movingCursor)
{
    if (movingCursor) {
        mWasPlayingBeforeDrag = player().isPlaying() && player().url() == mDetailItem;
        if (mWasPlayingBeforeDrag) {
            platform::NotificationCenter::defaultCenter().post(QStringLiteral("StopPreview"), this);
            player().pause();
        }
    } else if (mWasPlayingBeforeDrag) {
        mWasPlayingBeforeDrag = false;
        player().play();
        updatePlayButton();
    }
}

void DetailViewController::waveView(WaveView*, double movedCursor)
{
    const double time = movedCursor * mLength;
    if (loadPlayer())
        player().setStartTime(time);
    updateTimeDisplay(time);
}

// ---- Playback

bool DetailViewController::loadPlayer()
{
    if (mDetailItem.isEmpty() || !(mMidi || mContent->currentWidget() == mWaveView))
        return false;
    player().setDelegate(this);
    if (player().url() == mDetailItem)
        return true;
    platform::NotificationCenter::defaultCenter().post(QStringLiteral("StopPreview"), this);
    const bool loaded = mMidi ? player().loadMidiURL(mDetailItem) : player().loadAudioURL(mDetailItem);
    if (loaded) {
        // The whole file, without fades.
        player().setRegionStart(0);
        player().setRegionEnd(0);
        player().setFadeIn(0);
        player().setFadeOut(0);
    }
    return loaded;
}

void DetailViewController::playPress()
{
    if (player().isPlaying() && player().url() == mDetailItem)
        player().pause();
    else if (loadPlayer())
        player().play();
    updatePlayButton();
}

void DetailViewController::rewindPress()
{
    if (!loadPlayer())
        return;
    const bool wasPlaying = player().isPlaying();
    if (wasPlaying) {
        player().stop();
        if (mMidi)
            player().loadMidiURL(mDetailItem);
        else
            player().loadAudioURL(mDetailItem);
    }
    player().setStartTime(0);
    updateTimeDisplay(0);
    mWaveView->setCursorPos(0);
    if (wasPlaying)
        player().play();
    updatePlayButton();
}

void DetailViewController::loopToggled()
{
    player().setLoop(!player().loop());
    mLoopToggle->setText(toggleTitle(player().loop(), QStringLiteral("LOOP")));
    if (player().isPlaying()) {
        const double now = player().currentTime();
        player().pause();
        player().setStartTime(now);
        player().play();
    }
}

void DetailViewController::changeVolume(float volume)
{
    player().setVolume(volume);
}

void DetailViewController::showVolumePanel()
{
    auto* panel = new QDialog(this, Qt::Popup);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setFixedSize(kVolumePanelWidth, kVolumePanelHeight);
    auto* layout = new QVBoxLayout(panel);
    layout->addWidget(new QLabel(QStringLiteral("Volume"), panel), 0, Qt::AlignHCenter);
    auto* slider = new QSlider(Qt::Horizontal, panel);
    slider->setRange(0, kVolumeSteps);
    slider->setValue(int(player().volume() * kVolumeSteps));
    connect(slider, &QSlider::valueChanged, this, [this](int v) { changeVolume(float(v) / kVolumeSteps); });
    layout->addWidget(slider);
    panel->move(mVolumeButton->mapToGlobal(QPoint(0, -kVolumePanelHeight)));
    panel->show();
}

void DetailViewController::filePlayerProgress(FilePlayer* p)
{
    if (p->url() != mDetailItem)
        return;
    const double now = p->currentTime();
    updateTimeDisplay(now);
    if (!mWaveView->moving())
        mWaveView->setCursorPos(mLength > 0 ? now / mLength : 0);
}

void DetailViewController::filePlayerDidFinish(FilePlayer*)
{
    updatePlayButton();
}

void DetailViewController::updatePlayButton()
{
    const bool playing = player().isPlaying() && player().url() == mDetailItem;
    mPlayButton->setText(playing ? QStringLiteral("⏸") : QStringLiteral("▶"));
}

void DetailViewController::updateTimeDisplay(double seconds)
{
    mTimeLabel->setText(EditorTexts::playTimeText(seconds));
}

QString DetailViewController::timeText() const
{
    return mTimeLabel->text();
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
