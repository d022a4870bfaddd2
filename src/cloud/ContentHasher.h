#pragma once
#include "platform/Sha256.h"

#include <QByteArray>
#include <QString>
#include <atomic>

namespace cloud {

// Dropbox's content hash, fed in pieces of any size: SHA-256 of every 4 MiB block, then
// SHA-256 of those block hashes put together, in lower-case hex.
class ContentHasher {
public:
    static constexpr qint64 kBlockSize = 4 * 1024 * 1024;

    void addData(const char* data, qint64 size);
    void addData(const QByteArray& bytes) { addData(bytes.constData(), bytes.size()); }
    QString result();  // ends the hash; reset() before reuse
    void reset();

    // The hash of a whole file; empty when it cannot be read or stop was set on the way.
    static QString hashOfFile(const QString& path, const std::atomic<bool>* stop = nullptr);

private:
    platform::Sha256 mBlock;
    platform::Sha256 mOverall;
    qint64 mInBlock = 0;
};

}  // namespace cloud
