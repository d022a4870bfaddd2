#pragma once
#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QString>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

// Who may use a drive that has a password: browsers that logged in on the login page carry a
// session cookie; programs send the password by HTTP authentication (any user name). The
// password itself is never kept, only its slow hash; a client that guesses wrong too often
// waits a minute. Sessions last kSessionDays and, with a store, outlive the server: the store
// is a file only its owner may read, holding each session's expiry and a digest of its token
// (never the token), with the password's hash they belong to. Safe from any thread.
class WebSessions {
public:
    static constexpr const char* kCookieName = "wl_session";
    static constexpr int kMaxFailures = 8;            // wrong passwords per client ...
    static constexpr int kFailureWindowSeconds = 60;  // ... within this time
    static constexpr int kMaxSessions = 512;
    static constexpr int kSessionDays = 30;

    // Where sessions are kept across restarts; set before the password. Empty: memory only.
    void setStore(const QString& path);
    // The hash kept with the stored sessions when password matches it, else empty: the same
    // password given again after a restart keeps its sessions.
    QString storedHashFor(const QByteArray& password) const;
    // A hash from platform::PasswordHash; empty: no password. Another hash than the stored
    // sessions' ends them.
    void setPasswordHash(const QString& hash);
    bool hasPassword() const;

    // True when the request's Cookie or Authorization header lets it in (or there is no password).
    // A wrong password counts as a failure of client.
    bool admits(const QString& client, const QByteArray& cookieHeader, const QByteArray& authorization);
    enum class Login { Accepted, Wrong, TooMany };
    // Checks a password from the login page or HTTP authentication; on success *cookie is the
    // Set-Cookie value of a new session (secure: HTTPS only).
    Login logIn(const QString& client, const QByteArray& password, bool secure, QByteArray* cookie);
    // Too many wrong passwords from client lately.
    bool blocked(const QString& client);
    // Ends the sessions the Cookie header names, here and in the store; *cookie is the
    // Set-Cookie value that makes the browser forget its token.
    void logOut(const QByteArray& cookieHeader, bool secure, QByteArray* cookie);

private:
    struct Session {
        QByteArray digest;  // SHA-256 of the token, hex
        qint64 expires = 0;  // seconds since the epoch
    };
    void noteFailure(const QString& client);
    bool sessionIn(const QByteArray& cookieHeader) const;
    static QList<QByteArray> tokensIn(const QByteArray& cookieHeader);
    // The store's hash and its sessions still valid; nullopt when there is no trustworthy store.
    std::optional<std::pair<QString, std::deque<Session>>> load() const;
    void save() const;  // with mMutex held

    mutable std::mutex mMutex;
    QString mStore;
    QString mHash;
    QByteArray mAcceptedAuthorization;  // the last header that matched: not hashed again per request
    std::deque<Session> mSessions;      // oldest first
    QHash<QString, std::deque<QDateTime>> mFailures;
};
