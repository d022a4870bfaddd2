#include "audiofiles/EditorTransport.h"

#include "audiofiles/editor/TrimSettings.h"
#include "audiofiles/waveform/TrimGeometry.h"
#include "platform/MainThreadObserver.h"
#include "platform/Notifications.h"

#include <algorithm>

EditorTransport::EditorTransport(FilePlayer* player, QObject* parent) : QObject(parent), mPlayer(player)
{
    // Play may end elsewhere: the browser's preview, the end of the file, a lost server.
    connect(mPlayer, &FilePlayer::playingChanged, this, [this] { emit playingChanged(playingThis()); });
    mRemotePlay = platform::observeOnMain(notifications::kRemoteTogglePlay, this,
                                                   [this](const platform::Notification&) { playPress(); });
    mRemoteRewind = platform::observeOnMain(notifications::kRemoteRewind, this,
                                                     [this](const platform::Notification&) { rewindPress(); });
}

EditorTransport::~EditorTransport()
{
    if (mPlayer->delegate() == this)
        mPlayer->setDelegate(nullptr);
}

void EditorTransport::setItem(const QString& path, FilePlayer::Type type, double length)
{
    mItem = path;
    mType = path.isEmpty() ? FilePlayer::kNone : type;
    mLength = length;
    mSelection = {0, length};
    // Ticks are filtered by file: the shown file's time and cursor follow play even when the
    // browser's preview started it.
    mPlayer->setDelegate(this);
    emit positionChanged(0);
    emit playingChanged(playingThis());
}

void EditorTransport::setTrimming(bool trimming)
{
    mTrimming = trimming;
    if (!trimming)
        mFadeIn = mFadeOut = 0;
    updateRegion();
}

void EditorTransport::setSelection(double start, double end) { mSelection = {start, end}; }

void EditorTransport::setFadeIn(double seconds)
{
    mFadeIn = seconds;
    if (mPlayer->url() == mItem)
        mPlayer->setFadeIn(mTrimming ? seconds : 0);
}

void EditorTransport::setFadeOut(double seconds)
{
    mFadeOut = seconds;
    if (mPlayer->url() == mItem)
        mPlayer->setFadeOut(mTrimming ? seconds : 0);
}

void EditorTransport::updateRegion()
{
    if (mItem.isEmpty() || mPlayer->url() != mItem)
        return;
    mPlayer->setRegionStart(mTrimming ? mSelection.start : 0);
    mPlayer->setRegionEnd(mTrimming ? mSelection.end : 0);
    mPlayer->setFadeIn(mTrimming ? mFadeIn : 0);
    mPlayer->setFadeOut(mTrimming ? mFadeOut : 0);
    mPlayer->setLoop(mLoop);
}

bool EditorTransport::playingThis() const { return !mItem.isEmpty() && mPlayer->isPlaying() && mPlayer->url() == mItem; }

// Makes this file the player's, with the editor's region; the browser's preview ends.
bool EditorTransport::load()
{
    if (mType == FilePlayer::kNone)
        return false;
    mPlayer->setDelegate(this);
    if (mPlayer->url() == mItem)
        return true;
    stopPreview();
    if (!loadFile())
        return false;
    updateRegion();  // loading forgets the region
    return true;
}

bool EditorTransport::loadFile()
{
    return mType == FilePlayer::kMidi ? mPlayer->loadMidiURL(mItem) : mPlayer->loadAudioURL(mItem);
}

void EditorTransport::stopPreview()
{
    platform::NotificationCenter::defaultCenter().post(notifications::kStopPreview, this);
}

void EditorTransport::restartAt(double seconds)
{
    updateRegion();
    mPlayer->setStartTime(seconds);
    mPlayer->play();
}

void EditorTransport::playPress()
{
    if (playingThis()) {
        mPlayer->pause();
    } else if (load()) {
        updateRegion();
        mPlayer->play();
    }
}

void EditorTransport::rewindPress()
{
    if (!load())
        return;
    const bool wasPlaying = mPlayer->isPlaying();
    if (wasPlaying) {
        // Read again from the start: a file changed on disk plays as it is now.
        mPlayer->stop();
        loadFile();
        updateRegion();
    }
    const double start = mTrimming ? mSelection.start : 0;
    mPlayer->setStartTime(start);
    emit positionChanged(start);
    if (wasPlaying)
        mPlayer->play();
}

void EditorTransport::loopToggled()
{
    mLoop = !mLoop;
    if (!playingThis()) {
        updateRegion();
        return;
    }
    // The loop is part of what is scheduled: it takes effect by playing on from here.
    mPlayer->pause();
    restartAt(mPlayer->startTime());
}

void EditorTransport::setVolume(float volume) { mPlayer->setVolume(volume); }

float EditorTransport::volume() const { return mPlayer->volume(); }

EditorTransport::Selection EditorTransport::trimNudgePress(int tag, double lower, double upper)
{
    const double step = TrimSettings::nudgeStep(tag);
    if (step == 0)
        return mSelection;
    const bool wasPlaying = playingThis();
    const double now = mPlayer->getCurrentTime();
    if (wasPlaying)
        mPlayer->pause();
    const bool start = TrimSettings::nudgesStart(tag);
    if (start)
        mSelection.start = std::clamp(TrimGeometry::clipStart(mSelection.start + step, mSelection.end, 0), lower, upper);
    else
        mSelection.end = std::clamp(TrimGeometry::clipEnd(mSelection.start, mSelection.end + step, mLength), lower, upper);
    if (wasPlaying)
        restartAt(start ? mSelection.start : now);
    return mSelection;
}

void EditorTransport::selectionSet()
{
    if (!playingThis())
        return;
    const double now = mPlayer->getCurrentTime();
    mPlayer->pause();
    restartAt(now);
}

void EditorTransport::cursorDragStarted()
{
    mWasPlayingBeforeDrag = playingThis();
    if (mWasPlayingBeforeDrag) {
        stopPreview();
        mPlayer->pause();
    }
}

void EditorTransport::cursorDragEnded()
{
    if (std::exchange(mWasPlayingBeforeDrag, false))
        mPlayer->play();
}

void EditorTransport::cursorMoved(double seconds)
{
    if (load())
        mPlayer->setStartTime(seconds);
    emit positionChanged(seconds);
}

void EditorTransport::filePlayerProgress(FilePlayer* player)
{
    if (player->url() == mItem)
        emit positionChanged(player->currentTime());
}
