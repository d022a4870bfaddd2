#pragma once
#include "library/MusicImport.h"

#include <QDialog>
#include <functional>

class QListWidget;

// Lists the songs of the music folder by title and artist; one song is picked at a time.
class MusicPickerViewController : public QDialog {
    Q_OBJECT
public:
    MusicPickerViewController(const QList<MusicTrack>& tracks, QWidget* parent = nullptr);
    // Called once with the picked songs (empty when cancelled).
    std::function<void(const QList<MusicTrack>&)> completionBlock;
    QListWidget* list() const { return mList; }
    void pick();

private:
    void finish(const QList<MusicTrack>& picked);

    QList<MusicTrack> mTracks;
    QListWidget* mList;
    bool mFinished = false;
};
