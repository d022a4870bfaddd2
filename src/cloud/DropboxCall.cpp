#include "cloud/DropboxCall.h"

#include "cloud/DropboxAccount.h"
#include "cloud/DropboxConfig.h"
#include "platform/Log.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>

namespace cloud {
namespace {
constexpr int kMaxRateLimitRetries = 12;
constexpr int kMaxServerRetries = 5;
constexpr int kMaxNetworkRetries = 3;
constexpr int kFirstBackoffMs = 100;
constexpr int kMaxBackoffMs = 16000;
// A transfer that receives or sends nothing for this long has stalled.
constexpr int kStallTimeoutMs = 60000;

int backoffMs(int attempt)
{
    const int base = qMin(kMaxBackoffMs, kFirstBackoffMs << qMin(attempt, 10));
    // A little jitter, so several waiting transfers do not come back at the same moment.
    return base + int(QRandomGenerator::global()->bounded(base / 4 + 1));
}

QString firstTagPath(const QJsonValue& error)
{
    // "path/not_found": the chain of tags of a union error.
    QStringList tags;
    QJsonValue value = error;
    while (value.isObject()) {
        const QString tag = value.toObject().value(QStringLiteral(".tag")).toString();
        if (tag.isEmpty())
            break;
        tags << tag;
        value = value.toObject().value(tag);
    }
    return tags.join(QLatin1Char('/'));
}
}  // namespace

DropboxCall::DropboxCall(DropboxAccount* account, QNetworkAccessManager* network, Style style, QString route,
                         QByteArray arg, QObject* parent)
    : QObject(parent), mAccount(account), mNetwork(network), mStyle(style), mRoute(std::move(route)), mArg(std::move(arg))
{
    mRetryTimer.setSingleShot(true);
    connect(&mRetryTimer, &QTimer::timeout, this, &DropboxCall::send);
}

DropboxCall::~DropboxCall()
{
    if (mReply) {
        disconnect(mReply, nullptr, this, nullptr);
        mReply->abort();
        mReply->deleteLater();
    }
}

void DropboxCall::setUploadRange(const QString& file, qint64 offset, qint64 length)
{
    mFile = file;
    mRangeOffset = offset;
    mRangeLength = length;
}

void DropboxCall::setDownloadFile(const QString& file, std::function<void(const char*, qint64)> tap)
{
    mFile = file;
    mDownloadTap = std::move(tap);
}

QByteArray DropboxCall::compactJson(const QJsonObject& arg) { return QJsonDocument(arg).toJson(QJsonDocument::Compact); }

QByteArray DropboxCall::headerJson(const QJsonObject& arg)
{
    const QString text = QString::fromUtf8(compactJson(arg));
    QByteArray out;
    out.reserve(text.size());
    for (const QChar c : text) {
        const ushort u = c.unicode();
        if (u >= 0x20 && u < 0x7f)
            out.append(char(u));
        else  // UTF-16 units, so characters beyond the BMP become their surrogate pair
            out.append(QStringLiteral("\\u%1").arg(u, 4, 16, QLatin1Char('0')).toLatin1());
    }
    return out;
}

DropboxError DropboxCall::routeError(DropboxError::Kind kind, int status, const QByteArray& body)
{
    DropboxError error;
    error.kind = kind;
    error.status = status;
    QJsonParseError parse;
    const QJsonDocument doc = QJsonDocument::fromJson(body, &parse);
    if (parse.error != QJsonParseError::NoError || !doc.isObject()) {
        error.summary = QString::fromUtf8(body.left(300)).trimmed();
        if (error.summary.isEmpty())
            error.summary = QStringLiteral("HTTP %1").arg(status);
        return error;
    }
    const QJsonObject o = doc.object();
    error.error = o.value(QStringLiteral("error")).toObject();
    error.tag = error.error.value(QStringLiteral(".tag")).toString();
    error.summary = o.value(QStringLiteral("error_summary")).toString();
    if (error.summary.isEmpty())
        error.summary = firstTagPath(error.error);
    // error_summary ends with "/..." or "/.": what is left is the readable part.
    while (error.summary.endsWith(QLatin1Char('.')) || error.summary.endsWith(QLatin1Char('/')))
        error.summary.chop(1);
    return error;
}

void DropboxCall::start() { send(); }

void DropboxCall::cancel()
{
    if (mEnded)
        return;
    mCancelled = true;
    mRetryTimer.stop();
    if (mReply)
        mReply->abort();  // replied() ends the call as cancelled
    else if (mTransfer.isRunning())
        mTransfer.cancel();  // and so does its answer
    else
        end({{}, {}, DropboxError::make(DropboxError::Kind::Cancelled, {})});
}

void DropboxCall::send()
{
    if (mCancelled || mEnded)
        return;
    if (!mAccount->isLinked()) {
        end({{}, {}, DropboxAccount::notLinkedError()});
        return;
    }
    if (!mAccount->tokenIsFresh() && mAccount->canRefresh()) {
        refreshThenSend();
        return;
    }
    sendWithToken();
}

void DropboxCall::refreshThenSend()
{
    mAccount->refresh(mNetwork, [self = QPointer(this)](const DropboxError& error) {
        if (!self || self->mCancelled)
            return;
        if (error)
            self->end({{}, {}, error});
        else
            self->sendWithToken();
    });
}

void DropboxCall::sendWithToken()
{
    const QString base = mStyle == Style::Rpc ? DropboxConfig::apiUrl() : DropboxConfig::contentUrl();
    const QUrl url(base + QStringLiteral("/2/") + mRoute);
    mSentToken = mAccount->accessToken();
    const QByteArray authorization = "Bearer " + mSentToken.toUtf8();
    if (restart)
        restart();
    if (mStyle == Style::Rpc) {
        QNetworkRequest request(url);
        request.setRawHeader("Authorization", authorization);
        request.setTransferTimeout(kStallTimeoutMs);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        mReply = mNetwork->post(request, mArg);
        connect(mReply, &QNetworkReply::finished, this, &DropboxCall::replied);
        return;
    }
    platform::HttpTransfer::Request request;
    request.url = url;
    request.headers = {{"Authorization", authorization}, {"Dropbox-API-Arg", mArg}};
    request.stallSeconds = kStallTimeoutMs / 1000;
    if (mStyle == Style::Upload) {
        request.headers.append(platform::HttpTransfer::Header("Content-Type", "application/octet-stream"));
        request.bodyFile = mFile;
        request.bodyOffset = mRangeOffset;
        request.bodyLength = mRangeLength;
    } else {
        // Dropbox refuses a download that names a content type.
        request.headers.append(platform::HttpTransfer::Header("Content-Type", {}));
        request.answerFile = mFile;
        request.answerTap = mDownloadTap;
    }
    auto report = [this](qint64 done, qint64 total) {
        if (progress)
            progress(done, total);
    };
    mTransfer.start(std::move(request), report, [this](const platform::HttpTransfer::Result& result) {
        if (mCancelled || result.cancelled) {
            end({{}, {}, DropboxError::make(DropboxError::Kind::Cancelled, {})});
            return;
        }
        Attempt attempt;
        attempt.status = result.status;
        attempt.body = result.body;
        attempt.apiResult = result.header("Dropbox-API-Result");
        attempt.hasRetryAfter = result.hasHeader("Retry-After");
        attempt.retryAfter = result.header("Retry-After");
        if (result.localError)
            attempt.localFailure = mStyle == Style::Download
                                       ? QStringLiteral("Could not write the downloaded file: %1").arg(result.reason)
                                       : result.error;
        else if (!result.error.isEmpty() && (result.status == 0 || (result.status >= 200 && result.status < 300)))
            attempt.failure = result.error;
        answered(attempt);
    });
}

void DropboxCall::replied()
{
    QNetworkReply* reply = mReply;
    mReply = nullptr;
    reply->deleteLater();
    if (mCancelled) {
        end({{}, {}, DropboxError::make(DropboxError::Kind::Cancelled, {})});
        return;
    }
    Attempt attempt;
    attempt.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    attempt.body = reply->readAll();
    attempt.hasRetryAfter = reply->hasRawHeader("Retry-After");
    attempt.retryAfter = reply->rawHeader("Retry-After");
    if (attempt.status == 0 || (attempt.status == 200 && reply->error() != QNetworkReply::NoError))
        attempt.failure = reply->errorString();
    answered(attempt);
}

void DropboxCall::answered(const Attempt& attempt)
{
    if (!attempt.localFailure.isEmpty()) {
        end({{}, {}, DropboxError::make(DropboxError::Kind::Local, attempt.localFailure)});
        return;
    }
    const int status = attempt.status;
    const QByteArray& body = attempt.body;
    if (!attempt.failure.isEmpty()) {
        // No answer, or an answer cut off: the connection failed.
        if (mNetworkRetries < kMaxNetworkRetries) {
            platform::log(QStringLiteral("Dropbox: %1 failed (%2), trying again").arg(mRoute, attempt.failure));
            retryIn(backoffMs(mNetworkRetries++));
            return;
        }
        end({{}, {}, DropboxError::make(DropboxError::Kind::Network, attempt.failure)});
        return;
    }
    if (status == 200) {
        Answer answer;
        if (mStyle == Style::Download) {
            QJsonParseError parse;
            const QJsonDocument meta = QJsonDocument::fromJson(attempt.apiResult, &parse);
            if (parse.error != QJsonParseError::NoError || !meta.isObject()) {
                end({{}, {}, DropboxError::make(DropboxError::Kind::BadResponse,
                                                QStringLiteral("no readable Dropbox-API-Result header"))});
                return;
            }
            answer.apiResult = meta.object();
        } else {
            answer.body = body;
        }
        end(answer);
        return;
    }
    if (status == 401) {
        const DropboxError refused = routeError(DropboxError::Kind::NotLinked, status, body);
        if (mAccount->isLinked() && mAccount->accessToken() != mSentToken) {
            // Another call renewed the token meanwhile: this one only needs to go again.
            sendWithToken();
            return;
        }
        if (mAccount->canRefresh() && !mRenewedAfterRefusal) {
            // An expired token is renewed once; a second refusal means the sign-in is gone.
            mRenewedAfterRefusal = true;
            platform::log(QStringLiteral("Dropbox: token refused (%1), renewing it").arg(refused.tag));
            refreshThenSend();
            return;
        }
        platform::log(QStringLiteral("Dropbox: the sign-in was refused (%1)").arg(refused.summary));
        const bool fromEnvironment = mAccount->usesEnvironmentToken();
        mAccount->tokenRejected();
        end({{}, {}, DropboxError::make(DropboxError::Kind::NotLinked,
                                        fromEnvironment ? QStringLiteral("Dropbox refused the token in "
                                                                         "WAVELOCKER_DROPBOX_TOKEN.")
                                                        : QStringLiteral("Dropbox refused this computer's sign-in. "
                                                                         "Link your Dropbox account again."),
                                        status)});
        return;
    }
    if (status == 429 || (status == 503 && attempt.hasRetryAfter)) {
        if (mRateLimitRetries < kMaxRateLimitRetries) {
            bool ok = false;
            const int seconds = attempt.retryAfter.trimmed().toInt(&ok);
            const int waitMs = ok ? qMax(0, seconds) * 1000 : backoffMs(mRateLimitRetries);
            platform::log(QStringLiteral("Dropbox: rate limited on %1, waiting %2 ms").arg(mRoute).arg(waitMs));
            ++mRateLimitRetries;
            retryIn(waitMs);
            return;
        }
        end({{}, {}, routeError(DropboxError::Kind::RateLimited, status, body)});
        return;
    }
    if (status >= 500) {
        if (mServerRetries < kMaxServerRetries) {
            platform::log(QStringLiteral("Dropbox: server error %1 on %2, trying again").arg(status).arg(mRoute));
            retryIn(backoffMs(mServerRetries++));
            return;
        }
        end({{}, {}, routeError(DropboxError::Kind::Server, status, body)});
        return;
    }
    if (status == 409) {
        end({{}, {}, routeError(DropboxError::Kind::Route, status, body)});
        return;
    }
    if (status == 400) {
        end({{}, {}, routeError(DropboxError::Kind::BadInput, status, body)});
        return;
    }
    end({{}, {}, routeError(DropboxError::Kind::Server, status, body)});
}

void DropboxCall::retryIn(int ms) { mRetryTimer.start(ms); }

void DropboxCall::end(Answer answer)
{
    if (mEnded)
        return;
    mEnded = true;
    mRetryTimer.stop();
    deleteLater();
    if (done)
        done(answer);
}

}  // namespace cloud
