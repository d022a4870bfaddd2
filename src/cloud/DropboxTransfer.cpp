#include "cloud/DropboxTransfer.h"

#include "library/Utils.h"
#include "platform/Log.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

namespace cloud {
namespace {
QString lastComponent(const QString& path) { return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1); }

QString joinDropbox(const QString& folder, const QString& relative)
{
    const QString base = DropboxClient::apiPath(folder);
    return base + (relative.startsWith(QLatin1Char('/')) ? relative : QLatin1Char('/') + relative);
}
}  // namespace

DropboxTransfer::DropboxTransfer(DropboxClient* client, Display display, QObject* parent)
    : QObject(parent), mClient(client), mDisplay(std::move(display))
{
}

QString DropboxTransfer::localPathFor(const QString& dropboxPath, const QString& basePath, const QString& localFolder)
{
    const QString base = DropboxClient::apiPath(basePath);
    // Dropbox's paths ignore case, and only the last part of a display path is sure to be
    // cased as the user wrote it.
    if (!dropboxPath.startsWith(base + QLatin1Char('/'), Qt::CaseInsensitive))
        return {};
    const QStringList parts = dropboxPath.mid(base.size() + 1).split(QLatin1Char('/'));
    for (const QString& part : parts)
        if (part.isEmpty() || part == QLatin1String(".") || part == QLatin1String("..") || part.contains(QChar(0)))
            return {};
    return QDir::cleanPath(localFolder) + QLatin1Char('/') + parts.join(QLatin1Char('/'));
}

void DropboxTransfer::cancel()
{
    if (!mRunning)
        return;
    mCancelled = true;
    dbPendingFiles.clear();
    if (dbDownloadTask)
        dbDownloadTask->cancel();
    if (dbUploadTask)
        dbUploadTask->cancel();
}

void DropboxTransfer::stop()
{
    mRunning = false;
    dbDownloadTask = nullptr;
    dbUploadTask = nullptr;
    emit finished();
}

// ---- Import

void DropboxTransfer::importItems(const QList<DropboxPendingEntry>& picked, const QString& basePath,
                                  const QString& localFolder)
{
    if (mRunning)
        return;
    mRunning = true;
    mCancelled = false;
    mFailed.clear();
    mQueued.clear();
    dbPendingFiles.clear();
    for (const DropboxPendingEntry& entry : picked) {
        dbPendingFiles.insert(entry);
        mQueued.insert(entry.path.toLower());
    }
    dbBasePath = DropboxClient::apiPath(basePath);
    mLocalFolder = localFolder;
    mDisplay.open(QStringLiteral("Downloading..."));
    if (dbCheckNext())
        dbDownloadNext();
}

bool DropboxTransfer::dbCheckNext()
{
    if (mCancelled) {
        mDisplay.close();
        stop();
        return false;
    }
    if (!dbPendingFiles.isEmpty())
        return true;
    if (mFailed.isEmpty())
        mDisplay.done(QStringLiteral("Done"));
    else
        mDisplay.finish(QStringLiteral("Done\nCould not import: %1").arg(mFailed.join(QStringLiteral(", "))));
    stop();
    return false;
}

void DropboxTransfer::dbDownloadNext()
{
    const DropboxPendingEntry entry = *dbPendingFiles.constBegin();  // no order is promised
    dbPendingFiles.remove(entry);
    if (entry.isFolder) {
        mDisplay.label(QStringLiteral("Scanning %1").arg(lastComponent(entry.path)));
        mDisplay.progress(0.0f);
        listFolder(entry.path, {});
    } else {
        downloadFile(entry.path);
    }
}

void DropboxTransfer::listFolder(const QString& folder, const QString& cursor)
{
    auto answer = [this, folder](const ListFolderResult& result, const DropboxError& error) { listed(folder, result, error); };
    if (cursor.isEmpty())
        mClient->listFolder(folder, answer);
    else
        mClient->listFolderContinue(cursor, answer);
}

