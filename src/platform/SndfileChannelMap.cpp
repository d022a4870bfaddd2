#include "platform/SndfileChannelMap.h"

#include <bit>
#include <sndfile.h>

namespace platform {
namespace {

// WAVE's speaker bits in order, from front left (bit 0) to top back right (bit 17), with the
// names libsndfile gives them when it reads or writes a WAVE channel mask.
constexpr int kSpeakers[] = {
    SF_CHANNEL_MAP_LEFT,            SF_CHANNEL_MAP_RIGHT,                SF_CHANNEL_MAP_CENTER,
    SF_CHANNEL_MAP_LFE,             SF_CHANNEL_MAP_REAR_LEFT,            SF_CHANNEL_MAP_REAR_RIGHT,
    SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER, SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER, SF_CHANNEL_MAP_REAR_CENTER,
    SF_CHANNEL_MAP_SIDE_LEFT,       SF_CHANNEL_MAP_SIDE_RIGHT,           SF_CHANNEL_MAP_TOP_CENTER,
    SF_CHANNEL_MAP_TOP_FRONT_LEFT,  SF_CHANNEL_MAP_TOP_FRONT_CENTER,     SF_CHANNEL_MAP_TOP_FRONT_RIGHT,
    SF_CHANNEL_MAP_TOP_REAR_LEFT,   SF_CHANNEL_MAP_TOP_REAR_CENTER,      SF_CHANNEL_MAP_TOP_REAR_RIGHT,
};
constexpr int kSpeakerCount = int(sizeof(kSpeakers) / sizeof(kSpeakers[0]));

int bitFor(int speaker)
{
    switch (speaker) {
    case SF_CHANNEL_MAP_MONO:
    case SF_CHANNEL_MAP_FRONT_CENTER: return 2;
    case SF_CHANNEL_MAP_FRONT_LEFT: return 0;
    case SF_CHANNEL_MAP_FRONT_RIGHT: return 1;
    default:
        for (int bit = 0; bit < kSpeakerCount; ++bit)
            if (kSpeakers[bit] == speaker)
                return bit;
        return -1;
    }
}

}  // namespace

uint64_t channelMaskFromSndfile(const std::vector<int>& speakers)
{
    uint64_t mask = 0;
    for (int speaker : speakers) {
        const int bit = bitFor(speaker);
        if (bit < 0 || (mask & (uint64_t(1) << bit)))
            return 0;
        mask |= uint64_t(1) << bit;
    }
    return mask;
}

std::vector<int> sndfileChannelMap(uint64_t mask, int channels)
{
    if (mask == 0 || std::popcount(mask) != channels || mask >> kSpeakerCount)
        return {};
    std::vector<int> speakers;
    for (int bit = 0; bit < kSpeakerCount; ++bit)
        if (mask & (uint64_t(1) << bit))
            speakers.push_back(kSpeakers[bit]);
    return speakers;
}

}  // namespace platform
