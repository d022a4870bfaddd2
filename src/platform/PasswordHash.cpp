#include "platform/PasswordHash.h"
#include "platform/PasswordHashText.h"

#include <QRandomGenerator>
#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace platform::PasswordHash {
namespace {

constexpr int kIterations = 100000;  // with the drive's limit on guesses
constexpr int kSaltBytes = 16;

QByteArray derive(const QByteArray& password, const QByteArray& salt, int iterations)
{
    QByteArray out(kHashBytes, '\0');
    if (PKCS5_PBKDF2_HMAC(password.constData(), int(password.size()), reinterpret_cast<const unsigned char*>(salt.constData()),
                          int(salt.size()), iterations, EVP_sha256(), kHashBytes,
                          reinterpret_cast<unsigned char*>(out.data())) != 1)
        return {};
    return out;
}

}  // namespace

QString make(const QByteArray& password)
{
    QByteArray salt(kSaltBytes, '\0');
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(salt.data()), kSaltBytes / 4);
    return QStringLiteral("%1$%2$%3$%4")
        .arg(kHashScheme)
        .arg(kIterations)
        .arg(QString::fromLatin1(salt.toBase64()), QString::fromLatin1(derive(password, salt, kIterations).toBase64()));
}

bool verify(const QByteArray& password, const QString& stored)
{
    const std::optional<Parts> p = parseHashText(stored);
    if (!p)
        return false;
    const QByteArray given = derive(password, p->salt, p->iterations);
    return given.size() == kHashBytes && CRYPTO_memcmp(given.constData(), p->hash.constData(), kHashBytes) == 0;
}

}  // namespace platform::PasswordHash
