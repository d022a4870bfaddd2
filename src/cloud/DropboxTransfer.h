#pragma once
#include "cloud/DropboxClient.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QStringList>
#include <functional>

namespace cloud {

// An item of a transfer: "path" (import: the Dropbox display path; export: the local path)
// and "type" (folder or file).
struct DropboxPendingEntry {
    QString path;
    bool isFolder = false;
    bool operator==(const DropboxPendingEntry& other) const { return path == other.path && isFolder == other.isFolder; }
};
inline size_t qHash(const DropboxPendingEntry& e, size_t seed = 0) { return ::qHash(e.path, seed) ^ size_t(e.isFolder); }

// The library browser's Dropbox import and export: the download queue that walks the picked
// items (folders listed page by page) into the current folder, and the batch upload of the
// selected items under a Dropbox folder. What it shows goes through Display, so the window's
// progress overlay and the command line show the same.
class DropboxTransfer : public QObject {
    Q_OBJECT
public:
    struct Display {
        std::function<void(const QString& message)> open;    // the display appears
        std::function<void(const QString& label)> label;
        std::function<void(float fraction)> progress;
        std::function<void(const QString& message)> done;    // closes by itself
        std::function<void(const QString& message)> finish;  // stays until the user dismisses it
        std::function<void()> close;
        std::function<void(const QString& title, const QString& message)> alert;
    };

    DropboxTransfer(DropboxClient* client, Display display, QObject* parent = nullptr);

    bool isRunning() const { return mRunning; }
    // Stops the running download or upload through its kept task; nothing partial stays.
    void cancel();

    // Import: the picked entries, the Dropbox folder they were in, the library folder to fill.
    void importItems(const QList<DropboxPendingEntry>& picked, const QString& basePath, const QString& localFolder);
    // Export: the expanded selection goes under destination; paths keep their place
    // relative to currentFolder.
    void dropboxUpload(const QSet<DropboxPendingEntry>& files, const QString& currentFolder, const QString& destination);

    // Every file under path (itself when it is a file), symbolic links followed for the type
    // test but each real folder visited once.
    static void scanFilesRecurse(const QString& path, QSet<DropboxPendingEntry>& set);
    // The library path an imported Dropbox entry lands at (before the free-name rule), or
    // empty when its name would leave localFolder.
    static QString localPathFor(const QString& dropboxPath, const QString& basePath, const QString& localFolder);

    // What happened to the last transfer, for the command line's exit code.
    int failedCount() const { return mFailed.size(); }
    const QStringList& failedNames() const { return mFailed; }

signals:
    void finished();

private:
    bool dbCheckNext();
    void dbDownloadNext();
    void listFolder(const QString& folder, const QString& cursor);
    void listed(const QString& folder, const ListFolderResult& result, const DropboxError& error);
    void downloadFile(const QString& dropboxPath);
    void dbBatchUpload();
    void uploadFinished(const QList<DropboxClient::UploadResult>& results, DropboxClient::BatchFailure failure,
                        const DropboxError& error);
    void stop();

    DropboxClient* mClient;
    Display mDisplay;
    QSet<DropboxPendingEntry> dbPendingFiles;
    QSet<QString> mQueued;  // every path queued by this import: a listing that starts over adds no twin
    QString dbBasePath;
    QString mLocalFolder;
    QString mCurrentFolder;
    QPointer<DropboxTask> dbDownloadTask;
    QPointer<DropboxTask> dbUploadTask;
    QStringList mFailed;
    bool mRunning = false;
    bool mCancelled = false;
};

}  // namespace cloud
