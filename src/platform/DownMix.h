#pragma once
#include <cstdint>
#include <vector>

namespace platform {

// The mix to stereo or mono of sources the standard down-mix has no matrix for: more than 18
// channels, or speaker positions it refuses (a side channel without its pair). Each channel
// goes where its WAVE position lies, with the standard gains:
//   left positions (front left, front left of centre)                 -> left 1
//   left surrounds (back, side, top front and top back left)          -> left 1/sqrt 2
//   front centre                                                      -> both 1/sqrt 2
//   other centres (back, top, top front and top back centre)          -> both 1/2
//   right positions mirror the left ones; the LFE is left out
//   a channel without a position (beyond the 18 WAVE names)           -> both 1/2
// Mono is 1/sqrt 2 of left plus right, so a centre channel reaches it at 1 and a front left
// at 1/sqrt 2, as in the standard mono down-mix. The matrix is then scaled so that no output
// row's gains add up past 1: a source at full scale everywhere can't clip.
// Answers outChannels rows of `channels` gains each (row-major), or empty for other outputs.
// `mask` gives the channels' positions (WAVE's speaker bits, one a channel, in order); 0 takes
// WAVE's first positions, as a WAVE file without a mask is read.
std::vector<double> positionalDownMix(uint64_t mask, int channels, int outChannels);

}  // namespace platform
