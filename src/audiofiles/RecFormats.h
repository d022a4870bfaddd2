#pragma once
#include "platform/StreamDescription.h"

#include <QString>
#include <QStringList>
#include <cstdint>

// The five writable formats, addressed by their index `recFormat` 0..4, and the stream
// descriptions that write them.
namespace Utils {

constexpr int kRecFormatCount = 5;
constexpr int kRecFormatAAC = 3;
constexpr int kRecFormatALAC = 4;

const QStringList& recFormatNames();
QString fileExtensionForRecFormat(int index);
uint32_t fileTypeForRecFormat(int index);
uint32_t dataFormatForRecFormat(int index);

// The deepest samples a format holds (AIFF has no float samples, our ALAC encoder stops at
// 24 bits) and the highest AAC bit rate the encoder really gives for stereo; the conversion
// screen springs back to them and convert writes no more.
int highestBitsForRecFormat(int index);
int highestAacBitRate();

// Completes a description whose sample rate and channels the caller has set. False (logged)
// when the codec can't take that rate and channel count.
bool setupASBD(platform::StreamDescription& description, int index, int bits);
// One line a field into the log.
void printASBD(const platform::StreamDescription& description);

}  // namespace Utils
