#include "platform/TlsContext.h"

#include "platform/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QSaveFile>
#include <memory>
#include <functional>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace platform {
namespace {

constexpr long kValidSeconds = 10L * 365 * 24 * 3600;
const char kCommonName[] = "Wavelocker WiFi Drive";

struct Free {
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
    void operator()(X509* p) const { X509_free(p); }
    void operator()(BIO* p) const { BIO_free(p); }
    void operator()(X509_EXTENSION* p) const { X509_EXTENSION_free(p); }
};
template <class T>
using Owned = std::unique_ptr<T, Free>;

QString lastError()
{
    char text[256] = {};
    ERR_error_string_n(ERR_get_error(), text, sizeof text);
    return QString::fromLatin1(text);
}

QByteArray pem(const std::function<int(BIO*)>& write)
{
    Owned<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio || write(bio.get()) != 1)
        return {};
    char* data = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &data);
    return QByteArray(data, qsizetype(length));
}

bool save(const QString& path, const QByteArray& bytes, QFileDevice::Permissions permissions)
{
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.setPermissions(permissions) && file.write(bytes) == bytes.size()
           && file.commit();
}

bool createSelfSigned(const QString& certificatePath, const QString& keyPath, const QStringList& names)
{
    Owned<EVP_PKEY> key(EVP_EC_gen("P-256"));
    Owned<X509> certificate(X509_new());
    if (!key || !certificate)
        return false;
    X509_set_version(certificate.get(), 2);
    // A random serial: browsers refuse two certificates of one issuer with the same serial.
    unsigned char serial[16];
    if (RAND_bytes(serial, sizeof serial) != 1)
        return false;
    serial[0] &= 0x7f;
    BIGNUM* number = BN_bin2bn(serial, sizeof serial, nullptr);
    BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate.get()));
    BN_free(number);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kValidSeconds);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME* subject = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(kCommonName), -1,
                               -1, 0);
    X509_set_issuer_name(certificate.get(), subject);
    QStringList alternatives;
    for (const QString& name : names) {
        if (name.isEmpty())
            continue;
        alternatives << (QHostAddress(name).isNull() ? QStringLiteral("DNS:") : QStringLiteral("IP:")) + name;
    }
    X509V3_CTX context;
    X509V3_set_ctx(&context, certificate.get(), certificate.get(), nullptr, nullptr, 0);
    const QByteArray subjectAlt = alternatives.join(QLatin1Char(',')).toUtf8();
    for (const auto& [nid, value] : {std::pair<int, QByteArray>{NID_subject_alt_name, subjectAlt},
                                     {NID_basic_constraints, "critical,CA:FALSE"},
                                     {NID_ext_key_usage, "serverAuth"}}) {
        if (value.isEmpty())
            continue;
        Owned<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value.constData()));
        if (!extension || X509_add_ext(certificate.get(), extension.get(), -1) != 1)
            return false;
    }
    if (X509_sign(certificate.get(), key.get(), EVP_sha256()) == 0)
        return false;
    const QByteArray keyPem = pem([&](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
    const QByteArray certificatePem = pem([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate.get()); });
    // The key first: a certificate without its key would never be replaced.
    return !keyPem.isEmpty() && !certificatePem.isEmpty()
           && save(keyPath, keyPem, QFileDevice::ReadOwner | QFileDevice::WriteOwner)
           && save(certificatePath, certificatePem, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther);
}

// Whether the certificate at path names every one of names (a changed address or host name
// would make browsers refuse it).
bool namesAll(const QString& path, const QStringList& names)
{
    Owned<BIO> bio(BIO_new_file(QFile::encodeName(path).constData(), "r"));
    Owned<X509> certificate(bio ? PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr) : nullptr);
    if (!certificate)
        return false;
    for (const QString& name : names) {
        if (name.isEmpty())
            continue;
        const QByteArray bytes = name.toUtf8();
        const bool named = QHostAddress(name).isNull()
                               ? X509_check_host(certificate.get(), bytes.constData(), size_t(bytes.size()), 0, nullptr) == 1
                               : X509_check_ip_asc(certificate.get(), bytes.constData(), 0) == 1;
        if (!named)
            return false;
    }
    return true;
}

QString fingerprintOf(X509* certificate)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (!certificate || X509_digest(certificate, EVP_sha256(), digest, &length) != 1)
        return {};
    return QByteArray(reinterpret_cast<const char*>(digest), int(length)).toHex(':').toUpper();
}

}  // namespace

std::shared_ptr<TlsContext> TlsContext::loadOrCreate(const QString& certificatePath, const QString& keyPath,
                                                     const QStringList& names)
{
    auto make = [&] {
        if (!createSelfSigned(certificatePath, keyPath, names)) {
            log(QStringLiteral("Could not make a certificate at %1: %2").arg(certificatePath, lastError()));
            return false;
        }
        log(QStringLiteral("Made a self-signed certificate at %1").arg(certificatePath));
        return true;
    };
    bool made = false;
    if (!QFileInfo::exists(certificatePath) && !QFileInfo::exists(keyPath)) {
        if (!(made = make()))
            return nullptr;
    } else if (!namesAll(certificatePath, names)) {
        log(QStringLiteral("The certificate at %1 does not name every address of this computer").arg(certificatePath));
        if (!(made = make()))
            return nullptr;
    }
    auto use = [&]() -> SSL_CTX* {
        SSL_CTX* context = SSL_CTX_new(TLS_server_method());
        if (!context)
            return nullptr;
        SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
        // Our sockets do not block: a write that is retried may come from another buffer address.
        SSL_CTX_set_mode(context, SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
        if (SSL_CTX_use_certificate_chain_file(context, QFile::encodeName(certificatePath).constData()) != 1
            || SSL_CTX_use_PrivateKey_file(context, QFile::encodeName(keyPath).constData(), SSL_FILETYPE_PEM) != 1
            || SSL_CTX_check_private_key(context) != 1) {
            log(QStringLiteral("Could not use the certificate %1: %2").arg(certificatePath, lastError()));
            SSL_CTX_free(context);
            return nullptr;
        }
        return context;
    };
    SSL_CTX* context = use();
    // A key and certificate that don't belong together (a write cut off between the two) are made again.
    if (!context && !made && make())
        context = use();
    if (!context)
        return nullptr;
    return std::shared_ptr<TlsContext>(new TlsContext(context, fingerprintOf(SSL_CTX_get0_certificate(context))));
}

TlsContext::~TlsContext() { SSL_CTX_free(mContext); }

}  // namespace platform
