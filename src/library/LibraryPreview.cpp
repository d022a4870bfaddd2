#include "library/LibraryPreview.h"

#include "library/FileListModel.h"
#include "library/Utils.h"
#include "platform/MainThreadObserver.h"
#include "platform/Notifications.h"

namespace {
bool isSameOrInside(const QString& path, const QString& item)
{
    return !path.isEmpty() && (path == item || path.startsWith(item + QLatin1Char('/')));
}
}  // namespace

LibraryPreview::LibraryPreview(FileListModel* model, QObject* parent) : QObject(parent), mModel(model)
{
    // At once when posted on the main thread: the order against the player's own stop matters.
    mStopPreviewObserver = platform::observeOnMain(notifications::kStopPreview, this,
                                                            [this](const platform::Notification&) { stopPreview(); });
    mFinishedObserver = platform::observeOnMain(notifications::kFilePlayerDidFinish, this,
                                                         [this](const platform::Notification&) { filePlayerDidFinish(); });
}

LibraryPreview::~LibraryPreview() { stopPreview(); }

void LibraryPreview::setPreviewPlayer(PreviewPlayer* preview)
{
    if (mPreview)
        disconnect(mPreview, nullptr, this, nullptr);
    mPreview = preview;
    // Queued: when play ends by itself, the finish notification comes right after the stop
    // and must still find the item that was playing.
    if (preview)
        connect(preview, &PreviewPlayer::stopped, this, &LibraryPreview::previewStopped, Qt::QueuedConnection);
}

bool LibraryPreview::previewItem(const LibraryItem& item)
{
    const bool pressedAgain = !item.path.isEmpty() && item.path == mPlayingItem.path;
    stopPreview();
    if (pressedAgain || !mPreview)
        return true;
    return startPreview(item);
}

bool LibraryPreview::startPreview(const LibraryItem& item)
{
    if (!mPreview->playFromStart(item.path))
        return false;
    setPlayingItem(item);
    return true;
}

void LibraryPreview::stopPreview()
{
    if (mPlayingItem.path.isEmpty())
        return;
    const QString path = mPlayingItem.path;
    setPlayingItem({});
    if (mPreview && mPreview->isPlaying() && mPreview->loadedPath() == path)
        mPreview->stop();
}

void LibraryPreview::filePlayerDidFinish()
{
    // The editor's play ends the same way; only a preview of this list goes on.
    if (mPlayingItem.path.isEmpty() || !mPreview || mPreview->loadedPath() != mPlayingItem.path)
        return;
    const QString finished = mPlayingItem.path;
    setPlayingItem({});
    if (mPreview->autoPlayNext()) {
        const LibraryItemList& rows = mModel->filelist();
        const int at = mModel->rowForItemWithPath(finished);
        for (int row = at + 1; at >= 0 && row < rows.size(); ++row) {
            const LibraryItem& next = rows[row];
            // A file that cannot be played is passed over, as the list goes on by itself.
            if (!next.isDirectory && !mModel->isArriving(next.path) && Utils::fileIsAudio(next.path)
                && startPreview(next))
                return;
        }
    }
    mPreview->previewEnded();
}

void LibraryPreview::previewStopped()
{
    if (mPlayingItem.path.isEmpty() || !mPreview)
        return;
    // Another screen or the audio server ended it: the button goes back to play.
    if (!mPreview->isPlaying() || mPreview->loadedPath() != mPlayingItem.path)
        setPlayingItem({});
}

void LibraryPreview::setPlayingItem(const LibraryItem& item)
{
    mPlayingItem = item;
    mModel->setPlayingPath(item.path);
}

void LibraryPreview::itemRemoved(const LibraryItem& item)
{
    if (isSameOrInside(mPlayingItem.path, item.path))
        stopPreview();
    if (mPreview && isSameOrInside(mPreview->loadedPath(), item.path))
        mPreview->unload();
}
