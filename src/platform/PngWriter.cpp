#include "platform/PngWriter.h"

#include "platform/Log.h"

#include <QByteArray>
#include <QSaveFile>
#include <zlib.h>

namespace platform {
namespace {

constexpr unsigned char kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
constexpr int kBitDepth = 8;
constexpr int kColorTypeRgb = 2;

void appendBigEndian(QByteArray& out, uint32_t value)
{
    out.append(char(value >> 24)).append(char(value >> 16)).append(char(value >> 8)).append(char(value));
}

void appendChunk(QByteArray& out, const char* type, const QByteArray& data)
{
    appendBigEndian(out, uint32_t(data.size()));
    QByteArray typed(type, 4);
    typed.append(data);
    out.append(typed);
    appendBigEndian(out, uint32_t(crc32(0, reinterpret_cast<const Bytef*>(typed.constData()), uInt(typed.size()))));
}

}  // namespace

bool writeRgbPng(const QString& path, int width, int height, const std::vector<uint32_t>& pixels)
{
    if (width <= 0 || height <= 0 || pixels.size() != size_t(width) * size_t(height)) {
        log(QStringLiteral("PNG: wrong picture size"));
        return false;
    }
    // Each row: filter type 0, then R, G, B per pixel.
    QByteArray raw;
    raw.reserve(qsizetype(height) * (1 + 3 * qsizetype(width)));
    for (int y = 0; y < height; ++y) {
        raw.append(char(0));
        for (int x = 0; x < width; ++x) {
            const uint32_t p = pixels[size_t(y) * size_t(width) + size_t(x)];
            raw.append(char(p >> 16)).append(char(p >> 8)).append(char(p));
        }
    }
    uLongf packedSize = compressBound(uLong(raw.size()));
    QByteArray packed(qsizetype(packedSize), Qt::Uninitialized);
    if (compress2(reinterpret_cast<Bytef*>(packed.data()), &packedSize, reinterpret_cast<const Bytef*>(raw.constData()),
                  uLong(raw.size()), Z_DEFAULT_COMPRESSION) != Z_OK) {
        log(QStringLiteral("PNG: could not compress"));
        return false;
    }
    packed.truncate(qsizetype(packedSize));

    QByteArray header;
    appendBigEndian(header, uint32_t(width));
    appendBigEndian(header, uint32_t(height));
    header.append(char(kBitDepth)).append(char(kColorTypeRgb)).append(char(0)).append(char(0)).append(char(0));

    QByteArray png(reinterpret_cast<const char*>(kSignature), sizeof kSignature);
    appendChunk(png, "IHDR", header);
    appendChunk(png, "IDAT", packed);
    appendChunk(png, "IEND", {});

    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size() || !file.commit()) {
        log(QStringLiteral("PNG: could not write %1").arg(path));
        return false;
    }
    return true;
}

}  // namespace platform
