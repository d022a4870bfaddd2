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
constexpr qint64 kDownloadBufferBytes = 4 * 1024 * 1024;

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
                         QByteArray arg, QByteArray body, QObject* parent)
    : QObject(parent),
      mAccount(account),
      mNetwork(network),
      mStyle(style),
      mRoute(std::move(route)),
      mArg(std::move(arg)),
      mBody(std::move(body))
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
        mReply->abort();  // finished() ends the call as cancelled
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
    const bool content = mStyle != Style::Rpc;
    QNetworkRequest request(QUrl((content ? DropboxConfig::contentUrl() : DropboxConfig::apiUrl()) + QStringLiteral("/2/")
                                 + mRoute));
    mSentToken = mAccount->accessToken();
    request.setRawHeader("Authorization", "Bearer " + mSentToken.toUtf8());
    request.setTransferTimeout(kStallTimeoutMs);
    if (restart)
        restart();
    mSinkFailed = false;
    mReceived = 0;
    switch (mStyle) {
    case Style::Rpc:
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        mReply = mNetwork->post(request, mArg);
        break;
    case Style::Upload:
        request.setRawHeader("Dropbox-API-Arg", mArg);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/octet-stream"));
        mReply = mNetwork->post(request, mBody);
        break;
    case Style::Download:
        request.setRawHeader("Dropbox-API-Arg", mArg);
        mReply = mNetwork->sendCustomRequest(request, "POST");
        mReply->setReadBufferSize(kDownloadBufferBytes);
        connect(mReply, &QNetworkReply::readyRead, this, [this] {
            if (mReply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() != 200 || mSinkFailed)
                return;
            const QByteArray piece = mReply->readAll();
            mReceived += piece.size();
            if (!piece.isEmpty() && sink && !sink(piece)) {
                mSinkFailed = true;
                mReply->abort();
            }
        });
        break;
    }
    if (progress) {
        auto report = [this](qint64 done, qint64 total) {
            if (progress)
                progress(done, total);
        };
        if (mStyle == Style::Download)
            connect(mReply, &QNetworkReply::downloadProgress, this, report);
        else if (mStyle == Style::Upload)
            connect(mReply, &QNetworkReply::uploadProgress, this, report);
    }
    connect(mReply, &QNetworkReply::finished, this, &DropboxCall::finished);
}

void DropboxCall::finished()
{
    QNetworkReply* reply = mReply;
    mReply = nullptr;
    reply->deleteLater();
    if (mCancelled) {
        end({{}, {}, DropboxError::make(DropboxError::Kind::Cancelled, {})});
        return;
    }
    if (mSinkFailed) {
        end({{}, {}, DropboxError::make(DropboxError::Kind::Local, QStringLiteral("Could not write the downloaded file"))});
        return;
    }
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QByteArray body = reply->readAll();
    bool cutOff = false;
    if (mStyle == Style::Download && status == 200) {
        mReceived += body.size();
        bool known = false;
        const qint64 length = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(&known);
        cutOff = known && mReceived != length;
    }
    if (status == 0 || (status == 200 && (reply->error() != QNetworkReply::NoError || cutOff))) {
        // No answer, or an answer cut off: the connection failed.
        if (mNetworkRetries < kMaxNetworkRetries) {
            platform::log(QStringLiteral("Dropbox: %1 failed (%2), trying again").arg(mRoute, reply->errorString()));
            retryIn(backoffMs(mNetworkRetries++));
            return;
        }
        end({{}, {}, DropboxError::make(DropboxError::Kind::Network,
                                        cutOff ? QStringLiteral("the answer was cut off") : reply->errorString())});
        return;
    }
    if (status == 200) {
        Answer answer;
        if (mStyle == Style::Download) {
            if (!body.isEmpty() && sink && !sink(body)) {
                end({{}, {}, DropboxError::make(DropboxError::Kind::Local, QStringLiteral("Could not write the downloaded file"))});
                return;
            }
            QJsonParseError parse;
            const QJsonDocument meta = QJsonDocument::fromJson(reply->rawHeader("Dropbox-API-Result"), &parse);
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
    if (status == 429 || (status == 503 && reply->hasRawHeader("Retry-After"))) {
        if (mRateLimitRetries < kMaxRateLimitRetries) {
            bool ok = false;
            const int seconds = reply->rawHeader("Retry-After").trimmed().toInt(&ok);
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
