#include "platform/PasswordHash.h"
#include "platform/PasswordHashText.h"

#include <QStringList>

namespace platform::PasswordHash {

std::optional<Parts> parseHashText(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char('$'));
    if (parts.size() != 4 || parts[0] != kHashScheme)
        return std::nullopt;
    bool ok = false;
    Parts p;
    p.iterations = parts[1].toInt(&ok);
    p.salt = QByteArray::fromBase64(parts[2].toLatin1());
    p.hash = QByteArray::fromBase64(parts[3].toLatin1());
    if (!ok || p.iterations < 1 || p.iterations > kMaxIterations || p.salt.isEmpty() || p.hash.size() != kHashBytes)
        return std::nullopt;
    return p;
}

bool isHash(const QString& text) { return parseHashText(text).has_value(); }

}  // namespace platform::PasswordHash
