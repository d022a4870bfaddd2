#pragma once
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>

// Which requests may reach the drive at all. A web page the user has open elsewhere must not
// change the library (its requests carry a foreign Origin), nor read it through a name of its
// own that resolves to this machine (its requests carry a foreign Host).
namespace WebRequestGuard {

// The host part of a Host header or of an origin's authority, lower case, without port or
// the trailing point; IPv6 literals keep their brackets. Empty when malformed.
QString hostOf(const QByteArray& authority);
bool isIpLiteral(const QString& host);

// True when host names this machine: an IP literal, "localhost", or one of ownNames (the
// machine's name, with and without ".local").
bool hostAllowed(const QByteArray& hostHeader, const QStringList& ownNames);

// For requests that change something: the Origin header, or without it the Referer, must be
// the address the request was sent to ("http://" + Host, "https://" when secure). Requests with
// neither come from programs, not from pages, and pass.
bool sameOrigin(const QByteArray& hostHeader, const QByteArray& origin, const QByteArray& referer, bool secure = false);

}  // namespace WebRequestGuard