void DropboxTransfer::listed(const QString& folder, const ListFolderResult& result, const DropboxError& error)
{
    if (mCancelled || error.cancelled()) {
        dbCheckNext();
        return;
    }
    if (error.kind == DropboxError::Kind::Route && error.tag == QLatin1String("reset")) {
        // The cursor is no longer valid: the listing starts over; entries already queued stay once.
        platform::log(QStringLiteral("Dropbox: listing of %1 was reset, listing it again").arg(folder));
        listFolder(folder, {});
        return;
    }
    if (error) {
        platform::log(QStringLiteral("Dropbox error: %1").arg(error.summary.isEmpty() ? error.description() : error.summary));
        mDisplay.alert(QStringLiteral("Dropbox error"), error.description());
        if (error.kind == DropboxError::Kind::NotLinked)
            dbPendingFiles.clear();  // nothing else can be fetched without a sign-in
        if (dbCheckNext())
            dbDownloadNext();
        return;
    }
    for (const DropboxEntry& entry : result.entries) {
        if (mQueued.contains(entry.pathDisplay.toLower()))
            continue;
        mQueued.insert(entry.pathDisplay.toLower());
        dbPendingFiles.insert({entry.pathDisplay, entry.isFolder});
    }
    if (result.hasMore) {
        platform::log(QStringLiteral("*** listFolderContinue..."));
        listFolder(folder, result.cursor);
        return;
    }
    if (dbCheckNext())
        dbDownloadNext();
}

void DropboxTransfer::downloadFile(const QString& dropboxPath)
{
    const QString name = lastComponent(dropboxPath);
    const QString wanted = localPathFor(dropboxPath, dbBasePath, mLocalFolder);
    auto goOn = [this] {
        if (dbCheckNext())
            dbDownloadNext();
    };
    if (wanted.isEmpty()) {
        platform::log(QStringLiteral("Dropbox: %1 is not inside %2, skipped").arg(dropboxPath, dbBasePath));
        mFailed << name;
        goOn();
        return;
    }
    const QString folder = QFileInfo(wanted).absolutePath();
    if (!QDir().mkpath(folder)) {
        platform::log(QStringLiteral("Could not create folder %1").arg(folder));
        mFailed << name;
        goOn();
        return;
    }
    const QString localPath = Utils::uniquePath(wanted);
    mDisplay.label(name);
    mDisplay.progress(0.0f);
    dbDownloadTask = mClient->downloadUrl(
        dropboxPath, false, localPath,
        [this](qint64 done, qint64 total) {
            if (total > 0)
                mDisplay.progress(float(double(done) / double(total)));
        },
        [this, dropboxPath, localPath, name, goOn](const DropboxEntry&, const DropboxError& error) {
            dbDownloadTask = nullptr;
            if (!error) {
                platform::log(QStringLiteral("Downloaded %1").arg(localPath));
            } else if (!error.cancelled()) {
                platform::log(QStringLiteral("%1\n%2").arg(dropboxPath + QStringLiteral(": ") + error.summary, error.description()));
                mFailed << name;
                if (error.kind == DropboxError::Kind::NotLinked) {
                    mDisplay.alert(QStringLiteral("Dropbox error"), error.description());
                    dbPendingFiles.clear();
                }
            }
            goOn();
        });
}

// ---- Export

void DropboxTransfer::scanFilesRecurse(const QString& path, QSet<DropboxPendingEntry>& set)
{
    QSet<QString> visited;
    std::function<void(const QString&)> scan = [&](const QString& item) {
        const QFileInfo info(item);  // follows a symbolic link for the type test
        if (!info.exists())
            return;
        if (!info.isDir()) {
            set.insert({item, false});
            return;
        }
        const QString real = info.canonicalFilePath();
        if (visited.contains(real))
            return;  // a link back up the tree
        visited.insert(real);
        const QStringList children =
            QDir(item).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString& child : children)
            if (!child.startsWith(QLatin1String(".tempfile-")))
                scan(item + QLatin1Char('/') + child);
    };
    scan(path);
}

