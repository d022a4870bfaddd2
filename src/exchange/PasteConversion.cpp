#include "exchange/PasteConversion.h"

#include <cstdint>
#include <cstring>

namespace PasteConversion {
namespace {
int16_t sampleAt(const QByteArray& bytes, qsizetype i)
{
    int16_t s;
    std::memcpy(&s, bytes.constData() + 2 * i, 2);
    return s;
}

void put(QByteArray& bytes, qsizetype i, int16_t s) { std::memcpy(bytes.data() + 2 * i, &s, 2); }
}  // namespace

QByteArray monoToStereo(const QByteArray& mono)
{
    const qsizetype n = mono.size() / 2;
    QByteArray out(4 * n, Qt::Uninitialized);
    for (qsizetype i = 0; i < n; ++i) {
        const auto t = static_cast<int16_t>(static_cast<float>(sampleAt(mono, i)) * 0.707f);
        put(out, 2 * i, t);
        put(out, 2 * i + 1, t);
    }
    return out;
}

QByteArray stereoToMono(const QByteArray& stereo)
{
    const qsizetype n = stereo.size() / 4;
    QByteArray out(2 * n, Qt::Uninitialized);
    for (qsizetype i = 0; i < n; ++i) {
        const auto left = static_cast<int16_t>(static_cast<float>(sampleAt(stereo, 2 * i)) * 0.5f);
        const auto right = static_cast<int16_t>(static_cast<float>(sampleAt(stereo, 2 * i + 1)) * 0.5f);
        put(out, i, static_cast<int16_t>(left + right));
    }
    return out;
}

std::pair<QByteArray, QByteArray> splitStereo(const QByteArray& stereo)
{
    const qsizetype n = stereo.size() / 4;
    QByteArray left(2 * n, Qt::Uninitialized);
    QByteArray right(2 * n, Qt::Uninitialized);
    for (qsizetype i = 0; i < n; ++i) {
        put(left, i, sampleAt(stereo, 2 * i));
        put(right, i, sampleAt(stereo, 2 * i + 1));
    }
    return {left, right};
}

}  // namespace PasteConversion
