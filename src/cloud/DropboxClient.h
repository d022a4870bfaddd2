#pragma once
#include "cloud/DropboxEntry.h"
#include "cloud/DropboxError.h"

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <functional>

class QNetworkAccessManager;

namespace cloud {

class DropboxAccount;
class DropboxCall;

// A running download or batch upload, kept by its owner so that it can be cancelled. It goes
// away by itself once its answer has been given.
class DropboxTask : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    void cancel();
    bool isCancelled() const { return mCancelled; }
    // The request under way, cancelled with the task.
    void setCurrentCall(DropboxCall* call);

private:
    QPointer<DropboxCall> mCall;
    bool mCancelled = false;
};

// The routes of Dropbox's HTTP API v2 the program uses, for the account it is given. Every
// answer comes on the thread that owns the client (the main thread).
class DropboxClient : public QObject {
    Q_OBJECT
public:
    explicit DropboxClient(DropboxAccount* account, QObject* parent = nullptr);
    ~DropboxClient() override;

    DropboxAccount* account() const { return mAccount; }
    QNetworkAccessManager* network() const { return mNetwork; }

    using ListDone = std::function<void(const ListFolderResult&, const DropboxError&)>;
    using EntryDone = std::function<void(const DropboxEntry&, const DropboxError&)>;
    using Progress = std::function<void(qint64 done, qint64 total)>;

    // "" or "/" is the account's root.
    void listFolder(const QString& path, ListDone done);
    void listFolderContinue(const QString& cursor, ListDone done);
    // The whole folder, page after page (a listing reset starts it over); for the screens.
    void listWholeFolder(const QString& path, QObject* context,
                         std::function<void(const QList<DropboxEntry>&, const DropboxError&)> done);
    void getMetadata(const QString& path, EntryDone done);
    void getTemporaryLink(const QString& path, std::function<void(const QUrl&, const DropboxError&)> done);
    void createFolder(const QString& path, EntryDone done);

    // Downloads the file at path into destination: the bytes go to a part file beside it,
    // are checked against Dropbox's content hash, and only then take the destination's name
    // (over an existing file only when overwrite is set). Nothing is left behind on failure
    // or cancel.
    DropboxTask* downloadUrl(const QString& path, bool overwrite, const QString& destination, Progress progress,
                             EntryDone done);

    // One file of a batch upload: the local file and its path on Dropbox.
    struct UploadFile {
        QString localPath;
        QString dropboxPath;
    };
    struct UploadResult {
        UploadFile file;
        DropboxEntry entry;  // success: what Dropbox stored
        DropboxError error;  // failure of this file alone
    };
    // Why a batch failed as a whole (no per-file results then).
    enum class BatchFailure { None, Finish, Check, Other };
    using BatchDone = std::function<void(const QList<UploadResult>& results, BatchFailure failure,
                                         const DropboxError& error)>;
    // Uploads every file in chunks through upload sessions, then commits them together
    // (finish_batch_v2, 1,000 at most per call); each stored file is checked against its
    // content hash. Progress is in bytes over the whole batch.
    DropboxTask* batchUploadFiles(const QList<UploadFile>& files, Progress progress, BatchDone done);

    // The low-level call every route goes through (JSON in, JSON out, on the api host).
    DropboxCall* rpc(const QString& route, const QJsonObject& arg, std::function<void(const QJsonValue&, const DropboxError&)> done,
                     QObject* owner = nullptr);

    // Dropbox paths are "" for the root and "/a/b" below it.
    static QString apiPath(const QString& path);

private:
    void listAnswer(const QJsonValue& answer, const DropboxError& error, const ListDone& done);

    DropboxAccount* mAccount;
    QNetworkAccessManager* mNetwork;
};

}  // namespace cloud
