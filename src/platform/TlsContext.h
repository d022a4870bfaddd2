#pragma once
#include <QString>
#include <QStringList>
#include <memory>

typedef struct ssl_ctx_st SSL_CTX;

namespace platform {

// A TLS server context over one certificate and its key (OpenSSL), TLS 1.2 and later.
class TlsContext {
public:
    // Loads the PEM certificate and key; when neither exists yet, first makes a self-signed
    // certificate for names (DNS names or IP literals), valid for ten years, the key readable
    // by its owner alone. Null, logged, when that fails.
    static std::shared_ptr<TlsContext> loadOrCreate(const QString& certificatePath, const QString& keyPath,
                                                    const QStringList& names);
    ~TlsContext();
    TlsContext(const TlsContext&) = delete;
    TlsContext& operator=(const TlsContext&) = delete;

    SSL_CTX* native() const { return mContext; }
    // The certificate's SHA-256 fingerprint as "AB:CD:...", for people to compare.
    const QString& fingerprint() const { return mFingerprint; }

private:
    TlsContext(SSL_CTX* context, QString fingerprint) : mContext(context), mFingerprint(std::move(fingerprint)) {}
    SSL_CTX* mContext;
    QString mFingerprint;
};

}  // namespace platform
