#pragma once
#include "audiofiles/ConversionOptions.h"
#include "audiofiles/EditorTransport.h"
#include "audiofiles/editor/EditorTools.h"
#include "audiofiles/screens/WaveViewDelegate.h"
#include "library/DetailScreen.h"
#include "platform/NotificationCenter.h"

#include <QPointer>
#include <QString>
#include <QWidget>
#include <functional>

class ConvertViewController;
class ElidedLabel;
class MidiPlotter;
class PasteboardScreen;
class QLabel;
class QMenu;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;
class QTabBar;
class TrimPanel;
class WaveView;

// The detail screen for one library item: its information text and waveform (a note plot
// for MIDI files) with playback on the shared player, or its notes text; and the tools
// Normalize, Trim & Fade and Convert, whose results join the library beside the file.
class DetailViewController : public QWidget, public DetailScreen, public WaveViewDelegate {
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
    // The copy button (shown with a waveform) hands the file to the pasteboard exchange.
    void setPasteboardScreen(PasteboardScreen* pasteboard);
    void audioCopy();
    QPushButton* copyButton() const { return mCopyButton; }

    // Tools and the trim state.
    void updateEditState(bool animated = true);
    void toolsPress();
    void toolCancelPress();
    void updateToolButton();
    void trim();
    void normalize();
    void showConvert();
    void doConvert(const ConversionOptions& options);
    void trimNudgePress(int tag);
    double guessBpm() const;
    void beatSnapTapped();
    void beatSnapBpmChanged(double bpm);
    void fadeInStepperChanged(double seconds);
    void fadeOutStepperChanged(double seconds);
    void tabBar(QTabBar* tabBar, int didChangeTab, int fromTab);
    void updateRegion();
    void updateInfoLabelAnimated(bool animated);

    void loopToggled();
    void playPress();
    void rewindPress();
    void changeVolume(float volume);
    void doAppImport();

    void waveView(WaveView* view, bool movingCursor) override;
    void waveView(WaveView* view, double movedCursor) override;
    void waveViewDidChangeSelection(WaveView* view) override;
    void waveViewDidSetSelection(WaveView* view, int handle) override;

    // What the screen shows.
    WaveView* waveView() const { return mWaveView; }
    MidiPlotter* midiPlotter() const { return mMidiPlot; }
    TrimPanel* trimPanel() const { return mTrimPanel; }
    QMenu* toolsMenu() const { return mToolsMenu; }
    QPushButton* toolsButton() const { return mToolsButton; }
    ConvertViewController* convertScreen() const;
    // The bar's title: the file's name, "Trim & Fade" while trimming, the program's name
    // with nothing chosen. The screen's window title is the file's name (empty with none).
    QString title() const;
    // What the editor says where it has nothing to show ("Select a file"), empty otherwise.
    QString emptyText() const;
    QString infoText() const;
    QString timeText() const;
    bool audioIs44k16() const { return mIs44k16; }
    QWidget* shownContent() const;
    QPlainTextEdit* notesView() const { return mNotesView; }
    QPushButton* importButton() const { return mImportButton; }
    QPushButton* volumeButton() const { return mVolumeButton; }
    // The volume panel while it is open.
    QWidget* volumePanel() const { return mVolumePanel; }
    EditorTransport* transport() const { return mPlayback; }

signals:
    // The import into another app finished; the application ends its import state.
    void appImportDone();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // The final overlay message of a tool run; a failure waits for the user.
    struct Outcome {
        QString message;
        bool failed = false;
    };
    using ToolJob = std::function<EditorTools::Result(const Utils::ProgressBlock&)>;
    void runTool(const QString& message, ToolJob job, std::function<Outcome(const EditorTools::Result&)> finish);

    void buildBars();
    void buildTransport();
    void connectTrimPanel();
    void showMode(QWidget* view, bool animated);
    void syncSelection();
    void updatePlayButton();
    void showPosition(double seconds);
    void updateSelectionText();
    void showVolumePanel();
    void updateTitle();

    QString mDetailItem;
    platform::FileStamp mDetailStamp;  // the version of mDetailItem shown
    bool mIs44k16 = false;
    bool mTextChanged = false;
    bool mEditingText = false;
    QString mImportScheme;

    QPushButton* mCancelButton;
    ElidedLabel* mTitle;
    QPushButton* mImportButton;
    QPushButton* mCopyButton;
    PasteboardScreen* mPasteboard = nullptr;
    QPushButton* mToolsButton;
    QMenu* mToolsMenu;
    QStackedWidget* mModes;
    QLabel* mInfoLabel;
    TrimPanel* mTrimPanel;
    QStackedWidget* mContent;
    WaveView* mWaveView;
    MidiPlotter* mMidiPlot;
    QPlainTextEdit* mNotesView;
    QLabel* mEmpty;
    QWidget* mTransport;
    QPushButton* mPlayButton;
    QPushButton* mRewindButton;
    QPushButton* mLoopToggle;
    QPushButton* mVolumeButton;
    QLabel* mTimeLabel;
    QPointer<ConvertViewController> mConvertScreen;
    QPointer<QWidget> mVolumePanel;
    EditorTransport* mPlayback;

    platform::ScopedObserver mImportStarted;
};
