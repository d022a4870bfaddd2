#include "exchange/PasteWav.h"

#include "platform/FileIO.h"
#include "platform/Log.h"

#include <QFile>
#include <QtEndian>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace PasteWav {
namespace {
constexpr int64_t kMaxTrailingBytes = 16 << 20;
constexpr uint16_t kFormatPCM = 1;
constexpr uint16_t kFormatExtensible = 0xFFFE;

}  // namespace

QByteArray createHeader(int channels, uint32_t dataSize)
{
    QByteArray h(kHeaderSize, '\0');
    char* p = h.data();
    std::memcpy(p, "RIFF", 4);
    qToLittleEndian<uint32_t>(dataSize + 36, p + 4);
    std::memcpy(p + 8, "WAVEfmt ", 8);
    qToLittleEndian<uint32_t>(16, p + 16);
    qToLittleEndian<uint16_t>(kFormatPCM, p + 20);
    qToLittleEndian<uint16_t>(uint16_t(channels), p + 22);
    qToLittleEndian<uint32_t>(kSampleRate, p + 24);
    qToLittleEndian<uint32_t>(uint32_t(channels) * 88200, p + 28);
    qToLittleEndian<uint16_t>(uint16_t(channels * 2), p + 32);
    qToLittleEndian<uint16_t>(16, p + 34);
    std::memcpy(p + 36, "data", 4);
    qToLittleEndian<uint32_t>(dataSize, p + 40);
    return h;
}

int64_t getDataOffset(const char* image, int64_t size)
{
    int64_t at = 12;
    while (at + 8 <= size) {
        uint32_t chunkSize = qFromLittleEndian<uint32_t>(image + at + 4);
        if (std::memcmp(image + at, "data", 4) == 0) {
            platform::log(QStringLiteral("we found the data chunk with size = %1\n").arg(int32_t(chunkSize)));
            return at + 8;
        }
        platform::log(QStringLiteral("seeking to next chunk"));
        at += 8 + int64_t(chunkSize) + (chunkSize & 1);
    }
    return -1;
}

// ---- WritableWav

std::unique_ptr<WritableWav> WritableWav::open(const QString& path)
{
    std::unique_ptr<WritableWav> wav(new WritableWav);
    wav->mPath = path;
    wav->mFd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CLOEXEC);
    if (wav->mFd < 0)
        return nullptr;
    struct stat st {};
    char head[12];
    if (::fstat(wav->mFd, &st) != 0 || !platform::preadAll(wav->mFd, head, 12, 0) || std::memcmp(head, "RIFF", 4) != 0
        || std::memcmp(head + 8, "WAVE", 4) != 0)
        return nullptr;
    const int64_t fileSize = st.st_size;
    bool haveFormat = false;
    int64_t at = 12;
    while (at + 8 <= fileSize) {
        char chunk[8];
        if (!platform::preadAll(wav->mFd, chunk, 8, at))
            return nullptr;
        const int64_t chunkSize = qFromLittleEndian<uint32_t>(chunk + 4);
        if (std::memcmp(chunk, "fmt ", 4) == 0 && chunkSize >= 16) {
            char fmt[16];
            if (!platform::preadAll(wav->mFd, fmt, 16, at + 8))
                return nullptr;
            const uint16_t tag = qFromLittleEndian<uint16_t>(fmt);
            wav->mChannels = qFromLittleEndian<uint16_t>(fmt + 2);
            const uint16_t bits = qFromLittleEndian<uint16_t>(fmt + 14);
            if ((tag != kFormatPCM && tag != kFormatExtensible) || bits != 16 || wav->mChannels < 1
                || wav->mChannels > 2)
                return nullptr;
            haveFormat = true;
        } else if (std::memcmp(chunk, "data", 4) == 0) {
            if (!haveFormat)
                return nullptr;
            wav->mDataOffset = at + 8;
            // A header left unfinished by a crash may claim more than the file holds.
            wav->mDataSize = std::min(chunkSize, fileSize - wav->mDataOffset) & ~int64_t(1);
            const int64_t dataEnd = wav->mDataOffset + chunkSize + (chunkSize & 1);
            if (dataEnd < fileSize) {
                if (fileSize - dataEnd > kMaxTrailingBytes)
                    return nullptr;
                wav->mTrailing.resize(qsizetype(fileSize - dataEnd));
                if (!platform::preadAll(wav->mFd, wav->mTrailing.data(), wav->mTrailing.size(), dataEnd))
                    return nullptr;
            }
            // The samples may grow over where the kept chunks were.
            if (::ftruncate(wav->mFd, wav->mDataOffset + wav->mDataSize) != 0)
                return nullptr;
            return wav;
        }
        at += 8 + chunkSize + (chunkSize & 1);
    }
    return nullptr;
}

WritableWav::~WritableWav()
{
    if (mFd >= 0)
        close();
}

bool WritableWav::writeSamples(int64_t bytePosition, const char* data, int64_t length)
{
    if (mFd < 0 || bytePosition < 0)
        return false;
    if (!platform::pwriteAll(mFd, data, length, mDataOffset + bytePosition)) {
        platform::log(QStringLiteral("Could not write to %1: %2").arg(mPath, QString::fromLocal8Bit(std::strerror(errno))));
        mFailed = true;
        return false;
    }
    mDataSize = std::max(mDataSize, bytePosition + length);
    return true;
}

bool WritableWav::close()
{
    if (mFd < 0)
        return !mFailed;
    bool ok = !mFailed;
    const int64_t dataEnd = mDataOffset + mDataSize;
    const int64_t fileSize = dataEnd + (mDataSize & 1) + mTrailing.size();
    if (fileSize - 8 > int64_t(UINT32_MAX)) {
        platform::log(QStringLiteral("%1 would grow past the 4 GB a WAV file can hold").arg(mPath));
        ok = false;
    }
    char size[4];
    if (ok && (mDataSize & 1))
        ok = platform::pwriteAll(mFd, "\0", 1, dataEnd);
    if (ok && !mTrailing.isEmpty())
        ok = platform::pwriteAll(mFd, mTrailing.constData(), mTrailing.size(), dataEnd + (mDataSize & 1));
    qToLittleEndian<uint32_t>(uint32_t(fileSize - 8), size);
    ok = ok && platform::pwriteAll(mFd, size, 4, 4);
    qToLittleEndian<uint32_t>(uint32_t(mDataSize), size);
    ok = ok && platform::pwriteAll(mFd, size, 4, mDataOffset - 4);
    ok = ::close(mFd) == 0 && ok;
    mFd = -1;
    mFailed = !ok;
    return ok;
}

}  // namespace PasteWav
