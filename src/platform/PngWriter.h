#pragma once
#include <QString>
#include <cstdint>
#include <vector>

namespace platform {

// Writes an opaque RGB picture as a PNG file, without the GUI libraries: `pixels` holds one
// 0xRRGGBB word per pixel, row by row. False (with a log line) when it cannot be written.
bool writeRgbPng(const QString& path, int width, int height, const std::vector<uint32_t>& pixels);

}  // namespace platform
