#pragma once
#include "audiofiles/FilePlayer.h"
#include "platform/NotificationCenter.h"

#include <QObject>
#include <QString>

// The editor's playback of the file it shows on the shared player: play and pause, rewind,
// loop, the cursor, the volume, and in the trim state the selected region with its fades,
// kept in step with play (a moved handle restarts the region where the ear expects it).
// Screens draw what it reports through its signals and forward presses to it.
class EditorTransport : public QObject, private FilePlayerDelegate {
    Q_OBJECT
public:
    struct Selection {
        double start = 0;
        double end = 0;
    };

    explicit EditorTransport(FilePlayer* player, QObject* parent = nullptr);
    ~EditorTransport() override;

    // The file the editor shows, how it plays (kNone for a file that doesn't) and its length.
    void setItem(const QString& path, FilePlayer::Type type, double length);
    const QString& item() const { return mItem; }
    double length() const { return mLength; }

    // In the trim state the player plays the selection with the fades; otherwise the whole
    // file without fades.
    void setTrimming(bool trimming);
    bool trimming() const { return mTrimming; }
    void setSelection(double start, double end);
    Selection selection() const { return mSelection; }
    // Fades are heard at once, also by a region already playing.
    void setFadeIn(double seconds);
    void setFadeOut(double seconds);
    double fadeIn() const { return mFadeIn; }
    double fadeOut() const { return mFadeOut; }
    // Hands the region, fades and loop to the player when it holds this file.
    void updateRegion();

    bool playingThis() const;
    void playPress();
    void rewindPress();
    void loopToggled();
    bool loop() const { return mLoop; }
    void setVolume(float volume);
    float volume() const;

    // A nudge button: moves its handle by the tag's step, kept inside [lower, upper] and on
    // its side of the other handle. Play pauses for the move and goes on over the new region:
    // from its start after a start nudge, from where it was after an end nudge.
    Selection trimNudgePress(int tag, double lower, double upper);
    // A handle was released: play goes on over the new region from where it was.
    void selectionSet();

    // The cursor: a drag pauses play and resumes it from where the cursor was left.
    void cursorDragStarted();
    void cursorDragEnded();
    void cursorMoved(double seconds);

signals:
    // This file's play began or ended, for whatever reason.
    void playingChanged(bool playing);
    // Where play of this file is, on every progress tick and when the start point moves.
    void positionChanged(double seconds);

private:
    void filePlayerProgress(FilePlayer* player) override;
    bool load();
    bool loadFile();
    void restartAt(double seconds);
    void stopPreview();

    FilePlayer* mPlayer;
    QString mItem;
    FilePlayer::Type mType = FilePlayer::kNone;
    double mLength = 0;
    bool mTrimming = false;
    Selection mSelection;
    double mFadeIn = 0;
    double mFadeOut = 0;
    bool mLoop = false;
    bool mWasPlayingBeforeDrag = false;
    platform::ScopedObserver mRemotePlay;
    platform::ScopedObserver mRemoteRewind;
};
