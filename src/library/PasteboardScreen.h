#pragma once
#include <QString>
#include <QStringList>
#include <functional>

class QAbstractItemView;
class QWidget;

// What the library's screens need of the pasteboard exchange beside them: paste into a
// folder, copies of files, the hand-over to the mixer app, the AudioCopy history, and files
// dragged in and out of a list. The window sets one; every browser of the stack shares it.
class PasteboardScreen {
public:
    // Pastes what the pasteboards hold into folder as new files; the new file's path (the last
    // one when several arrive), or empty. host carries the alerts and the progress overlay.
    virtual QString audioPaste(QWidget* host, const QString& folder, const QString& name) = 0;
    // Whether a paste now would find anything.
    virtual bool canPaste() const = 0;
    // Copies the items to the desktop clipboard, and a file's bytes to the general pasteboard.
    virtual void copyItems(QWidget* host, const QStringList& paths) = 0;
    // Puts the items on the desktop clipboard to be moved: the next paste moves them (once).
    virtual void cutItems(QWidget* host, const QStringList& paths) = 0;
    // Copies the files onto the AudioCopy history, one slot each.
    virtual void bulkAudioCopy(QWidget* host, const QStringList& paths) = 0;
    // The editor's copy: asks which pasteboard, then copies the file there.
    virtual void audioCopy(QWidget* host, const QString& path) = 0;
    virtual void sendToKormix(QWidget* host, const QString& path) = 0;
    // The twelve AudioCopy slots, to audition and paste into folder.
    virtual void showPasteboards(QWidget* host, const QString& folder) = 0;
    // Files drag out of list (the paths the list has picked) and drop into its folder; its
    // own items dropped on one of its folder rows go to moveInto.
    virtual void attachToList(QAbstractItemView* list, std::function<QString()> folder, std::function<QStringList()> pickedPaths,
                              std::function<void(const QStringList& items, const QString& folder)> moveInto) = 0;

protected:
    ~PasteboardScreen() = default;
};
