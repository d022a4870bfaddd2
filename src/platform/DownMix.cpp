#include "platform/DownMix.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace platform {
namespace {

constexpr int kWavePositions = 18;

struct Gains {
    double left;
    double right;
};

// By WAVE speaker bit, from front left (0) to top back right (17).
constexpr double kSide = M_SQRT1_2;
constexpr Gains kPositionGains[kWavePositions] = {
    {1, 0},         {0, 1},          {kSide, kSide}, {0, 0},         // FL FR FC LFE
    {kSide, 0},     {0, kSide},      {1, 0},         {0, 1},         // BL BR FLC FRC
    {0.5, 0.5},     {kSide, 0},      {0, kSide},     {0.5, 0.5},     // BC SL SR TC
    {kSide, 0},     {0.5, 0.5},      {0, kSide},                     // TFL TFC TFR
    {kSide, 0},     {0.5, 0.5},      {0, kSide},                     // TBL TBC TBR
};
constexpr Gains kUnpositioned = {0.5, 0.5};

}  // namespace

std::vector<double> positionalDownMix(uint64_t mask, int channels, int outChannels)
{
    if (channels < 1 || (outChannels != 1 && outChannels != 2))
        return {};
    if (mask == 0 || std::popcount(mask) != channels)
        mask = channels >= 64 ? ~uint64_t(0) : (uint64_t(1) << channels) - 1;
    std::vector<double> matrix(size_t(outChannels) * size_t(channels));
    int bit = 0;
    for (int c = 0; c < channels; ++c) {
        while (bit < 64 && !(mask & (uint64_t(1) << bit)))
            ++bit;
        const Gains g = bit < kWavePositions ? kPositionGains[bit] : kUnpositioned;
        ++bit;
        if (outChannels == 2) {
            matrix[size_t(c)] = g.left;
            matrix[size_t(channels + c)] = g.right;
        } else {
            matrix[size_t(c)] = M_SQRT1_2 * (g.left + g.right);
        }
    }
    double loudest = 0;
    for (int o = 0; o < outChannels; ++o) {
        double sum = 0;
        for (int c = 0; c < channels; ++c)
            sum += std::abs(matrix[size_t(o * channels + c)]);
        loudest = std::max(loudest, sum);
    }
    if (loudest > 1)
        for (double& g : matrix)
            g /= loudest;
    return matrix;
}

}  // namespace platform
