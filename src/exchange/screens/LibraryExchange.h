#pragma once
#include "library/PasteboardScreen.h"
#include "library/PreviewPlayer.h"

#include <QObject>
#include <QPointer>


// The library's pasteboard exchange on the desktop: the general and AudioCopy pasteboards
// together with the desktop clipboard and drag and drop. Questions, overlays and alerts
// here; the work is LibraryPasteboard and AudioCopyPaste1.
class LibraryExchange : public QObject, public PasteboardScreen {
    Q_OBJECT
public:
    explicit LibraryExchange(QObject* parent = nullptr);

    // The player the history screen auditions slots with.
    void setPreviewPlayer(PreviewPlayer* preview) { mPreview = preview; }

    QString audioPaste(QWidget* host, const QString& folder, const QString& name) override;
    bool canPaste() const override;
    void cutItems(QWidget* host, const QStringList& paths) override;
    void copyItems(QWidget* host, const QStringList& paths) override;
    void bulkAudioCopy(QWidget* host, const QStringList& paths) override;
    void audioCopy(QWidget* host, const QString& path) override;
    void sendToKormix(QWidget* host, const QString& path) override;
    void showPasteboards(QWidget* host, const QString& folder) override;
    void attachToList(QAbstractItemView* list, std::function<QString()> folder, std::function<QStringList()> pickedPaths,
                      std::function<void(const QStringList& items, const QString& folder)> moveInto) override;

    // Copies files and folders from outside into folder under free names; folders (and many
    // items) under the progress overlay. The last file that arrives is opened.
    void copyIn(QWidget* host, const QStringList& items, const QString& folder);

private:
    // The desktop clipboard speaks for the pasteboard when another program changed it after
    // the general pasteboard was last written.
    bool desktopClipboardIsNewer() const;
    // What this program last put on the clipboard, as long as it is still there.
    QStringList ownCopiedItems() const;
    void copyToGeneralPasteboard(QWidget* host, const QString& path);
    void copyToHistory(QWidget* host, const QString& path);

    qint64 mClipboardChangedAt = 0;
    // How each list moves items; a paste of items cut in the library moves them through a list
    // that is still there (they all move alike: the same actions on the same library).
    using MoveInto = std::function<void(const QStringList& items, const QString& folder)>;
    QList<std::pair<QPointer<QAbstractItemView>, MoveInto>> mMovers;
    MoveInto mover();
    QPointer<PreviewPlayer> mPreview;
};
