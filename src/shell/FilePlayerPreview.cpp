#include "shell/FilePlayerPreview.h"

#include "audiofiles/FilePlayer.h"
#include "library/Utils.h"
#include "recording/AudioEngine.h"

#include <string_view>


FilePlayerPreview::FilePlayerPreview(FilePlayer* player, QObject* parent) : PreviewPlayer(parent), mPlayer(player)
{
    connect(mPlayer, &FilePlayer::playingChanged, this, &FilePlayerPreview::playingChanged);
}

bool FilePlayerPreview::playFromStart(const QString& path)
{
    const bool loaded = Utils::fileIsMIDI(path) ? mPlayer->loadMidiURL(path) : mPlayer->loadAudioURL(path);
    if (!loaded)
        return false;
    mPlayer->setFadeIn(0);
    mPlayer->setFadeOut(0);
    mEditorLoop = mPlayer->loop();
    mPlayer->setLoop(false);
    mPreviewing = true;
    mPlayer->play();
    if (!mPlayer->isPlaying()) {
        mPreviewing = false;
        mPlayer->setLoop(mEditorLoop);
    }
    return mPlayer->isPlaying();
}

void FilePlayerPreview::playingChanged(bool playing)
{
    if (playing || mInterrupted)
        return;
    if (std::exchange(mPreviewing, false))
        mPlayer->setLoop(mEditorLoop);
    emit stopped();
}

void FilePlayerPreview::stop() { mPlayer->stop(); }

bool FilePlayerPreview::isPlaying() const { return mPlayer->isPlaying(); }

QString FilePlayerPreview::loadedPath() const { return mPlayer->url(); }

void FilePlayerPreview::unload() { mPlayer->unload(); }

bool FilePlayerPreview::autoPlayNext() const { return AudioEngine::autoPlayNext(); }

void FilePlayerPreview::previewEnded()
{
    // In front the engine runs on for whatever comes next; behind, it lets the hardware go.
    if (AudioEngine::appInBackground())
        AudioEngine::maybeStop();
}
