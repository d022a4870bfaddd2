#pragma once
#include "platform/NotificationCenter.h"

#include <QPointer>
#include <QWidget>
#include <array>
#include <memory>

class LevelMeter;
class NavigationController;
class QLabel;
#include <QPushButton>
class QSlider;
#include <QToolButton>
class QProgressBar;
class Recorder;
class RemoteAU;

// The recorder screen: the take's duration, the REC and STOP buttons, the level meter and
// record level, monitoring, the source and effect slots, the file player's play button when
// it is the source, the recording settings in a line, and what a take has left: the time
// still recordable on the disk and the dropouts so far. It owns the recorder (attached to
// the engine while the screen lives); Close takes both away.
class RecorderViewController : public QWidget {
    Q_OBJECT
public:
    explicit RecorderViewController(QWidget* parent = nullptr);
    ~RecorderViewController() override;

    Recorder* recorder() const { return mRecorder.get(); }
    // Puts "Close"/"Cancel" on the left of the stack's bar and the menu and "Settings" on its right.
    void installBarItems(NavigationController* navigation);

    QPushButton* closeButton() const { return mClose; }
    QPushButton* settingsButton() const { return mSettings; }
    QToolButton* menuButton() const { return mMenu; }
    QPushButton* recButton() const { return mRec; }
    QPushButton* stopButton() const { return mStop; }
    QPushButton* monitorButton() const { return mMonitor; }
    QPushButton* playButton() const { return mPlay; }
    QSlider* levelSlider() const { return mLevel; }
    QLabel* durationLabel() const { return mDuration; }
    QLabel* infoLabel() const { return mInfo; }
    QLabel* diskLabel() const { return mDisk; }
    QLabel* dropoutsLabel() const { return mDropouts; }
    LevelMeter* levelMeter() const { return mMeter; }
    QToolButton* slotButton(int slot) const { return mSlots[size_t(slot)]; }
    QToolButton* changeSlotButton(int slot) const { return mChangeSlots[size_t(slot)]; }

    void recPress();
    void cancelPress();
    void settingsPress();
    void menuPress();
    void slotPressed(int slot);
    void changeSlotPressed(int slot);
    // loadRau:toSlot: — the slot's button shows a spinner while the unit (null: none) loads.
    void loadRau(std::shared_ptr<RemoteAU> rau, int slot);
    bool slotIsLoading(int slot) const;
    void monitorPress();
    void levelSliderChanged(int value);
    void playPressed();
    void updateFilePlayerButtons();
    void updateSlotButton(int slot);
    void iaaGraphUpdated();
    void connectionChanged();
    void updateInfoLabel();
    void updateRecDur();
    // The title of what feeds the receiver, "Hardware input" when nothing does.
    QString slot0Title() const;

signals:
    // Close pressed while not recording: whoever showed the screen takes it away.
    void closeRequested();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void build();
    void recStateChanged(bool recording);
    void updateMonitorButton();
    void updateDiskLabel();
    NavigationController* navigation() const;

    std::unique_ptr<Recorder> mRecorder;
    QPointer<QPushButton> mClose;
    QPointer<QPushButton> mSettings;
    QPointer<QToolButton> mMenu;
    QPushButton* mRec = nullptr;
    QPushButton* mStop = nullptr;
    QPushButton* mMonitor = nullptr;
    QPushButton* mPlay = nullptr;
    QSlider* mLevel = nullptr;
    QLabel* mDuration = nullptr;
    QLabel* mInfo = nullptr;
    QLabel* mDisk = nullptr;
    QLabel* mDropouts = nullptr;
    LevelMeter* mMeter = nullptr;
    std::array<QToolButton*, 4> mSlots{};
    std::array<QToolButton*, 4> mChangeSlots{};
    std::array<QProgressBar*, 4> mSpinners{};
    std::array<uint64_t, 4> mChoices{};  // choices made per slot
    std::array<bool, 4> mBusy{};         // the last of them is not settled yet
    bool mDiskLow = false;
    std::array<platform::ScopedObserver, 4> mObservers;
};
