#pragma once
#include "cloud/DropboxEntry.h"
#include "cloud/DropboxTransfer.h"

#include <QDialog>
#include <QPointer>
#include <functional>

class PreviewPlayer;
class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace cloud {
class DropboxClient;
}

// Browses the account's folders and picks items to import: several at once, with sizes and
// dates; an audio file can be heard first (fetched through its temporary link and played on
// the preview player).
class DropboxViewController : public QDialog {
    Q_OBJECT
public:
    DropboxViewController(cloud::DropboxClient* client, PreviewPlayer* preview, QWidget* parent = nullptr);
    ~DropboxViewController() override;

    void showFolder(const QString& path);
    QString folder() const { return mFolder; }
    bool isLoaded() const { return mLoaded; }
    // Once: the picked entries and the folder they are in; nothing picked when cancelled.
    std::function<void(const QList<cloud::DropboxPendingEntry>& picked, const QString& basePath)> completionBlock;

    QTreeWidget* table() const { return mTable; }
    QPushButton* importButton() const { return mImport; }
    QLabel* statusLabel() const { return mStatus; }
    void previewSelected();

private:
    void listed(const QList<cloud::DropboxEntry>& entries, const cloud::DropboxError& error);
    void selectionChanged();
    void finish(bool imported);
    void stopPreview();

    cloud::DropboxClient* mClient;
    QPointer<PreviewPlayer> mPreview;
    QString mFolder;
    QList<cloud::DropboxEntry> mEntries;
    QTreeWidget* mTable;
    QLabel* mPath;
    QLabel* mStatus;
    QPushButton* mUp;
    QPushButton* mPlay;
    QPushButton* mImport;
    QString mPreviewFile;
    int mGeneration = 0;
    bool mLoaded = false;
    bool mFinished = false;
};
