#include "audiofiles/OfflinePull.h"

#include "audiofiles/FilePlayer.h"
#include "platform/RealtimeLog.h"

#include <array>
#include <cmath>

std::vector<float> pullPlayer(FilePlayer& player, int64_t maxFrames, uint32_t blockFrames)
{
    std::vector<float> out;
    std::vector<float> left(blockFrames), right(blockFrames);
    const std::array<float*, 2> buffers{left.data(), right.data()};
    const double rate = player.outputSampleRate();
    int64_t done = 0;
    while (done < maxFrames && player.isPlaying()) {
        uint32_t block = uint32_t(std::min<int64_t>(blockFrames, maxFrames - done));
        if (!player.loop()) {
            const int64_t remaining = std::llround((player.playEnd() - player.getCurrentTime()) * rate);
            if (remaining <= 0)
                break;
            block = uint32_t(std::min<int64_t>(block, remaining));
        }
        std::fill(left.begin(), left.end(), 0.0f);
        std::fill(right.begin(), right.end(), 0.0f);
        player.waitForAudio(block);
        player.render(buffers.data(), block);
        for (uint32_t i = 0; i < block; ++i) {
            out.push_back(left[i]);
            out.push_back(right[i]);
        }
        done += block;
    }
    platform::RealtimeLog::drain();
    return out;
}
