#pragma once
#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QString>
#include <deque>
#include <mutex>

// Who may use a drive that has a password: browsers that logged in on the login page carry a
// session cookie; programs send the password by HTTP authentication (any user name). The
// password itself is never kept, only its slow hash; a client that guesses wrong too often
// waits a minute. Safe from any thread.
class WebSessions {
public:
    static constexpr const char* kCookieName = "wl_session";
    static constexpr int kMaxFailures = 8;            // wrong passwords per client ...
    static constexpr int kFailureWindowSeconds = 60;  // ... within this time
    static constexpr int kMaxSessions = 512;

    // A hash from platform::PasswordHash; empty: no password.
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

private:
    void noteFailure(const QString& client);
    bool sessionIn(const QByteArray& cookieHeader) const;

    mutable std::mutex mMutex;
    QString mHash;
    QByteArray mAcceptedAuthorization;  // the last header that matched: not hashed again per request
    std::deque<QByteArray> mSessions;   // oldest first
    QHash<QString, std::deque<QDateTime>> mFailures;
};
