#include "cloud/DropboxAccount.h"

#include "cloud/DropboxConfig.h"
#include "platform/Log.h"
#include "platform/SecretStore.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>
#include <memory>

namespace cloud {
namespace {
const QString kSecretKey = QStringLiteral("dropbox");
// Renew this long before the token runs out, so a call never starts with a dying one.
constexpr int kFreshnessMarginSeconds = 60;

QByteArray encode(const DropboxAccount::Tokens& t)
{
    QJsonObject o;
    o[QStringLiteral("access_token")] = t.accessToken;
    o[QStringLiteral("refresh_token")] = t.refreshToken;
    o[QStringLiteral("account_id")] = t.accountId;
    if (t.expiresAt.isValid())
        o[QStringLiteral("expires_at")] = t.expiresAt.toSecsSinceEpoch();
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

DropboxAccount::Tokens decode(const QString& text)
{
    DropboxAccount::Tokens t;
    const QJsonObject o = QJsonDocument::fromJson(text.toUtf8()).object();
    t.accessToken = o.value(QStringLiteral("access_token")).toString();
    t.refreshToken = o.value(QStringLiteral("refresh_token")).toString();
    t.accountId = o.value(QStringLiteral("account_id")).toString();
    if (o.contains(QStringLiteral("expires_at")))
        t.expiresAt = QDateTime::fromSecsSinceEpoch(o.value(QStringLiteral("expires_at")).toInteger());
    return t;
}
}  // namespace

DropboxAccount::DropboxAccount(QObject* parent) : QObject(parent) {}

void DropboxAccount::load(std::function<void()> done)
{
    const QString envToken = DropboxConfig::environmentToken();
    if (!envToken.isEmpty()) {
        mTokens = Tokens{envToken, {}, {}, {}};
        mFromEnvironment = true;
        mLoaded = true;
        if (done)
            done();
        return;
    }
    platform::SecretStore::read(kSecretKey, this, [this, done](const platform::SecretStore::Result& result) {
        if (result.ok)
            mTokens = decode(result.value);
        else if (!result.notFound)
            platform::log(QStringLiteral("Dropbox: could not read the sign-in from the secret store: %1").arg(result.error));
        mLoaded = true;
        emit linkedChanged(isLinked());
        if (done)
            done();
    });
}

void DropboxAccount::loadSync()
{
    bool finished = false;
    load([&finished] { finished = true; });
    while (!finished)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

bool DropboxAccount::tokenIsFresh() const
{
    if (mTokens.accessToken.isEmpty())
        return false;
    return !mTokens.expiresAt.isValid()
           || QDateTime::currentDateTimeUtc().addSecs(kFreshnessMarginSeconds) < mTokens.expiresAt;
}

DropboxError DropboxAccount::notLinkedError()
{
    return DropboxError::make(DropboxError::Kind::NotLinked,
                              QStringLiteral("Dropbox is not linked. Link your Dropbox account and try again."));
}

void DropboxAccount::refresh(QNetworkAccessManager* network, std::function<void(const DropboxError&)> done)
{
    if (!canRefresh()) {
        done(notLinkedError());
        return;
    }
    mRefreshWaiters.append(std::move(done));
    if (mRefreshWaiters.size() > 1)
        return;  // one renewal at a time; the others wait for its answer
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("refresh_token"));
    form.addQueryItem(QStringLiteral("refresh_token"), mTokens.refreshToken);
    form.addQueryItem(QStringLiteral("client_id"), DropboxConfig::appKey());
    QNetworkRequest request(QUrl(DropboxConfig::apiUrl() + QStringLiteral("/oauth2/token")));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/x-www-form-urlencoded"));
    QNetworkReply* reply = network->post(request, form.toString(QUrl::FullyEncoded).toUtf8());
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        reply->deleteLater();
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        const QJsonObject answer = QJsonDocument::fromJson(reply->readAll()).object();
        if (status == 200 && !answer.value(QStringLiteral("access_token")).toString().isEmpty()) {
            mTokens.accessToken = answer.value(QStringLiteral("access_token")).toString();
            const qint64 expiresIn = answer.value(QStringLiteral("expires_in")).toInteger();
            mTokens.expiresAt = expiresIn > 0 ? QDateTime::currentDateTimeUtc().addSecs(expiresIn) : QDateTime();
            platform::log(QStringLiteral("Dropbox: access token renewed"));
            storeTokens(mTokens, [](const QString&) {});
            finishRefresh({});
            return;
        }
        if (status == 400 || status == 401) {
            // invalid_grant: the refresh token was revoked or expired.
            platform::log(QStringLiteral("Dropbox: the sign-in was refused (%1); link the account again")
                              .arg(answer.value(QStringLiteral("error")).toString()));
            tokenRejected();
            finishRefresh(DropboxError::make(DropboxError::Kind::NotLinked,
                                             QStringLiteral("Dropbox refused this computer's sign-in. Link your "
                                                            "Dropbox account again.")));
            return;
        }
        const QString why = reply->error() != QNetworkReply::NoError ? reply->errorString()
                                                                      : QStringLiteral("HTTP %1").arg(status);
        finishRefresh(DropboxError::make(status >= 500 ? DropboxError::Kind::Server : DropboxError::Kind::Network, why,
                                         status));
    });
}

void DropboxAccount::finishRefresh(const DropboxError& error)
{
    const auto waiters = std::exchange(mRefreshWaiters, {});
    for (const auto& waiter : waiters)
        waiter(error);
}

void DropboxAccount::storeTokens(const Tokens& tokens, std::function<void(const QString&)> done)
{
    mTokens = tokens;
    mFromEnvironment = false;
    emit linkedChanged(isLinked());
    platform::SecretStore::write(kSecretKey, QString::fromUtf8(encode(tokens)), this,
                                 [done](const platform::SecretStore::Result& result) {
                                     if (!result.ok)
                                         platform::log(QStringLiteral("Dropbox: could not keep the sign-in in the "
                                                                      "secret store: %1")
                                                           .arg(result.error));
                                     done(result.ok ? QString() : result.error);
                                 });
}

void DropboxAccount::unlink(QNetworkAccessManager* network, std::function<void()> done)
{
    const QString token = mTokens.accessToken;
    // Done once the sign-in is out of the secret store and Dropbox answered: a program that
    // exits then must not leave the sign-in behind.
    auto pending = std::make_shared<int>(2);
    auto step = [pending, done] {
        if (--*pending == 0 && done)
            done();
    };
    forget(step);
    if (token.isEmpty() || mFromEnvironment) {
        step();
        return;
    }
    // Revoking is a courtesy: the account is unlinked here whatever Dropbox answers.
    QNetworkRequest request(QUrl(DropboxConfig::apiUrl() + QStringLiteral("/2/auth/token/revoke")));
    request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    QNetworkReply* reply = network->post(request, QByteArray());
    connect(reply, &QNetworkReply::finished, this, [reply, step] {
        reply->deleteLater();
        step();
    });
}

void DropboxAccount::tokenRejected() { forget(); }

void DropboxAccount::forget(std::function<void()> removed)
{
    const bool was = isLinked();
    const bool stored = !mFromEnvironment;
    mTokens = {};
    if (stored) {
        platform::SecretStore::remove(kSecretKey, this, [removed](const platform::SecretStore::Result& result) {
            if (!result.ok && !result.notFound)
                platform::log(QStringLiteral("Dropbox: could not remove the sign-in from the secret store: %1")
                                  .arg(result.error));
            if (removed)
                removed();
        });
    } else if (removed) {
        removed();
    }
    if (was)
        emit linkedChanged(false);
}

}  // namespace cloud
