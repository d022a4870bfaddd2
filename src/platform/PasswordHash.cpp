#include "platform/PasswordHash.h"

#include <QRandomGenerator>
#include <QStringList>
#include <optional>
#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace platform::PasswordHash {
namespace {

const QString kScheme = QStringLiteral("pbkdf2-sha256");
constexpr int kIterations = 100000;  // with the drive's limit on guesses
constexpr int kMaxIterations = 10000000;
constexpr int kSaltBytes = 16;
constexpr int kHashBytes = 32;

QByteArray derive(const QByteArray& password, const QByteArray& salt, int iterations)
{
    QByteArray out(kHashBytes, '\0');
    if (PKCS5_PBKDF2_HMAC(password.constData(), int(password.size()), reinterpret_cast<const unsigned char*>(salt.constData()),
                          int(salt.size()), iterations, EVP_sha256(), kHashBytes,
                          reinterpret_cast<unsigned char*>(out.data())) != 1)
        return {};
    return out;
}

struct Parts {
    int iterations = 0;
    QByteArray salt;
    QByteArray hash;
};

std::optional<Parts> parse(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char('$'));
    if (parts.size() != 4 || parts[0] != kScheme)
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

}  // namespace

QString make(const QByteArray& password)
{
    QByteArray salt(kSaltBytes, '\0');
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(salt.data()), kSaltBytes / 4);
    return QStringLiteral("%1$%2$%3$%4")
        .arg(kScheme)
        .arg(kIterations)
        .arg(QString::fromLatin1(salt.toBase64()), QString::fromLatin1(derive(password, salt, kIterations).toBase64()));
}

bool verify(const QByteArray& password, const QString& stored)
{
    const std::optional<Parts> p = parse(stored);
    if (!p)
        return false;
    const QByteArray given = derive(password, p->salt, p->iterations);
    return given.size() == kHashBytes && CRYPTO_memcmp(given.constData(), p->hash.constData(), kHashBytes) == 0;
}

bool isHash(const QString& text) { return parse(text).has_value(); }

}  // namespace platform::PasswordHash
