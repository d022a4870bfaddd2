#pragma once
#include <cstdint>
#include <vector>

namespace platform {

// libsndfile names speaker positions with its own numbers; we keep WAVE's channel-mask bits.
// Both directions answer nothing (0, empty) when the positions don't cover every channel.
uint64_t channelMaskFromSndfile(const std::vector<int>& speakers);
std::vector<int> sndfileChannelMap(uint64_t mask, int channels);

}  // namespace platform
