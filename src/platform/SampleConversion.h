#pragma once
#include <cstddef>
#include <cstdint>

// Float samples (full scale ±1.0) to integers, clipped at full scale and rounded to the
// nearest step. The same scale (2^(bits-1)) as reading uses, so integer data survives a trip
// through float unchanged. Plain loops the compiler vectorises.
namespace platform {

inline int32_t roundClipped(float x, float scale, float low, float high)
{
    float v = x * scale;
    v = v < low ? low : (v > high ? high : v);
    return int32_t(v + (v >= 0.0f ? 0.5f : -0.5f));
}

inline void floatToInt16(const float* in, int16_t* out, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        out[i] = int16_t(roundClipped(in[i], 32768.0f, -32768.0f, 32767.0f));
}

// The inverse of floatToInt16: what libsndfile's own conversion gives, without its small reads.
inline void int16ToFloat(const int16_t* in, float* out, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        out[i] = float(in[i]) * (1.0f / 32768.0f);
}

// 24-bit values in the upper three bytes of 32-bit words.
inline void floatToInt24High(const float* in, int32_t* out, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        out[i] = int32_t(uint32_t(roundClipped(in[i], 8388608.0f, -8388608.0f, 8388607.0f)) << 8);
}

}  // namespace platform
