#include "wifidrive/WebSessions.h"

#include "platform/Log.h"
#include "platform/PasswordHash.h"
#include "platform/Sha256.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

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

QByteArray digestOf(const QByteArray& token)
{
    platform::Sha256 sha;
    sha.addData(token);
    return sha.result().toHex();
}

qint64 now() { return QDateTime::currentSecsSinceEpoch(); }

}  // namespace

void WebSessions::setStore(const QString& path)
{
    std::lock_guard lock(mMutex);
    mStore = path;
}

std::optional<std::pair<QString, std::deque<WebSessions::Session>>> WebSessions::load() const
{
    if (mStore.isEmpty())
        return std::nullopt;
    const int fd = ::open(QFile::encodeName(mStore).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    QFile file;
    struct stat st {};
    // Only a file of ours that no one else could have read or written.
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != ::geteuid() || (st.st_mode & 077) != 0
        || st.st_size > (1 << 20) || !file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return std::nullopt;
    }
    const QList<QByteArray> lines = file.readAll().split('\n');
    std::pair<QString, std::deque<Session>> stored{QString::fromUtf8(lines.value(0)), {}};
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QList<QByteArray> fields = lines[i].split(' ');
        bool ok = false;
        const qint64 expires = fields.value(0).toLongLong(&ok);
        if (ok && fields.size() == 2 && fields[1].size() == 64 && expires > now())
            stored.second.push_back({fields[1], expires});
    }
    return stored;
}

void WebSessions::save() const
{
    if (mStore.isEmpty())
        return;
    QDir().mkpath(QFileInfo(mStore).path());
    QByteArray text = mHash.toUtf8() + '\n';
    for (const Session& s : mSessions)
        text += QByteArray::number(s.expires) + ' ' + s.digest + '\n';
    // Written aside, private from its first byte, then put in place whole.
    const QByteArray aside = QFile::encodeName(mStore) + ".new-" + newToken().left(16);
    const int fd = ::open(aside.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    bool written = fd >= 0;
    for (qsizetype at = 0; written && at < text.size();) {
        const ssize_t n = ::write(fd, text.constData() + at, size_t(text.size() - at));
        if (n < 0 && errno == EINTR)
            continue;
        written = n > 0;
        at += n > 0 ? n : 0;
    }
    written = written && ::fsync(fd) == 0;
    if (fd >= 0)
        ::close(fd);
    if (!written || ::rename(aside.constData(), QFile::encodeName(mStore).constData()) != 0) {
        ::unlink(aside.constData());
        platform::log(QStringLiteral("Could not keep the WiFi drive's sessions in %1").arg(mStore));
    }
}

QString WebSessions::storedHashFor(const QByteArray& password) const
{
    std::optional<std::pair<QString, std::deque<Session>>> stored;
    {
        std::lock_guard lock(mMutex);
        stored = load();
    }
    return stored && !stored->first.isEmpty() && platform::PasswordHash::verify(password, stored->first) ? stored->first
                                                                                                          : QString();
}

void WebSessions::setPasswordHash(const QString& hash)
{
    std::lock_guard lock(mMutex);
    if (hash == mHash)
        return;
    mHash = hash;
    mAcceptedAuthorization.clear();
    mSessions.clear();
    // The sessions of this password live on; a new password (or none) logs everyone out.
    const auto stored = load();
    if (stored && !hash.isEmpty() && stored->first == hash) {
        mSessions = stored->second;
        return;
    }
    if (stored || !hash.isEmpty())
        save();
}

bool WebSessions::hasPassword() const
{
    std::lock_guard lock(mMutex);
    return !mHash.isEmpty();
}

QList<QByteArray> WebSessions::tokensIn(const QByteArray& cookieHeader)
{
    const QByteArray prefix = QByteArray(kCookieName) + '=';
    QList<QByteArray> tokens;
    for (const QByteArray& part : cookieHeader.split(';')) {
        const QByteArray cookie = part.trimmed();
        if (cookie.startsWith(prefix))
            tokens << cookie.mid(prefix.size());
    }
    return tokens;
}

bool WebSessions::sessionIn(const QByteArray& cookieHeader) const
{
    const qint64 at = now();
    for (const QByteArray& token : tokensIn(cookieHeader)) {
        const QByteArray digest = digestOf(token);
        if (std::any_of(mSessions.begin(), mSessions.end(),
                        [&](const Session& s) { return s.expires > at && sameBytes(s.digest, digest); }))
            return true;
    }
    return false;
}

void WebSessions::logOut(const QByteArray& cookieHeader, bool secure, QByteArray* cookie)
{
    {
        std::lock_guard lock(mMutex);
        bool ended = false;
        for (const QByteArray& token : tokensIn(cookieHeader)) {
            const QByteArray digest = digestOf(token);
            const auto gone = std::remove_if(mSessions.begin(), mSessions.end(),
                                             [&](const Session& s) { return sameBytes(s.digest, digest); });
            ended = ended || gone != mSessions.end();
            mSessions.erase(gone, mSessions.end());
        }
        if (ended)
            save();
    }
    *cookie = QByteArray(kCookieName) + "=; Path=/; Max-Age=0; HttpOnly; SameSite=Strict" + (secure ? "; Secure" : "");
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
        const qint64 at = now();
        while (!mSessions.empty() && (int(mSessions.size()) >= kMaxSessions || mSessions.front().expires <= at))
            mSessions.pop_front();
        mSessions.push_back({digestOf(token), at + qint64(kSessionDays) * 86400});
        save();
    }
    *cookie = QByteArray(kCookieName) + '=' + token + "; Path=/; Max-Age=" + QByteArray::number(qint64(kSessionDays) * 86400)
              + "; HttpOnly; SameSite=Strict" + (secure ? "; Secure" : "");
    return Login::Accepted;
}
