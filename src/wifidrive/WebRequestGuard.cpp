#include "wifidrive/WebRequestGuard.h"

#include <QUrl>
#include <arpa/inet.h>

namespace WebRequestGuard {
namespace {

// "host[:port]" as given, with the default port spelled out, for comparing two authorities.
std::optional<QString> normalAuthority(const QByteArray& authority, bool secure)
{
    const QString host = hostOf(authority);
    if (host.isEmpty())
        return std::nullopt;
    const QString text = QString::fromLatin1(authority).trimmed();
    const qsizetype close = text.lastIndexOf(QLatin1Char(']'));
    const qsizetype colon = text.lastIndexOf(QLatin1Char(':'));
    QString port = secure ? QStringLiteral("443") : QStringLiteral("80");
    if (colon > close && colon >= 0) {
        bool ok = false;
        const int number = text.mid(colon + 1).toInt(&ok);
        if (!ok || number <= 0 || number > 65535)
            return std::nullopt;
        port = QString::number(number);
    }
    return host + QLatin1Char(':') + port;
}

}  // namespace

QString hostOf(const QByteArray& authority)
{
    QString text = QString::fromLatin1(authority).trimmed().toLower();
    if (text.isEmpty() || text.contains(QLatin1Char('/')) || text.contains(QLatin1Char('@'))
        || text.contains(QLatin1Char(' ')))
        return {};
    if (text.startsWith(QLatin1Char('['))) {
        const qsizetype close = text.indexOf(QLatin1Char(']'));
        if (close < 0)
            return {};
        const QString rest = text.mid(close + 1);
        if (!rest.isEmpty() && !rest.startsWith(QLatin1Char(':')))
            return {};
        return text.left(close + 1);
    }
    const qsizetype colon = text.indexOf(QLatin1Char(':'));
    if (colon >= 0)
        text.truncate(colon);
    while (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

bool isIpLiteral(const QString& host)
{
    const QString& address = host;
    if (address.startsWith(QLatin1Char('[')) && address.endsWith(QLatin1Char(']'))) {
        in6_addr parsed{};
        return ::inet_pton(AF_INET6, address.mid(1, address.size() - 2).toLatin1().constData(), &parsed) == 1;
    }
    // Only the dotted form of four numbers: "0x7f.1" or "2130706433" are names to a browser's resolver.
    const QStringList parts = address.split(QLatin1Char('.'));
    if (parts.size() != 4)
        return false;
    for (const QString& part : parts) {
        bool ok = false;
        const int value = part.toInt(&ok, 10);
        if (!ok || part.isEmpty() || part.size() > 3 || value < 0 || value > 255 || !part.front().isDigit())
            return false;
    }
    return true;
}

bool hostAllowed(const QByteArray& hostHeader, const QStringList& ownNames)
{
    const QString host = hostOf(hostHeader);
    if (host.isEmpty())
        return false;
    if (isIpLiteral(host) || host == QLatin1String("localhost"))
        return true;
    for (QString name : ownNames) {
        name = name.toLower();
        while (name.endsWith(QLatin1Char('.')))
            name.chop(1);
        if (!name.isEmpty() && host == name)
            return true;
    }
    return false;
}

bool sameOrigin(const QByteArray& hostHeader, const QByteArray& origin, const QByteArray& referer, bool secure)
{
    const QByteArray source = origin.isEmpty() ? referer : origin;
    if (source.isEmpty())
        return true;
    const QUrl url(QString::fromLatin1(source.trimmed()), QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != (secure ? QLatin1String("https") : QLatin1String("http")) || url.host().isEmpty() || !url.userInfo().isEmpty())
        return false;
    const QByteArray authority = url.authority(QUrl::FullyEncoded).toLatin1();
    const std::optional<QString> theirs = normalAuthority(authority, secure);
    const std::optional<QString> ours = normalAuthority(hostHeader, secure);
    return theirs && ours && *theirs == *ours;
}

}  // namespace WebRequestGuard
