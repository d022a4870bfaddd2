#include "audiofiles/RecFormats.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"
#include "platform/FourCC.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QFileInfo>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

using namespace testsupport;
using platform::AudioFileReader;
using platform::AudioFileWriter;
using platform::fourCC;
using platform::SampleType;
using platform::StreamDescription;

namespace {

constexpr int kRate = 44100;
constexpr int64_t kFrames = 20000;

StreamDescription describe(int recFormat, int bits, double rate, int channels)
{
    StreamDescription d;
    d.sampleRate = rate;
    d.channelsPerFrame = uint32_t(channels);
    EXPECT_TRUE(Utils::setupASBD(d, recFormat, bits));
    return d;
}

// The tone as float client data, in chunks of odd sizes.
bool writeTone(AudioFileWriter& writer, int channels, int64_t frames)
{
    std::vector<float> chunk;
    for (int64_t done = 0; done < frames;) {
        const int64_t n = std::min<int64_t>(frames - done, 3001);
        chunk.resize(size_t(n * channels));
        for (int64_t i = 0; i < n; ++i)
            for (int c = 0; c < channels; ++c)
                chunk[size_t(i * channels + c)] = toneSample(done + i, c, kRate) / 32768.0f;
        if (!writer.write(chunk.data(), n))
            return false;
        done += n;
    }
    return writer.close();
}

std::vector<float> readBack(const QString& path, int* channels = nullptr)
{
    auto reader = AudioFileReader::open(path);
    EXPECT_TRUE(reader);
    if (!reader)
        return {};
    if (channels)
        *channels = reader->channels();
    std::vector<float> all(size_t(reader->lengthFrames() + 8192) * reader->channels());
    int64_t got = 0;
    for (int64_t n; (n = reader->read(all.data() + got * reader->channels(), 4096)) > 0;)
        got += n;
    all.resize(size_t(got * reader->channels()));
    return all;
}

}  // namespace

TEST(AudioFileWriter, WritesTheFiveFormatsAsOtherToolsSeeThem)
{
    TempTree tree;
    struct Case {
        int recFormat;
        int bits;
        const char* codec;       // ffprobe's name
        const char* container;   // ffprobe's format name
        float tolerance;         // of the samples read back
    };
    const Case cases[] = {
        {0, 16, "pcm_s16le", "wav", 0.0f},      {0, 24, "pcm_s24le", "wav", 0.0f},
        {0, 32, "pcm_f32le", "wav", 0.0f},      {1, 16, "pcm_s16be", "aiff", 0.0f},
        {1, 24, "pcm_s24be", "aiff", 0.0f},     {2, 16, "pcm_s16le", "caf", 0.0f},
        {2, 32, "pcm_f32le", "caf", 0.0f},      {3, 16, "aac", "mov,mp4,m4a,3gp,3g2,mj2", -1},
        {4, 16, "alac", "mov,mp4,m4a,3gp,3g2,mj2", 0.0f}, {4, 24, "alac", "mov,mp4,m4a,3gp,3g2,mj2", 0.0f},
    };
    for (const Case& c : cases) {
        const QString path =
            tree.path(QStringLiteral("out%1_%2.%3").arg(c.recFormat).arg(c.bits).arg(Utils::fileExtensionForRecFormat(c.recFormat)));
        SCOPED_TRACE(path.toStdString());
        auto writer = AudioFileWriter::create(path, Utils::fileTypeForRecFormat(c.recFormat), describe(c.recFormat, c.bits, kRate, 2));
        ASSERT_TRUE(writer);
        ASSERT_TRUE(writeTone(*writer, 2, kFrames));
        const Probe p = probe(path);
        EXPECT_EQ(p["codec_name"], c.codec);
        EXPECT_EQ(p["format:format_name"], c.container);
        EXPECT_EQ(p["sample_rate"], "44100");
        EXPECT_EQ(p["channels"], "2");

        auto reader = AudioFileReader::open(path);
        ASSERT_TRUE(reader);
        EXPECT_EQ(reader->fileType(), Utils::fileTypeForRecFormat(c.recFormat));
        EXPECT_EQ(reader->dataFormat(), Utils::dataFormatForRecFormat(c.recFormat));
        if (c.recFormat == 4) {
            EXPECT_EQ(reader->info().formatFlags, platform::alacFlagsForBits(c.bits));
        }
        const std::vector<float> back = readBack(path);
        if (c.tolerance < 0) {
            EXPECT_NEAR(double(back.size()), double(kFrames * 2), 2 * 64.0);
            continue;
        }
        ASSERT_EQ(back.size(), size_t(kFrames * 2));
        for (int64_t i = 0; i < kFrames; ++i)
            for (int ch = 0; ch < 2; ++ch)
                ASSERT_EQ(back[size_t(i * 2 + ch)], toneSample(i, ch, kRate) / 32768.0f) << i;
    }
    // A plain AIFF holds no float samples.
    LogCapture log;
    EXPECT_FALSE(AudioFileWriter::create(tree.path("f.aif"), fourCC("AIFF"), describe(1, 32, kRate, 2)));
    EXPECT_TRUE(log.lines().last().startsWith("Could not create audio file " + tree.path("f.aif")));
    EXPECT_FALSE(AudioFileWriter::create(tree.path("missing/dir/x.wav"), fourCC("WAVE"), describe(0, 16, kRate, 2)));
    EXPECT_FALSE(QFileInfo::exists(tree.path("missing")));
}

