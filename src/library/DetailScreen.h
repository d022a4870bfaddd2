#pragma once
#include <QString>

// What the browser needs of the editor screen beside it: which file it shows.
class DetailScreen {
public:
    virtual void setDetailItem(const QString& path) = 0;
    virtual QString detailItem() const = 0;
    // Saves a text note being edited.
    virtual void maybeSaveText() = 0;
    // The editor's waveform cache forgets a deleted file and follows a moved one.
    virtual void waveformDeleted(const QString& path) = 0;
    virtual void waveformRenamed(const QString& oldPath, const QString& newPath) = 0;

protected:
    ~DetailScreen() = default;
};
