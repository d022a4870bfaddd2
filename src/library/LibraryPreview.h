#pragma once
#include "library/LibraryItem.h"
#include "library/PreviewPlayer.h"
#include "platform/NotificationCenter.h"

#include <QObject>
#include <QPointer>

class FileListModel;

// The browser's preview of its audio rows on the shared player: a row's button plays the file
// from its start or stops it, the playing row is marked in the model, a finished preview goes
// on with the next audio row when auto-play-next is on, and the editor taking the player or a
// row vanishing ends it.
class LibraryPreview : public QObject {
    Q_OBJECT
public:
    explicit LibraryPreview(FileListModel* model, QObject* parent = nullptr);
    ~LibraryPreview() override;

    // Every browser of the stack gets the same player.
    void setPreviewPlayer(PreviewPlayer* preview);
    PreviewPlayer* previewPlayer() const { return mPreview; }

    // Plays the file from its start, or stops it when it is the one playing (true). False
    // when it could not be played.
    bool previewItem(const LibraryItem& item);
    void stopPreview();
    // Play ended by itself: with auto-play-next on, the next playable audio row follows.
    void filePlayerDidFinish();
    // An item left the folder: a preview of it, or of anything inside it, ends.
    void itemRemoved(const LibraryItem& item);
    // The item being previewed; its path is empty when none is.
    const LibraryItem& playingItem() const { return mPlayingItem; }

private:
    bool startPreview(const LibraryItem& item);
    void setPlayingItem(const LibraryItem& item);
    void previewStopped();

    FileListModel* mModel;
    QPointer<PreviewPlayer> mPreview;
    LibraryItem mPlayingItem;
    platform::ScopedObserver mStopPreviewObserver;
    platform::ScopedObserver mFinishedObserver;
};
