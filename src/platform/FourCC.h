#pragma once
#include <QString>
#include <cstdint>

// Four-character codes as the audio file formats name them, first character in the high byte.
namespace platform {

constexpr uint32_t fourCC(const char (&code)[5])
{
    return uint32_t(uint8_t(code[0])) << 24 | uint32_t(uint8_t(code[1])) << 16 | uint32_t(uint8_t(code[2])) << 8 |
           uint32_t(uint8_t(code[3]));
}

// The four characters in reading order, as Latin-1 text.
inline QString fourCCString(uint32_t code)
{
    const char chars[4] = {char(code >> 24), char(code >> 16), char(code >> 8), char(code)};
    return QString::fromLatin1(chars, 4);
}

}  // namespace platform