TEST(AudioFileWriter, ConvertsRateAndChannelsOfTheClientData)
{
    TempTree tree;
    // Stereo client data into a mono file keeps the first channel.
    const QString mono = tree.path("mono.wav");
    auto writer = AudioFileWriter::create(mono, fourCC("WAVE"), describe(0, 16, kRate, 1));
    ASSERT_TRUE(writer);
    ASSERT_TRUE(writer->setClientFormat(kRate, 2));
    ASSERT_TRUE(writeTone(*writer, 2, kFrames));
    std::vector<float> back = readBack(mono);
    ASSERT_EQ(back.size(), size_t(kFrames));
    for (int64_t i = 0; i < kFrames; i += 7)
        ASSERT_EQ(back[size_t(i)], toneSample(i, 0, kRate) / 32768.0f) << i;

    // Mono client data into a stereo file lands on both channels.
    const QString stereo = tree.path("stereo.caf");
    writer = AudioFileWriter::create(stereo, fourCC("caff"), describe(2, 24, kRate, 2));
    ASSERT_TRUE(writer);
    ASSERT_TRUE(writer->setClientFormat(kRate, 1));
    ASSERT_TRUE(writeTone(*writer, 1, kFrames));
    back = readBack(stereo);
    ASSERT_EQ(back.size(), size_t(kFrames * 2));
    for (int64_t i = 0; i < kFrames; i += 7) {
        ASSERT_EQ(back[size_t(i * 2)], toneSample(i, 0, kRate) / 32768.0f) << i;
        ASSERT_EQ(back[size_t(i * 2 + 1)], toneSample(i, 0, kRate) / 32768.0f) << i;
    }

    // 44100 Hz client data into a 22050 Hz ALAC file: half the frames, the same tone.
    const QString half = tree.path("half.m4a");
    writer = AudioFileWriter::create(half, fourCC("m4af"), describe(4, 16, 22050, 2));
    ASSERT_TRUE(writer);
    ASSERT_TRUE(writer->setClientFormat(kRate, 2));
    ASSERT_TRUE(writeTone(*writer, 2, kFrames));
    EXPECT_EQ(probe(half)["sample_rate"], "22050");
    back = readBack(half);
    EXPECT_NEAR(double(back.size()), double(kFrames), 2 * 32.0);
    for (int64_t i = 200; i < kFrames / 2 - 200; i += 101)
        ASSERT_NEAR(back[size_t(i * 2)], toneSample(2 * i, 0, kRate) / 32768.0f, 0.01f) << i;
}

TEST(AudioFileWriter, AacTakesTheRequestedBitRateAndReportsWhatItUses)
{
    TempTree tree;
    const QString path = tree.path("rate.m4a");
    auto writer = AudioFileWriter::create(path, fourCC("m4af"), describe(3, 0, kRate, 2));
    ASSERT_TRUE(writer);
    EXPECT_TRUE(writer->hasEncoder());
    EXPECT_TRUE(writer->setCodecQuality(127));
    EXPECT_TRUE(writer->setEncodeBitRate(96000));
    EXPECT_EQ(writer->encodeBitRate(), 96000);
    EXPECT_FALSE(writer->setEncodeBitRate(192000));  // settled once the encoder runs
    ASSERT_TRUE(writeTone(*writer, 2, kRate * 2));
    const int measured = probe(path)["bit_rate"].toInt();
    EXPECT_GT(measured, 60000);
    EXPECT_LT(measured, 130000);

    auto pcm = AudioFileWriter::create(tree.path("p.wav"), fourCC("WAVE"), describe(0, 16, kRate, 2));
    ASSERT_TRUE(pcm);
    EXPECT_FALSE(pcm->hasEncoder());
    EXPECT_FALSE(pcm->setEncodeBitRate(128000));
}
