#include "audiofiles/ConversionOptions.h"
#include "audiofiles/FileInformation.h"
#include "audiofiles/RecFormats.h"
#include "platform/FourCC.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace testsupport;
using platform::fourCC;
using platform::StreamDescription;

namespace {
StreamDescription partly(double rate, uint32_t channels, uint32_t flags = 0)
{
    StreamDescription d;
    d.sampleRate = rate;
    d.channelsPerFrame = channels;
    d.formatFlags = flags;
    return d;
}
}  // namespace

TEST(RecFormats, StreamDescriptionsForEveryFormat)
{
    StreamDescription d = partly(44100, 2);
    ASSERT_TRUE(Utils::setupASBD(d, 0, 24));
    EXPECT_EQ(d.formatID, fourCC("lpcm"));
    EXPECT_EQ(d.formatFlags, 0xCu);
    EXPECT_EQ(d.bitsPerChannel, 24u);
    EXPECT_EQ(d.bytesPerFrame, 6u);
    EXPECT_EQ(d.bytesPerPacket, 6u);
    EXPECT_EQ(d.framesPerPacket, 1u);

    d = partly(48000, 1);
    ASSERT_TRUE(Utils::setupASBD(d, 1, 32));
    EXPECT_EQ(d.formatFlags, 0xBu);
    EXPECT_EQ(d.bytesPerFrame, 4u);

    d = partly(44100, 2, 0x77);
    ASSERT_TRUE(Utils::setupASBD(d, 4, 20));
    EXPECT_EQ(d.formatID, fourCC("alac"));
    EXPECT_EQ(d.formatFlags, 2u);
    EXPECT_EQ(d.framesPerPacket, 4096u);
    EXPECT_EQ(d.bitsPerChannel, 0u);
    d = partly(44100, 2, 0x77);
    ASSERT_TRUE(Utils::setupASBD(d, 4, 28));
    EXPECT_EQ(d.formatFlags, 0x77u);

    d = partly(22050, 1);
    ASSERT_TRUE(Utils::setupASBD(d, 3, 16));
    EXPECT_EQ(d.formatID, fourCC("aac "));
    EXPECT_EQ(d.framesPerPacket, 1024u);
    EXPECT_EQ(d.bytesPerPacket, 0u);

    LogCapture log;
    d = partly(44000, 2);
    EXPECT_FALSE(Utils::setupASBD(d, 3, 16));
    EXPECT_EQ(log.lines(), QStringList{"Could not fill out format: 1718449215 (fmt?)"});

    Utils::printASBD(partly(44100, 2));
    d = partly(44100, 2);
    Utils::setupASBD(d, 0, 16);
    Utils::printASBD(d);
    const QStringList lines = log.lines().mid(log.lines().size() - 8);
    EXPECT_EQ(lines, (QStringList{"  Sample Rate:              44100", "  Format ID:                 lpcm",
                                  "  Format Flags:                 C", "  Bytes per Packet:             4",
                                  "  Frames per Packet:            1", "  Bytes per Frame:              4",
                                  "  Channels per Frame:           2", "  Bits per Channel:            16"}));
}

TEST(RecFormats, FreshInstallConvertsTo16BitStereoWave)
{
    TempTree tree;
    const ConversionOptions o = ConversionOptions::stored();
    EXPECT_EQ(o.format, 0);
    EXPECT_EQ(o.channels, 2);
    EXPECT_EQ(o.stereomono, 0);
    EXPECT_EQ(o.bits, 16);
    EXPECT_EQ(o.samplerate, 44100);
    EXPECT_EQ(o.bitrate, 128000);
    ConversionOptions changed = o;
    changed.format = 3;
    changed.bitrate = 256000;
    changed.store();
    EXPECT_EQ(ConversionOptions::stored().toMap(), changed.toMap());
}

TEST(FileInformation, NamesTypeCodecDepthRateAndDuration)
{
    EXPECT_EQ(Utils::durationText(83.25), "01:23.250");
    EXPECT_EQ(Utils::codecName(fourCC(".mp3")), "MP3");
    EXPECT_EQ(Utils::codecName(fourCC("aac ")), "AAC");
    EXPECT_EQ(Utils::fileTypeName(fourCC("Sd2f")), "SD2");
    EXPECT_EQ(Utils::fileTypeName(fourCC("flac")), "FLAC");
    EXPECT_EQ(Utils::fileTypeName(fourCC("Fred")), "(unknown)");

    TempTree tree;
    const QString wav = tree.path("tone.wav");
    ASSERT_TRUE(writeToneWav(wav, 2, 44100, 44100 * 83 + 11025));
    const auto info = Utils::fileInformation(wav);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->text, "2 ch WAVE LPCM\n16 bit 44100 Hz\n01:23.250");
    EXPECT_TRUE(info->is44100Hz16Bit);

    struct Case {
        const char* file;
        QStringList options;
        QString text;
    };
    const QString shortWav = tree.path("short.wav");
    ASSERT_TRUE(writeToneWav(shortWav, 1, 48000, 24000));
    const Case cases[] = {
        {"a.m4a", {"-c:a", "aac", "-b:a", "64k"}, "1 ch M4A AAC\n%1 kb/s 48000 Hz\n00:00.500"},
        {"a.caf", {"-c:a", "pcm_s24le"}, "1 ch CAF LPCM\n24 bit 48000 Hz\n00:00.500"},
        {"a.mp3", {"-c:a", "libmp3lame", "-b:a", "96k"}, "1 ch MP3\n96 kb/s 48000 Hz\n00:00.%1"},
        {"a.flac", {"-c:a", "flac"}, "1 ch FLAC\n16 bit 48000 Hz\n00:00.500"},
        {"b.flac", {"-c:a", "flac", "-sample_fmt", "s32"}, "1 ch FLAC\n24 bit 48000 Hz\n00:00.500"},
        {"l.m4a", {"-c:a", "alac"}, "1 ch M4A ALAC\n16 bit 48000 Hz\n00:00.500"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const QString path = tree.path(c.file);
        ASSERT_TRUE(runTool("ffmpeg", QStringList{"-v", "error", "-i", shortWav} + c.options + QStringList{path}));
        const auto i = Utils::fileInformation(path);
        ASSERT_TRUE(i);
        // Bit rates and the compressed formats' durations vary with the encoder; the rest is fixed.
        const QStringList want = c.text.split('\n');
        const QStringList got = i->text.split('\n');
        ASSERT_EQ(got.size(), 3);
        EXPECT_EQ(got[0], want[0]);
        if (want[1].contains("%1")) {
            const QRegularExpression pattern("^" + QString(want[1]).replace("%1", "\\d+") + "$");
            EXPECT_TRUE(pattern.match(got[1]).hasMatch()) << got[1].toStdString();
        } else {
            EXPECT_EQ(got[1], want[1]);
        }
        EXPECT_TRUE(got[2].startsWith("00:00.")) << got[2].toStdString();
        EXPECT_FALSE(i->is44100Hz16Bit);
    }
    EXPECT_FALSE(Utils::fileInformation(tree.path("none.wav")));
}
