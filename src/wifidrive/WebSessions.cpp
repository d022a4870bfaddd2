#include "wifidrive/WebSessions.h"

#include "platform/PasswordHash.h"

#include <QRandomGenerator>
#include <algorithm>
#include <optional>

namespace {

constexpr int kTokenBytes = 32;

bool sameBytes(const QByteArray& a, const QByteArray& b)
{
    if (a.size() != b.size())
        return false;
    unsigned char difference = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

QByteArray newToken()
{
    QByteArray bytes(kTokenBytes, '\0');
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(bytes.data()), kTokenBytes / 4);
    return bytes.toHex();
}

// The password of an "Authorization: Basic" header; empty when it is none.
std::optional<QByteArray> basicPassword(const QByteArray& authorization)
{
    const QByteArray value = authorization.trimmed();
    if (value.size() < 6 || qstrnicmp(value.constData(), "basic ", 6) != 0)
        return std::nullopt;
    const QByteArray decoded = QByteArray::fromBase64(value.mid(6).trimmed());
    const qsizetype colon = decoded.indexOf(':');
    if (colon < 0)
        return std::nullopt;
    return decoded.mid(colon + 1);
}

}  // namespace

void WebSessions::setPasswordHash(const QString& hash)
{
    std::lock_guard lock(mMutex);
    if (hash == mHash)
        return;
    // A new password logs everyone out.
    mHash = hash;
    mAcceptedAuthorization.clear();
    mSessions.clear();
}

bool WebSessions::hasPassword() const
{
    std::lock_guard lock(mMutex);
    return !mHash.isEmpty();
}

bool WebSessions::sessionIn(const QByteArray& cookieHeader) const
{
    const QByteArray prefix = QByteArray(kCookieName) + '=';
    for (const QByteArray& part : cookieHeader.split(';')) {
        const QByteArray cookie = part.trimmed();
        if (!cookie.startsWith(prefix))
            continue;
        const QByteArray token = cookie.mid(prefix.size());
        if (std::any_of(mSessions.begin(), mSessions.end(), [&](const QByteArray& s) { return sameBytes(s, token); }))
            return true;
    }
    return false;
}

bool WebSessions::admits(const QString& client, const QByteArray& cookieHeader, const QByteArray& authorization)
{
    QString hash;
    {
        std::lock_guard lock(mMutex);
        if (mHash.isEmpty() || sessionIn(cookieHeader))
            return true;
        if (authorization.isEmpty())
            return false;
        if (!mAcceptedAuthorization.isEmpty() && sameBytes(authorization, mAcceptedAuthorization))
            return true;
        hash = mHash;
    }
    if (blocked(client))
        return false;
    const std::optional<QByteArray> password = basicPassword(authorization);
    if (!password)
        return false;
    if (!platform::PasswordHash::verify(*password, hash)) {
        noteFailure(client);
        return false;
    }
    std::lock_guard lock(mMutex);
    if (mHash == hash)
        mAcceptedAuthorization = authorization;
    return true;
}

bool WebSessions::blocked(const QString& client)
{
    std::lock_guard lock(mMutex);
    auto it = mFailures.find(client);
    if (it == mFailures.end())
        return false;
    const QDateTime since = QDateTime::currentDateTimeUtc().addSecs(-kFailureWindowSeconds);
    while (!it->empty() && it->front() < since)
        it->pop_front();
    if (it->empty()) {
        mFailures.erase(it);
        return false;
    }
    return int(it->size()) >= kMaxFailures;
}

void WebSessions::noteFailure(const QString& client)
{
    std::lock_guard lock(mMutex);
    mFailures[client].push_back(QDateTime::currentDateTimeUtc());
}

WebSessions::Login WebSessions::logIn(const QString& client, const QByteArray& password, bool secure, QByteArray* cookie)
{
    if (blocked(client))
        return Login::TooMany;
    QString hash;
    {
        std::lock_guard lock(mMutex);
        hash = mHash;
    }
    if (!hash.isEmpty() && !platform::PasswordHash::verify(password, hash)) {
        noteFailure(client);
        return Login::Wrong;
    }
    const QByteArray token = newToken();
    {
        std::lock_guard lock(mMutex);
        mSessions.push_back(token);
        while (int(mSessions.size()) > kMaxSessions)
            mSessions.pop_front();
    }
    *cookie = QByteArray(kCookieName) + '=' + token + "; Path=/; HttpOnly; SameSite=Strict" + (secure ? "; Secure" : "");
    return Login::Accepted;
}
