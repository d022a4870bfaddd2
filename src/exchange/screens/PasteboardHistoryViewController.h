#pragma once
#include "library/PreviewPlayer.h"

#include <QDialog>
#include <QPointer>

class QListWidget;
class QPushButton;

// The twelve AudioCopy history slots with what each holds (name, sender, duration, channels,
// tempo), the latest marked: a slot plays to audition it and pastes into the library folder
// as a new file.
class PasteboardHistoryViewController : public QDialog {
    Q_OBJECT
public:
    PasteboardHistoryViewController(QString folder, PreviewPlayer* preview, QWidget* parent = nullptr);
    ~PasteboardHistoryViewController() override;

    QListWidget* slotList() const { return mList; }
    // Reads the slots again (other programs may have copied meanwhile).
    void reload();
    void playSelected();
    // The new file's path, or empty (after the alert).
    QString pasteSelected();

private:
    int selectedSlot() const;
    void stopPlaying();

    QString mFolder;
    QPointer<PreviewPlayer> mPreview;
    QListWidget* mList;
    QPushButton* mPlayButton;
    QPushButton* mPasteButton;
    QString mPlayingFile;
};
