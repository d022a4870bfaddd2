#include "cloud/DropboxUploadBatch.h"

#include "cloud/DropboxCall.h"
#include "platform/Background.h"
#include "platform/Log.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

namespace cloud {
namespace {
constexpr int kPollIntervalMs = 500;

QJsonObject cursor(const QString& sessionId, qint64 offset)
{
    QJsonObject c;
    c[QStringLiteral("session_id")] = sessionId;
    c[QStringLiteral("offset")] = offset;
    return c;
}

QString failureSummary(const QJsonValue& failure)
{
    QStringList tags;
    QJsonValue v = failure;
    while (v.isObject()) {
        const QString tag = v.toObject().value(QStringLiteral(".tag")).toString();
        if (tag.isEmpty())
            break;
        tags << tag;
        v = v.toObject().value(tag);
    }
    return tags.isEmpty() ? QStringLiteral("unknown failure") : tags.join(QLatin1Char('/'));
}
}  // namespace

DropboxUploadBatch::DropboxUploadBatch(DropboxAccount* account, QNetworkAccessManager* network, DropboxTask* task,
                                       const QList<DropboxClient::UploadFile>& files, DropboxClient::Progress progress,
                                       DropboxClient::BatchDone done)
    : QObject(task), mAccount(account), mNetwork(network), mTask(task), mProgress(std::move(progress)), mDone(std::move(done))
{
    for (const auto& file : files) {
        FileState state;
        state.result.file = file;
        state.size = QFileInfo(file.localPath).size();
        mTotalBytes += state.size;
        mFiles.append(state);
    }
    mPollTimer.setSingleShot(true);
}

void DropboxUploadBatch::start() { nextFile(); }

DropboxUploadBatch::~DropboxUploadBatch() { *mStopHashing = true; }

DropboxCall* DropboxUploadBatch::makeCall(const QString& route, const QByteArray& arg, bool rpc)
{
    auto* call = new DropboxCall(mAccount, mNetwork, rpc ? DropboxCall::Style::Rpc : DropboxCall::Style::Upload, route,
                                 arg, this);
    mTask->setCurrentCall(call);
    return call;
}

void DropboxUploadBatch::report(qint64 inFlight)
{
    if (mProgress)
        mProgress(qMin(mTotalBytes, mDoneBytes + mOffset + inFlight), mTotalBytes);
}

void DropboxUploadBatch::nextFile()
{
    if (mTask->isCancelled()) {
        endBatch(DropboxClient::BatchFailure::Other, DropboxError::make(DropboxError::Kind::Cancelled, {}));
        return;
    }
    ++mCurrent;
    if (mCurrent >= mFiles.size()) {
        if (mHashesRunning > 0)
            mCommitWaitsForHashes = true;  // the last hash to come goes on
        else
            finishNextGroup();
        return;
    }
    FileState& state = mFiles[mCurrent];
    mFile.close();
    mFile.setFileName(state.result.file.localPath);
    mOffset = 0;
    if (!mFile.open(QIODevice::ReadOnly)) {
        fileFailed(DropboxError::make(DropboxError::Kind::Local, QStringLiteral("Could not read %1: %2")
                                                                     .arg(state.result.file.localPath, mFile.errorString())));
        return;
    }
    state.size = mFile.size();
    mOffset = 0;
    hashFile(mCurrent);
    sendChunk();
}

void DropboxUploadBatch::hashFile(int index)
{
    ++mHashesRunning;
    platform::runInBackground(
        this, [path = mFiles[index].result.file.localPath, stop = mStopHashing] { return ContentHasher::hashOfFile(path, stop.get()); },
        [this, index](const QString& hash) {
            --mHashesRunning;
            mFiles[index].localHash = hash;
            if (mCommitWaitsForHashes && mHashesRunning == 0 && !mEnded) {
                mCommitWaitsForHashes = false;
                finishNextGroup();
            }
        });
}

void DropboxUploadBatch::sendChunk()
{
    FileState& state = mFiles[mCurrent];
    const qint64 length = qMin(kChunkBytes, state.size - mOffset);
    const bool close = mOffset + length >= state.size;
    QJsonObject arg;
    arg[QStringLiteral("close")] = close;
    QString route = QStringLiteral("files/upload_session/start");
    if (!state.sessionId.isEmpty()) {
        route = QStringLiteral("files/upload_session/append_v2");
        arg[QStringLiteral("cursor")] = cursor(state.sessionId, mOffset);
    }
    DropboxCall* call = makeCall(route, DropboxCall::headerJson(arg), false);
    call->setUploadRange(state.result.file.localPath, mOffset, length);
    call->progress = [this](qint64 sent, qint64) { report(sent); };
    call->done = [this, length, close](const DropboxCall::Answer& answer) {
        chunkAnswered(length, close, answer.body, answer.error);
    };
    call->start();
}

void DropboxUploadBatch::chunkAnswered(qint64 length, bool close, const QByteArray& body, const DropboxError& error)
{
    FileState& state = mFiles[mCurrent];
    if (error.kind == DropboxError::Kind::Cancelled || error.kind == DropboxError::Kind::NotLinked) {
        endBatch(DropboxClient::BatchFailure::Other, error);
        return;
    }
    if (error.kind == DropboxError::Kind::Route && error.tag == QLatin1String("incorrect_offset")) {
        const qint64 correct = error.error.value(QStringLiteral("correct_offset")).toInteger(-1);
        if (correct < 0 || correct > state.size) {
            fileFailed(error);
            return;
        }
        platform::log(QStringLiteral("Dropbox: upload of %1 goes on from byte %2").arg(state.result.file.localPath).arg(correct));
        mOffset = correct;
        sendChunk();
        return;
    }
    // The closing chunk went through before, only its answer was lost: the commit checks the
    // length and the content hash.
    const bool closedByUs = close && error.kind == DropboxError::Kind::Route && error.tag == QLatin1String("closed");
    if (error && !closedByUs) {
        fileFailed(error);
        return;
    }
    if (state.sessionId.isEmpty()) {
        state.sessionId = QJsonDocument::fromJson(body).object().value(QStringLiteral("session_id")).toString();
        if (state.sessionId.isEmpty()) {
            fileFailed(DropboxError::make(DropboxError::Kind::BadResponse, QStringLiteral("no session_id in the answer")));
            return;
        }
    }
    mOffset += length;
    report(0);
    if (!close) {
        sendChunk();
        return;
    }
    fileUploaded();
}

void DropboxUploadBatch::fileUploaded()
{
    FileState& state = mFiles[mCurrent];
    state.uploaded = true;
    mDoneBytes += state.size;
    mOffset = 0;
    report(0);
    mFile.close();
    nextFile();
}

void DropboxUploadBatch::fileFailed(const DropboxError& error)
{
    FileState& state = mFiles[mCurrent];
    state.result.error = error;
    mDoneBytes += state.size;  // counted as done: the bar goes on to the next file
    mOffset = 0;
    report(0);
    mFile.close();
    nextFile();
}

void DropboxUploadBatch::finishNextGroup()
{
    QList<int> group;
    QJsonArray entries;
    while (mNextToFinish < mFiles.size() && group.size() < kMaxEntriesPerFinish) {
        const int i = mNextToFinish++;
        FileState& state = mFiles[i];
        if (!state.uploaded)
            continue;
        if (state.localHash.isEmpty()) {
            // Sent, but not readable a second time: what arrived cannot be checked, so it stays out.
            state.result.error = DropboxError::make(DropboxError::Kind::Local,
                                                    QStringLiteral("Could not read %1").arg(state.result.file.localPath));
            continue;
        }
        QJsonObject commit;
        commit[QStringLiteral("path")] = state.result.file.dropboxPath;
        commit[QStringLiteral("mode")] = QStringLiteral("add");
        commit[QStringLiteral("autorename")] = false;
        commit[QStringLiteral("mute")] = false;
        QJsonObject entry;
        entry[QStringLiteral("cursor")] = cursor(state.sessionId, state.size);
        entry[QStringLiteral("commit")] = commit;
        entries.append(entry);
        group.append(i);
    }
    if (group.isEmpty()) {
        if (mNextToFinish < mFiles.size())
            finishNextGroup();
        else
            endBatch(DropboxClient::BatchFailure::None, {});
        return;
    }
    QJsonObject arg;
    arg[QStringLiteral("entries")] = entries;
    DropboxCall* call = makeCall(QStringLiteral("files/upload_session/finish_batch_v2"), DropboxCall::compactJson(arg), true);
    call->done = [this, group](const DropboxCall::Answer& answer) {
        if (answer.error) {
            endBatch(answer.error.cancelled() || answer.error.kind == DropboxError::Kind::NotLinked
                     ? DropboxClient::BatchFailure::Other
                     : DropboxClient::BatchFailure::Finish,
                 answer.error);
            return;
        }
        finishAnswered(group, QJsonDocument::fromJson(answer.body).object());
    };
    call->start();
}

void DropboxUploadBatch::finishAnswered(const QList<int>& group, const QJsonValue& answer)
{
    const QJsonObject o = answer.toObject();
    const QString tag = o.value(QStringLiteral(".tag")).toString();
    if (o.value(QStringLiteral("entries")).isArray()) {
        takeResults(group, o.value(QStringLiteral("entries")).toArray());
        return;
    }
    // The commit may also be answered as a job running at Dropbox, polled until it completes.
    if (tag == QLatin1String("async_job_id") && !o.value(QStringLiteral("async_job_id")).toString().isEmpty()) {
        poll(group, o.value(QStringLiteral("async_job_id")).toString());
        return;
    }
    endBatch(DropboxClient::BatchFailure::Finish,
         DropboxError::make(DropboxError::Kind::BadResponse, QStringLiteral("a batch answer without entries")));
}

void DropboxUploadBatch::poll(const QList<int>& group, const QString& jobId)
{
    mPollTimer.disconnect();
    connect(&mPollTimer, &QTimer::timeout, this, [this, group, jobId] {
        if (mTask->isCancelled()) {
            endBatch(DropboxClient::BatchFailure::Other, DropboxError::make(DropboxError::Kind::Cancelled, {}));
            return;
        }
        QJsonObject arg;
        arg[QStringLiteral("async_job_id")] = jobId;
        DropboxCall* call = makeCall(QStringLiteral("files/upload_session/finish_batch/check"), DropboxCall::compactJson(arg), true);
        call->done = [this, group](const DropboxCall::Answer& answer) {
            if (answer.error) {
                endBatch(answer.error.cancelled() ? DropboxClient::BatchFailure::Other : DropboxClient::BatchFailure::Check,
                     answer.error);
                return;
            }
            const QJsonObject o = QJsonDocument::fromJson(answer.body).object();
            if (o.value(QStringLiteral(".tag")).toString() == QLatin1String("complete")) {
                takeResults(group, o.value(QStringLiteral("entries")).toArray());
                return;
            }
            if (o.value(QStringLiteral(".tag")).toString() == QLatin1String("in_progress")) {
                mPollTimer.start(kPollIntervalMs);
                return;
            }
            endBatch(DropboxClient::BatchFailure::Check,
                 DropboxError::make(DropboxError::Kind::BadResponse, QStringLiteral("an unknown job status")));
        };
        call->start();
    });
    mPollTimer.start(kPollIntervalMs);
}

void DropboxUploadBatch::takeResults(const QList<int>& group, const QJsonArray& entries)
{
    if (entries.size() != group.size()) {
        endBatch(DropboxClient::BatchFailure::Finish,
             DropboxError::make(DropboxError::Kind::BadResponse,
                                QStringLiteral("%1 results for %2 files").arg(entries.size()).arg(group.size())));
        return;
    }
    for (int k = 0; k < group.size(); ++k) {
        FileState& state = mFiles[group[k]];
        QJsonObject entry = entries[k].toObject();
        if (entry.value(QStringLiteral(".tag")).toString() != QLatin1String("success")) {
            DropboxError error;
            error.kind = DropboxError::Kind::Route;
            error.error = entry.value(QStringLiteral("failure")).toObject();
            error.tag = error.error.value(QStringLiteral(".tag")).toString();
            error.summary = failureSummary(error.error);
            state.result.error = error;
            continue;
        }
        entry[QStringLiteral(".tag")] = QStringLiteral("file");
        state.result.entry = DropboxEntry::fromJson(entry).value_or(DropboxEntry());
        if (state.result.entry.contentHash != state.localHash)
            state.result.error = DropboxError::make(DropboxError::Kind::HashMismatch, {});
    }
    finishNextGroup();
}

void DropboxUploadBatch::endBatch(DropboxClient::BatchFailure failure, const DropboxError& error)
{
    if (mEnded)
        return;
    mEnded = true;
    *mStopHashing = true;
    mPollTimer.stop();
    mFile.close();
    QList<DropboxClient::UploadResult> results;
    if (failure == DropboxClient::BatchFailure::None)
        for (const FileState& state : std::as_const(mFiles))
            results.append(state.result);
    auto done = std::move(mDone);
    done(results, failure, error);
}

}  // namespace cloud
