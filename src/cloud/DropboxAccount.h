#pragma once
#include "cloud/DropboxError.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <functional>

class QNetworkAccessManager;

namespace cloud {

// The linked Dropbox account: its short-lived access token and the refresh token that renews
// it, kept in the desktop's secret store and nowhere else. WAVELOCKER_DROPBOX_TOKEN takes the
// place of a linked account (it cannot be renewed). One per program, made by its owner.
class DropboxAccount : public QObject {
    Q_OBJECT
public:
    struct Tokens {
        QString accessToken;
        QString refreshToken;
        QDateTime expiresAt;  // invalid: never expires
        QString accountId;
    };

    explicit DropboxAccount(QObject* parent = nullptr);

    // Reads the stored sign-in; done runs once it is known whether the account is linked.
    void load(std::function<void()> done = {});
    void loadSync();
    bool isLoaded() const { return mLoaded; }

    bool isLinked() const { return !mTokens.accessToken.isEmpty() || !mTokens.refreshToken.isEmpty(); }
    bool usesEnvironmentToken() const { return mFromEnvironment; }
    QString accountId() const { return mTokens.accountId; }
    QString accessToken() const { return mTokens.accessToken; }
    // Whether the access token is still good for a while (no renewal needed first).
    bool tokenIsFresh() const;
    bool canRefresh() const { return !mTokens.refreshToken.isEmpty(); }

    // Renews the access token with the refresh token; calls made meanwhile share the answer.
    // A refused refresh token (revoked) unlinks the account and answers NotLinked.
    void refresh(QNetworkAccessManager* network, std::function<void(const DropboxError&)> done);
    // Keeps a new sign-in; done gets an empty string, or why the secret store refused it.
    void storeTokens(const Tokens& tokens, std::function<void(const QString& error)> done);
    // Revokes the token at Dropbox (when it can) and forgets it here.
    void unlink(QNetworkAccessManager* network, std::function<void()> done = {});
    // Dropbox refused the token: forget it, so the next use asks to link again.
    void tokenRejected();

    static DropboxError notLinkedError();

signals:
    void linkedChanged(bool linked);

private:
    void forget(std::function<void()> removed = {});
    void finishRefresh(const DropboxError& error);

    Tokens mTokens;
    bool mLoaded = false;
    bool mFromEnvironment = false;
    QList<std::function<void(const DropboxError&)>> mRefreshWaiters;
};

}  // namespace cloud
