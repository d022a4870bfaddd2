#include "shell/DocumentDownload.h"

#include "library/Utils.h"
#include "platform/PartFile.h"

#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace {
constexpr int kMaxRedirects = 10;
// Bounds what the reply holds between two reads.
constexpr qint64 kReadBufferBytes = 1024 * 1024;
// Names taken one after the other while the document was on its way.
constexpr int kMaxCommitTries = 1000;
}  // namespace

void DocumentDownload::start(QNetworkAccessManager* network, const QUrl& url, const QString& wantedTarget,
                             Limits limits, Completion completion)
{
    auto* download = new DocumentDownload(wantedTarget, limits, std::move(completion));
    const QFileInfo target(wantedTarget);
    download->mPart = PartFile::create(target.path(), target.suffix());
    if (download->mPart)
        download->mOut.setFileName(download->mPart->path());
    if (!download->mPart || !download->mOut.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        download->fail(QStringLiteral("no temporary file beside %1").arg(wantedTarget));
        return;
    }
    QNetworkRequest request(url);
    request.setTransferTimeout(limits.stallTimeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setMaximumRedirectsAllowed(kMaxRedirects);
    QNetworkReply* reply = network->get(request);
    download->mReply = reply;
    reply->setParent(download);
    reply->setReadBufferSize(kReadBufferBytes);
    connect(reply, &QNetworkReply::metaDataChanged, download, [download, reply] {
        const qint64 announced = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
        if (announced > download->mLimits.maxBytes)
            download->fail(QStringLiteral("larger than the allowed %1 bytes").arg(download->mLimits.maxBytes));
    });
    connect(reply, &QNetworkReply::readyRead, download, &DocumentDownload::received);
    connect(reply, &QNetworkReply::finished, download, &DocumentDownload::finished);
}

DocumentDownload::DocumentDownload(const QString& wantedTarget, Limits limits, Completion completion)
    : mWantedTarget(wantedTarget), mLimits(limits), mCompletion(std::move(completion))
{
}

// The part file goes with the object unless it was committed.
DocumentDownload::~DocumentDownload() = default;

void DocumentDownload::received()
{
    if (mDone)
        return;
    const QByteArray bytes = mReply->readAll();
    mReceived += bytes.size();
    if (mReceived > mLimits.maxBytes) {
        fail(QStringLiteral("larger than the allowed %1 bytes").arg(mLimits.maxBytes));
        return;
    }
    if (mOut.write(bytes) != bytes.size())
        fail(mOut.errorString());
}

void DocumentDownload::finished()
{
    if (mDone)
        return;
    received();
    if (mDone)
        return;
    if (mReply->error() != QNetworkReply::NoError) {
        fail(mReply->errorString());
        return;
    }
    // A connection that closes early is an error already; this also holds for servers that
    // announce a length and then end the body cleanly short of it.
    const QVariant announced = mReply->header(QNetworkRequest::ContentLengthHeader);
    if (announced.isValid() && announced.toLongLong() != mReceived) {
        fail(QStringLiteral("%1 of %2 bytes arrived").arg(mReceived).arg(announced.toLongLong()));
        return;
    }
    if (!mOut.flush()) {
        fail(mOut.errorString());
        return;
    }
    mOut.close();
    QString target = Utils::uniquePath(mWantedTarget);
    for (int tries = 0; !mPart->commit(target, false); ++tries) {
        if (!QFileInfo::exists(target) || tries >= kMaxCommitTries) {
            fail(QStringLiteral("could not move it to %1").arg(target));
            return;
        }
        target = Utils::uniquePath(mWantedTarget);
    }
    mDone = true;
    mCompletion(target, QString());
    deleteLater();
}

void DocumentDownload::fail(const QString& error)
{
    if (mDone)
        return;
    mDone = true;
    if (mReply) {
        disconnect(mReply, nullptr, this, nullptr);
        mReply->abort();
    }
    mOut.close();
    mPart.reset();
    mCompletion(QString(), error);
    deleteLater();
}