void DropboxTransfer::dropboxUpload(const QSet<DropboxPendingEntry>& files, const QString& currentFolder,
                                   const QString& destination)
{
    if (mRunning)
        return;
    mRunning = true;
    mCancelled = false;
    mFailed.clear();
    dbPendingFiles = files;
    dbBasePath = DropboxClient::apiPath(destination);
    mCurrentFolder = QDir::cleanPath(currentFolder);
    mDisplay.open(QStringLiteral("Uploading..."));
    dbBatchUpload();
}

void DropboxTransfer::dbBatchUpload()
{
    QList<DropboxClient::UploadFile> files;
    QList<DropboxPendingEntry> entries = dbPendingFiles.values();
    std::sort(entries.begin(), entries.end(),
              [](const DropboxPendingEntry& a, const DropboxPendingEntry& b) { return a.path < b.path; });
    for (const DropboxPendingEntry& entry : entries) {
        if (entry.isFolder)
            continue;
        const QString local = QDir::cleanPath(entry.path);
        const QString relative = local.startsWith(mCurrentFolder + QLatin1Char('/')) ? local.mid(mCurrentFolder.size() + 1)
                                                                                     : QFileInfo(local).fileName();
        files.append({local, joinDropbox(dbBasePath, relative)});
    }
    dbPendingFiles.clear();
    dbBasePath.clear();
    dbUploadTask = mClient->batchUploadFiles(
        files,
        [this](qint64 done, qint64 total) {
            if (total > 0)
                mDisplay.progress(float(double(done) / double(total)));
        },
        [this](const QList<DropboxClient::UploadResult>& results, DropboxClient::BatchFailure failure,
               const DropboxError& error) { uploadFinished(results, failure, error); });
}

void DropboxTransfer::uploadFinished(const QList<DropboxClient::UploadResult>& results,
                                     DropboxClient::BatchFailure failure, const DropboxError& error)
{
    dbUploadTask = nullptr;
    if (failure != DropboxClient::BatchFailure::None && error.cancelled()) {
        mDisplay.close();
        stop();
        return;
    }
    if (failure != DropboxClient::BatchFailure::None) {
        switch (failure) {
        case DropboxClient::BatchFailure::Finish:
            platform::log(QStringLiteral("Either bug in SDK code, or transient error on Dropbox server"));
            break;
        case DropboxClient::BatchFailure::Check:
            platform::log(QStringLiteral("Request error from calling `/upload_session/finish_batch/check`"));
            break;
        default: platform::log(QStringLiteral("Other additional errors (e.g. file doesn't exist client-side, etc.)")); break;
        }
        platform::log(error.description());
        mDisplay.close();
        mFailed << QStringLiteral("(all)");
        mDisplay.alert(QStringLiteral("Dropbox Upload"), error.description());
        stop();
        return;
    }
    for (const auto& result : results) {
        if (!result.error) {
            platform::log(QStringLiteral("File successfully uploaded from %1 on local machine to %2 in Dropbox.")
                              .arg(result.file.localPath, result.file.dropboxPath));
            continue;
        }
        platform::log(QStringLiteral("File failed to upload: %1\n%2\n%3")
                          .arg(result.file.localPath, result.file.dropboxPath, result.error.description()));
        mFailed << QFileInfo(result.file.localPath).fileName();
    }
    if (!mFailed.isEmpty()) {
        mDisplay.close();
        mDisplay.alert(QStringLiteral("Dropbox Upload"),
                       QStringLiteral("The following files failed to upload:\n\n") + mFailed.join(QLatin1Char('\n')));
    } else {
        mDisplay.done(QStringLiteral("Done"));
    }
    stop();
}

}  // namespace cloud
