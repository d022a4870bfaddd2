#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <memory>

namespace platform {

// SHA-256 through the system's cryptography library, several times faster than Qt's own on
// the gigabytes a transfer hashes.
class Sha256 {
public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void addData(QByteArrayView bytes);
    // The 32-byte digest; the hash starts again afterwards.
    QByteArray result();
    void reset();

private:
    struct Context;
    std::unique_ptr<Context> mContext;
};

}  // namespace platform
