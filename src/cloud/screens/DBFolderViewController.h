#pragma once
#include "cloud/DropboxEntry.h"

#include <QDialog>
#include <functional>

class QLabel;
class QListWidget;
class QPushButton;

namespace cloud {
class DropboxClient;
struct DropboxError;
}

// Picks the Dropbox folder an export goes to: folders only, entered by a double click, with
// a button for a new folder and "Export item here" / "Export items here".
class DBFolderViewController : public QDialog {
    Q_OBJECT
public:
    DBFolderViewController(cloud::DropboxClient* client, int itemCount, QWidget* parent = nullptr);

    void showFolder(const QString& path);
    QString folder() const { return mFolder; }
    bool isLoaded() const { return mLoaded; }
    // Once: the chosen folder ("" is the account's root), or a null string when cancelled.
    std::function<void(const QString& destination)> completionBlock;
    // Makes a folder with that name in the one shown and enters it.
    void createFolder(const QString& name);

    QListWidget* table() const { return mTable; }
    QPushButton* exportButton() const { return mExport; }
    QPushButton* newFolderButton() const { return mNewFolder; }
    QLabel* statusLabel() const { return mStatus; }

private:
    void finish(const QString& destination);

    cloud::DropboxClient* mClient;
    QString mFolder;
    QListWidget* mTable;
    QLabel* mPath;
    QLabel* mStatus;
    QPushButton* mUp;
    QPushButton* mNewFolder;
    QPushButton* mExport;
    int mGeneration = 0;
    bool mLoaded = false;
    bool mFinished = false;
};
