#pragma once
#include <cstdint>
#include <vector>

class FilePlayer;

// Pulls a playing FilePlayer without an audio engine, block by block as the engine would,
// waiting for the disk where the engine could not. Answers interleaved stereo: at most
// maxFrames frames, fewer when a play that does not loop reaches its end first.
std::vector<float> pullPlayer(FilePlayer& player, int64_t maxFrames, uint32_t blockFrames = 512);
