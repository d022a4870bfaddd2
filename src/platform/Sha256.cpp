#include "platform/Sha256.h"

#include <openssl/evp.h>

namespace platform {

struct Sha256::Context {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    ~Context() { EVP_MD_CTX_free(ctx); }
};

Sha256::Sha256() : mContext(std::make_unique<Context>()) { reset(); }

Sha256::~Sha256() = default;

void Sha256::reset() { EVP_DigestInit_ex(mContext->ctx, EVP_sha256(), nullptr); }

void Sha256::addData(QByteArrayView bytes)
{
    if (!bytes.isEmpty())
        EVP_DigestUpdate(mContext->ctx, bytes.data(), size_t(bytes.size()));
}

QByteArray Sha256::result()
{
    QByteArray digest(32, Qt::Uninitialized);
    unsigned int length = 0;
    EVP_DigestFinal_ex(mContext->ctx, reinterpret_cast<unsigned char*>(digest.data()), &length);
    digest.resize(int(length));
    reset();
    return digest;
}

}  // namespace platform
