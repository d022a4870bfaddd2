#include "audiofiles/RecFormats.h"

#include "platform/AudioFileWriter.h"
#include "platform/FourCC.h"
#include "platform/Log.h"

#include <algorithm>

namespace Utils {
namespace {

using namespace platform;

struct RecFormat {
    const char* name;
    const char* extension;
    uint32_t fileType;
    uint32_t dataFormat;
};

constexpr RecFormat kFormats[kRecFormatCount] = {
    {"WAVE", "wav", fourCC("WAVE"), fourCC("lpcm")},    {"AIFF", "aif", fourCC("AIFF"), fourCC("lpcm")},
    {"CAF", "caf", fourCC("caff"), fourCC("lpcm")},     {"M4A AAC", "m4a", fourCC("m4af"), fourCC("aac ")},
    {"M4A ALAC", "m4a", fourCC("m4af"), fourCC("alac")},
};

// What our encoders take in one packet: AAC frames are 1024 samples, ALAC's 4096.
constexpr uint32_t kAacFramesPerPacket = 1024;
constexpr uint32_t kAlacFramesPerPacket = 4096;
constexpr uint32_t kMaxEncoderChannels = 8;
// The sampling frequencies an AAC stream can signal.
constexpr double kAacSampleRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350};
// The error code of a description the codec can't take.
constexpr uint32_t kUnsupportedFormatError = fourCC("fmt?");

}  // namespace

const QStringList& recFormatNames()
{
    static const QStringList names = [] {
        QStringList list;
        for (const RecFormat& f : kFormats)
            list << QString::fromLatin1(f.name);
        return list;
    }();
    return names;
}

QString fileExtensionForRecFormat(int index) { return QString::fromLatin1(kFormats[index].extension); }
int highestBitsForRecFormat(int index)
{
    if (index == 1)
        return 24;
    return index == kRecFormatALAC ? platform::kHighestAlacBits : 32;
}

int highestAacBitRate() { return 2 * platform::kHighestAacBitRatePerChannel; }

uint32_t fileTypeForRecFormat(int index) { return kFormats[index].fileType; }
uint32_t dataFormatForRecFormat(int index) { return kFormats[index].dataFormat; }

bool setupASBD(StreamDescription& d, int index, int bits)
{
    d.formatID = kFormats[index].dataFormat;
    if (d.formatID == fourCC("lpcm")) {
        d.formatFlags = bits == 32 ? kFormatFlagFloat | kFormatFlagPacked : kFormatFlagSignedInteger | kFormatFlagPacked;
        if (index == 1)
            d.formatFlags |= kFormatFlagBigEndian;
        d.bitsPerChannel = uint32_t(bits);
        d.bytesPerFrame = d.channelsPerFrame * uint32_t(bits / 8);
        d.framesPerPacket = 1;
        d.bytesPerPacket = d.bytesPerFrame;
        return true;
    }
    if (d.formatID == fourCC("alac")) {
        if (const uint32_t flags = alacFlagsForBits(bits))
            d.formatFlags = flags;
    }
    const bool aac = d.formatID == fourCC("aac ");
    const bool rateOk = !aac || std::find(std::begin(kAacSampleRates), std::end(kAacSampleRates), d.sampleRate) !=
                                    std::end(kAacSampleRates);
    if (!rateOk || d.sampleRate <= 0 || d.channelsPerFrame < 1 || d.channelsPerFrame > kMaxEncoderChannels) {
        const QByteArray code = fourCCString(kUnsupportedFormatError).toLatin1();
        log(QString::asprintf("Could not fill out format: %d (%.4s)", int(kUnsupportedFormatError), code.constData()));
        return false;
    }
    // Compressed packets vary in size; only the frames per packet are fixed.
    d.framesPerPacket = aac ? kAacFramesPerPacket : kAlacFramesPerPacket;
    d.bytesPerPacket = 0;
    d.bytesPerFrame = 0;
    return true;
}

void printASBD(const StreamDescription& d)
{
    const QByteArray id = fourCCString(d.formatID).toLatin1();
    log(QString::asprintf("  Sample Rate:         %10.0f", d.sampleRate));
    log(QString::asprintf("  Format ID:           %10s", id.constData()));
    log(QString::asprintf("  Format Flags:        %10X", d.formatFlags));
    log(QString::asprintf("  Bytes per Packet:    %10u", d.bytesPerPacket));
    log(QString::asprintf("  Frames per Packet:   %10u", d.framesPerPacket));
    log(QString::asprintf("  Bytes per Frame:     %10u", d.bytesPerFrame));
    log(QString::asprintf("  Channels per Frame:  %10u", d.channelsPerFrame));
    log(QString::asprintf("  Bits per Channel:    %10u", d.bitsPerChannel));
}

}  // namespace Utils
