#pragma once
#include "audiofiles/FilePlayer.h"
#include "audiofiles/waveform/WaveViewDelegate.h"
#include "library/DetailScreen.h"
#include "platform/NotificationCenter.h"

#include <QString>
#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;
class WaveView;

// The detail screen for one library item: its name, its waveform and playback with the
// shared player, or its notes text.
class DetailViewController : public QWidget, public DetailScreen, public WaveViewDelegate, public FilePlayerDelegate {
    Q_OBJECT
public:
    explicit DetailViewController(QWidget* parent = nullptr);
    ~DetailViewController() override;

    // The path of the file shown; empty shows nothing.
    void setDetailItem(const QString& path) override;
    QString detailItem() const override { return mDetailItem; }
    void maybeSaveText() override;
    void waveformDeleted(const QString& path) override;
    void waveformRenamed(const QString& oldPath, const QString& newPath) override;

    void loopToggled();
    void playPress();
    void rewindPress();
    void changeVolume(float volume);
    void doAppImport();

    void filePlayerProgress(FilePlayer* player) override;
    void filePlayerDidFinish(FilePlayer* player);

    void waveView(WaveView* view, bool movingCursor) override;
    void waveView(WaveView* view, double movedCursor) override;
    void waveViewDidChangeSelection(WaveView*) override {}
    void waveViewDidSetSelection(WaveView*, int) override {}

    WaveView* waveView() const { return mWaveView; }
    QString infoText() const;
    QString timeText() const;
    QPlainTextEdit* notesView() const { return mNotesView; }
    QPushButton* importButton() const { return mImportButton; }

signals:
    // The import into another app finished; the application ends its import state.
    void appImportDone();

private:
    bool loadPlayer();
    void updatePlayButton();
    void updateTimeDisplay(double seconds);
    void showVolumePanel();

    QString mDetailItem;
    double mLength = 0;
    bool mTextChanged = false;
    bool mWasPlayingBeforeDrag = false;
    bool mMidi = false;
    QString mImportScheme;

    QLabel* mTitle;
    QPushButton* mImportButton;
    QLabel* mInfoLabel;
    QStackedWidget* mContent;
    WaveView* mWaveView;
    QPlainTextEdit* mNotesView;
    QWidget* mEmpty;
    QWidget* mTransport;
    QPushButton* mPlayButton;
    QPushButton* mRewindButton;
    QPushButton* mLoopToggle;
    QPushButton* mVolumeButton;
    QLabel* mTimeLabel;

    platform::ScopedObserver mRemotePlay;
    platform::ScopedObserver mRemoteRewind;
    platform::ScopedObserver mImportStarted;
    platform::ScopedObserver mPlayerFinished;
};
