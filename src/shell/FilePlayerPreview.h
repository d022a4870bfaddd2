#pragma once
#include "library/PreviewPlayer.h"

class FilePlayer;

// The browser's preview on the shared file player, played through the audio engine. A preview
// plays the whole file once; the editor's loop setting is put back when it ends.
class FilePlayerPreview : public PreviewPlayer {
    Q_OBJECT
public:
    explicit FilePlayerPreview(FilePlayer* player, QObject* parent = nullptr);

    bool playFromStart(const QString& path) override;
    void stop() override;
    bool isPlaying() const override;
    QString loadedPath() const override;
    void unload() override;
    bool autoPlayNext() const override;
    void previewEnded() override;
    // While the audio server is away the player is paused and later resumed; a preview lives
    // on through that instead of ending.
    void setInterrupted(bool interrupted) { mInterrupted = interrupted; }

private:
    void playingChanged(bool playing);

    FilePlayer* mPlayer;
    bool mPreviewing = false;
    bool mEditorLoop = false;
    bool mInterrupted = false;
};
