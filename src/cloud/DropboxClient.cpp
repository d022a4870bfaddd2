#include "cloud/DropboxClient.h"

#include "cloud/ContentHasher.h"
#include "cloud/DropboxAccount.h"
#include "cloud/DropboxCall.h"
#include "cloud/DropboxUploadBatch.h"
#include "platform/PartFile.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <memory>

namespace cloud {

void DropboxTask::cancel()
{
    if (mCancelled)
        return;
    mCancelled = true;
    if (mCall)
        mCall->cancel();
}

void DropboxTask::setCurrentCall(DropboxCall* call) { mCall = call; }

DropboxClient::DropboxClient(DropboxAccount* account, QObject* parent)
    : QObject(parent), mAccount(account), mNetwork(new QNetworkAccessManager(this))
{
}

DropboxClient::~DropboxClient() = default;

QString DropboxClient::apiPath(const QString& path)
{
    if (path.isEmpty() || path == QLatin1String("/"))
        return {};
    return path.startsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path;
}

DropboxCall* DropboxClient::rpc(const QString& route, const QJsonObject& arg,
                                std::function<void(const QJsonValue&, const DropboxError&)> done, QObject* owner)
{
    auto* call = new DropboxCall(mAccount, mNetwork, DropboxCall::Style::Rpc, route, DropboxCall::compactJson(arg),
                                 owner ? owner : this);
    // The answer is read here, so that a call always ends with readable JSON or an error.
    call->done = [done = std::move(done)](const DropboxCall::Answer& answer) {
        if (answer.error) {
            done({}, answer.error);
            return;
        }
        QJsonParseError parse;
        const QJsonDocument doc = QJsonDocument::fromJson(answer.body, &parse);
        if (parse.error != QJsonParseError::NoError) {
            done({}, DropboxError::make(DropboxError::Kind::BadResponse, parse.errorString()));
            return;
        }
        done(doc.isObject() ? QJsonValue(doc.object()) : doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(), {});
    };
    call->start();
    return call;
}

void DropboxClient::listAnswer(const QJsonValue& answer, const DropboxError& error, const ListDone& done)
{
    if (error) {
        done({}, error);
        return;
    }
    const QJsonObject o = answer.toObject();
    if (!o.value(QStringLiteral("entries")).isArray() || !o.value(QStringLiteral("cursor")).isString()) {
        done({}, DropboxError::make(DropboxError::Kind::BadResponse, QStringLiteral("a listing without entries or cursor")));
        return;
    }
    ListFolderResult result;
    for (const QJsonValue& v : o.value(QStringLiteral("entries")).toArray())
        if (auto entry = DropboxEntry::fromJson(v.toObject()))
            result.entries.append(*entry);
    result.cursor = o.value(QStringLiteral("cursor")).toString();
    result.hasMore = o.value(QStringLiteral("has_more")).toBool();
    done(result, {});
}

void DropboxClient::listFolder(const QString& path, ListDone done)
{
    QJsonObject arg;
    arg[QStringLiteral("path")] = apiPath(path);
    arg[QStringLiteral("recursive")] = false;
    arg[QStringLiteral("include_deleted")] = false;
    rpc(QStringLiteral("files/list_folder"), arg,
        [this, done = std::move(done)](const QJsonValue& answer, const DropboxError& error) { listAnswer(answer, error, done); });
}

void DropboxClient::listFolderContinue(const QString& cursor, ListDone done)
{
    QJsonObject arg;
    arg[QStringLiteral("cursor")] = cursor;
    rpc(QStringLiteral("files/list_folder/continue"), arg,
        [this, done = std::move(done)](const QJsonValue& answer, const DropboxError& error) { listAnswer(answer, error, done); });
}

void DropboxClient::listWholeFolder(const QString& path, QObject* context,
                                    std::function<void(const QList<DropboxEntry>&, const DropboxError&)> done)
{
    struct Walk {
        QList<DropboxEntry> entries;
        std::function<void(const ListFolderResult&, const DropboxError&)> page;
    };
    auto walk = std::make_shared<Walk>();
    QPointer<QObject> alive = context;
    walk->page = [this, path, alive, walk, done = std::move(done)](const ListFolderResult& result, const DropboxError& error) {
        if (!alive) {
            walk->page = nullptr;  // ends the cycle walk -> page -> walk
            return;
        }
        if (error.kind == DropboxError::Kind::Route && error.tag == QLatin1String("reset")) {
            walk->entries.clear();
            listFolder(path, walk->page);
            return;
        }
        if (error) {
            done({}, error);
            walk->page = nullptr;
            return;
        }
        walk->entries += result.entries;
        if (result.hasMore) {
            listFolderContinue(result.cursor, walk->page);
            return;
        }
        done(walk->entries, {});
        walk->page = nullptr;
    };
    listFolder(path, walk->page);
}

void DropboxClient::getMetadata(const QString& path, EntryDone done)
{
    QJsonObject arg;
    arg[QStringLiteral("path")] = apiPath(path);
    rpc(QStringLiteral("files/get_metadata"), arg, [done = std::move(done)](const QJsonValue& answer, const DropboxError& error) {
        const auto entry = DropboxEntry::fromJson(answer.toObject());
        if (!error && !entry)
            done({}, DropboxError::make(DropboxError::Kind::BadResponse, QStringLiteral("no file or folder in the answer")));
        else
            done(entry.value_or(DropboxEntry()), error);
    });
}

void DropboxClient::getTemporaryLink(const QString& path, std::function<void(const QUrl&, const DropboxError&)> done)
{
    QJsonObject arg;
    arg[QStringLiteral("path")] = apiPath(path);
    rpc(QStringLiteral("files/get_temporary_link"), arg, [done = std::move(done)](const QJsonValue& answer, const DropboxError& error) {
        const QUrl link(answer.toObject().value(QStringLiteral("link")).toString());
        if (!error && !link.isValid())
            done({}, DropboxError::make(DropboxError::Kind::BadResponse, QStringLiteral("no link in the answer")));
        else
            done(link, error);
    });
}

void DropboxClient::createFolder(const QString& path, EntryDone done)
{
    QJsonObject arg;
    arg[QStringLiteral("path")] = apiPath(path);
    arg[QStringLiteral("autorename")] = false;
    rpc(QStringLiteral("files/create_folder_v2"), arg, [done = std::move(done)](const QJsonValue& answer, const DropboxError& error) {
        QJsonObject meta = answer.toObject().value(QStringLiteral("metadata")).toObject();
        meta[QStringLiteral(".tag")] = QStringLiteral("folder");
        const auto entry = DropboxEntry::fromJson(meta);
        if (!error && !entry)
            done({}, DropboxError::make(DropboxError::Kind::BadResponse, QStringLiteral("no folder in the answer")));
        else
            done(entry.value_or(DropboxEntry()), error);
    });
}

DropboxTask* DropboxClient::downloadUrl(const QString& path, bool overwrite, const QString& destination,
                                        Progress progress, EntryDone done)
{
    auto* task = new DropboxTask(this);
    auto finish = [task, done = std::move(done)](const DropboxEntry& entry, const DropboxError& error) {
        task->deleteLater();
        done(entry, error);
    };
    // Held apart from the lambdas, so the part file goes the moment the answer is known.
    auto part = std::make_shared<std::unique_ptr<PartFile>>(
        PartFile::create(QFileInfo(destination).absolutePath(), QFileInfo(destination).suffix()));
    if (!*part) {
        finish({}, DropboxError::make(DropboxError::Kind::Local,
                                      QStringLiteral("Could not create a file in %1").arg(QFileInfo(destination).absolutePath())));
        return task;
    }
    // Fed on the transfer's worker thread; read here only once the answer has come.
    auto hasher = std::make_shared<ContentHasher>();
    QJsonObject arg;
    arg[QStringLiteral("path")] = apiPath(path);
    auto* call = new DropboxCall(mAccount, mNetwork, DropboxCall::Style::Download, QStringLiteral("files/download"),
                                 DropboxCall::headerJson(arg), task);
    call->restart = [hasher] { hasher->reset(); };
    call->setDownloadFile((*part)->path(), [hasher](const char* data, qint64 size) { hasher->addData(data, size); });
    call->progress = std::move(progress);
    call->done = [part, hasher, overwrite, destination, finish](const DropboxCall::Answer& answer) {
        const std::unique_ptr<PartFile> kept = std::move(*part);  // removed on return unless committed
        if (answer.error) {
            finish({}, answer.error);
            return;
        }
        QJsonObject meta = answer.apiResult;
        if (!meta.contains(QStringLiteral(".tag")))
            meta[QStringLiteral(".tag")] = QStringLiteral("file");
        const DropboxEntry entry = DropboxEntry::fromJson(meta).value_or(DropboxEntry());
        if (entry.contentHash.isEmpty() || entry.contentHash != hasher->result()) {
            finish(entry, DropboxError::make(DropboxError::Kind::HashMismatch, {}));
            return;
        }
        if (!kept->commit(destination, overwrite)) {
            finish(entry, DropboxError::make(DropboxError::Kind::Local, QStringLiteral("Could not save %1").arg(destination)));
            return;
        }
        finish(entry, {});
    };
    task->setCurrentCall(call);
    call->start();
    return task;
}

DropboxTask* DropboxClient::batchUploadFiles(const QList<UploadFile>& files, Progress progress, BatchDone done)
{
    auto* task = new DropboxTask(this);
    auto* batch = new DropboxUploadBatch(mAccount, mNetwork, task, files, std::move(progress),
                                         [task, done = std::move(done)](const QList<UploadResult>& results,
                                                                        BatchFailure failure, const DropboxError& error) {
                                             task->deleteLater();
                                             done(results, failure, error);
                                         });
    batch->start();
    return task;
}

}  // namespace cloud
