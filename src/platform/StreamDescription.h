#pragma once
#include "platform/FourCC.h"

#include <cstdint>

namespace platform {

// Format flags of a stream description.
constexpr uint32_t kFormatFlagFloat = 0x1;
constexpr uint32_t kFormatFlagBigEndian = 0x2;
constexpr uint32_t kFormatFlagSignedInteger = 0x4;
constexpr uint32_t kFormatFlagPacked = 0x8;
constexpr uint32_t kFormatFlagAlignedHigh = 0x10;

// The basic audio stream description: 40 bytes, fields in this order.
struct StreamDescription {
    double sampleRate = 0;
    uint32_t formatID = 0;
    uint32_t formatFlags = 0;
    uint32_t bytesPerPacket = 0;
    uint32_t framesPerPacket = 0;
    uint32_t bytesPerFrame = 0;
    uint32_t channelsPerFrame = 0;
    uint32_t bitsPerChannel = 0;
    uint32_t reserved = 0;
};
static_assert(sizeof(StreamDescription) == 40);

// Interleaved 16-bit signed little-endian PCM, the plain WAVE format.
constexpr StreamDescription linearPCM16(double sampleRate, uint32_t channels)
{
    StreamDescription d;
    d.sampleRate = sampleRate;
    d.formatID = fourCC("lpcm");
    d.formatFlags = kFormatFlagSignedInteger | kFormatFlagPacked;
    d.bitsPerChannel = 16;
    d.bytesPerFrame = 2 * channels;
    d.framesPerPacket = 1;
    d.bytesPerPacket = d.bytesPerFrame;
    d.channelsPerFrame = channels;
    return d;
}

// ALAC keeps the source's bit depth in the format flags.
constexpr uint32_t alacFlagsForBits(int bits)
{
    switch (bits) {
    case 16: return 1;
    case 20: return 2;
    case 24: return 3;
    case 32: return 4;
    default: return 0;
    }
}

constexpr int alacBitsForFlags(uint32_t flags)
{
    switch (flags) {
    case 1: return 16;
    case 2: return 20;
    case 3: return 24;
    case 4: return 32;
    default: return 0;
    }
}

}  // namespace platform
