#include "cloud/ContentHasher.h"

#include <QFile>

namespace cloud {

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

QString ContentHasher::hashOfFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    ContentHasher hasher;
    QByteArray buffer(1024 * 1024, Qt::Uninitialized);
    for (;;) {
        const qint64 got = file.read(buffer.data(), buffer.size());
        if (got < 0)
            return {};
        if (got == 0)
            break;
        hasher.addData(buffer.constData(), got);
    }
    return hasher.result();
}

}  // namespace cloud
