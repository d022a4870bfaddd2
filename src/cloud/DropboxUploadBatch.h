#pragma once
#include "cloud/ContentHasher.h"
#include "cloud/DropboxClient.h"

#include <QFile>
#include <QObject>
#include <QTimer>
#include <atomic>
#include <memory>

namespace cloud {

// One batch upload, run by DropboxClient::batchUploadFiles: each file goes up in chunks
// through its own upload session (an incorrect_offset answer goes on from the offset Dropbox
// names), then the closed sessions are committed together, 1,000 at a time, and each stored
// file is compared with the content hash of the local file, worked out on the background pool
// while the file goes up. A child of its task.
class DropboxUploadBatch : public QObject {
    Q_OBJECT
public:
    // A multiple of Dropbox's 4 MiB. Chunks stream from the file, so their size costs no
    // memory; fewer of them means fewer requests, a larger one more to send again after a failure.
    static constexpr qint64 kChunkBytes = 32 * 1024 * 1024;
    static constexpr int kMaxEntriesPerFinish = 1000;

    DropboxUploadBatch(DropboxAccount* account, QNetworkAccessManager* network, DropboxTask* task,
                       const QList<DropboxClient::UploadFile>& files, DropboxClient::Progress progress,
                       DropboxClient::BatchDone done);
    ~DropboxUploadBatch() override;

    void start();

private:
    struct FileState {
        DropboxClient::UploadResult result;
        qint64 size = 0;
        QString sessionId;
        QString localHash;  // empty until worked out, or when the file could not be read
        bool uploaded = false;
    };

    void nextFile();
    void sendChunk();
    void chunkAnswered(qint64 length, bool close, const QByteArray& body, const DropboxError& error);
    void hashFile(int index);
    void fileFailed(const DropboxError& error);
    void fileUploaded();
    void finishNextGroup();
    void finishAnswered(const QList<int>& group, const QJsonValue& answer);
    void poll(const QList<int>& group, const QString& jobId);
    void takeResults(const QList<int>& group, const QJsonArray& entries);
    void endBatch(DropboxClient::BatchFailure failure, const DropboxError& error);
    void report(qint64 inFlight);
    DropboxCall* makeCall(const QString& route, const QByteArray& arg, bool rpc);

    DropboxAccount* mAccount;
    QNetworkAccessManager* mNetwork;
    DropboxTask* mTask;
    QList<FileState> mFiles;
    DropboxClient::Progress mProgress;
    DropboxClient::BatchDone mDone;
    qint64 mTotalBytes = 0;
    qint64 mDoneBytes = 0;  // of earlier files and earlier chunks
    int mCurrent = -1;
    QFile mFile;
    qint64 mOffset = 0;
    int mHashesRunning = 0;
    bool mCommitWaitsForHashes = false;
    // Set when the batch ends: hashes still being worked out stop.
    std::shared_ptr<std::atomic<bool>> mStopHashing = std::make_shared<std::atomic<bool>>(false);
    int mNextToFinish = 0;
    QTimer mPollTimer;
    bool mEnded = false;
};

}  // namespace cloud
