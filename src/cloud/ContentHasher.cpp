#include "cloud/ContentHasher.h"

#include <QFile>

namespace cloud {
namespace {
constexpr qint64 kReadBytes = 64 * 1024;
}

void ContentHasher::addData(const char* data, qint64 size)
{
    while (size > 0) {
        const qint64 take = qMin(size, kBlockSize - mInBlock);
        mBlock.addData(QByteArrayView(data, take));
        mInBlock += take;
        data += take;
        size -= take;
        if (mInBlock == kBlockSize) {
            mOverall.addData(mBlock.result());
            mInBlock = 0;
        }
    }
}

QString ContentHasher::result()
{
    if (mInBlock > 0) {
        mOverall.addData(mBlock.result());
        mInBlock = 0;
    }
    return QString::fromLatin1(mOverall.result().toHex());
}

void ContentHasher::reset()
{
    mBlock.reset();
    mOverall.reset();
    mInBlock = 0;
}

QString ContentHasher::hashOfFile(const QString& path, const std::atomic<bool>* stop)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    ContentHasher hasher;
    // Small pieces stay in the processor's cache, and a buffer this size is taken from and given
    // back to the heap of whichever thread runs this, instead of settling in it.
    char buffer[kReadBytes];
    for (;;) {
        if (stop && stop->load(std::memory_order_relaxed))
            return {};
        const qint64 got = file.read(buffer, kReadBytes);
        if (got < 0)
            return {};
        if (got == 0)
            break;
        hasher.addData(buffer, got);
    }
    return hasher.result();
}

}  // namespace cloud
