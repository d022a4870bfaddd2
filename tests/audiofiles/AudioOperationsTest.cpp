#include "audiofiles/AudioOperations.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"
#include "platform/FourCC.h"
#include "platform/Locations.h"
#include "support/DecodedAudio.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace testsupport;
using platform::AudioFileReader;
using platform::fourCC;

namespace {

using Audio = testsupport::DecodedAudio;
Audio load(const QString& path) { return testsupport::decodeFile(path); }

// A float WAVE whose channels hold constant levels, so every gain shows exactly.
QString writeLevels(const QString& path, int64_t frames, float left, float right)
{
    platform::StreamDescription d;
    d.sampleRate = 44100;
    d.channelsPerFrame = 2;
    d.formatID = fourCC("lpcm");
    d.formatFlags = platform::kFormatFlagFloat | platform::kFormatFlagPacked;
    d.bitsPerChannel = 32;
    auto w = platform::AudioFileWriter::create(path, fourCC("WAVE"), d);
    EXPECT_TRUE(w);
    std::vector<float> chunk;
    for (int64_t i = 0; i < frames; ++i) {
        chunk.push_back(left);
        chunk.push_back(right);
    }
    EXPECT_TRUE(w->write(chunk.data(), frames));
    EXPECT_TRUE(w->close());
    return path;
}

// Left runs over every value in [-16384, 16384] (peak exactly 0.5), right is half of it.
int16_t rampSample(int64_t i, int c)
{
    const int v = int((i * 37) % 32769) - 16384;
    return int16_t(c == 0 ? v : v / 2);
}

struct Progress {
    std::vector<float> values;
    Utils::ProgressBlock block()
    {
        return [this](float f) { values.push_back(f); };
    }
    bool rising() const { return std::is_sorted(values.begin(), values.end()); }
};

}  // namespace

TEST(AudioOperations, NormalizeScalesTheLoudestSampleToFullScale)
{
    TempTree tree;
    LogCapture log;
    const QString src = tree.path("ramp.wav");
    ASSERT_TRUE(writeWav16(src, 2, 44100, 70000, rampSample));
    const QByteArray srcBytes = readFile(src);
    Progress progress;
    QDir().mkpath(tree.path("out"));
    const auto out = Utils::normalize(src, tree.path("out/loud.wav"), progress.block());
    ASSERT_TRUE(out);
    EXPECT_EQ(*out, tree.path("out/loud.wav"));
    EXPECT_TRUE(log.contains("Found peak: 0.5"));
    EXPECT_TRUE(log.contains("Scaling with: 2"));
    EXPECT_TRUE(log.contains("normalizing..."));
    const Audio a = load(*out);
    EXPECT_EQ(a.fileType, fourCC("WAVE"));
    EXPECT_EQ(a.bits, 16);
    ASSERT_EQ(a.frames(), 70000);
    float peak = 0;
    for (int64_t i = 0; i < a.frames(); ++i) {
        for (int c = 0; c < 2; ++c) {
            const int v = rampSample(i, c);
            // Doubling is exact except at +0.5, which meets the 16-bit ceiling.
            const float want = v == 16384 ? 32767 / 32768.0f : 2 * v / 32768.0f;
            ASSERT_EQ(a.at(i, c), want) << i << " " << c;
            peak = std::max(peak, std::fabs(a.at(i, c)));
        }
    }
    EXPECT_EQ(peak, 1.0f);  // -16384 doubled
    EXPECT_EQ(readFile(src), srcBytes);
    ASSERT_FALSE(progress.values.empty());
    EXPECT_EQ(progress.values.front(), 0.0f);
    EXPECT_EQ(progress.values.back(), 1.0f);
    EXPECT_TRUE(progress.rising());
    EXPECT_NE(std::find(progress.values.begin(), progress.values.end(), 0.5f), progress.values.end());
    EXPECT_FALSE(QFileInfo::exists(platform::Locations::tempDir() + "/tempfile"));

    // Float data reaches exactly 1.0; a silent file is copied with scale 1.
    const auto levels = Utils::normalize(writeLevels(tree.path("levels.wav"), 1000, 0.25f, -0.125f), tree.path("l.wav"));
    ASSERT_TRUE(levels);
    const Audio l = load(*levels);
    EXPECT_EQ(l.at(500, 0), 1.0f);
    EXPECT_EQ(l.at(999, 1), -0.5f);
    ASSERT_TRUE(writeWav16(tree.path("silent.wav"), 1, 44100, 5000, [](int64_t, int) { return int16_t(0); }));
    const auto silent = Utils::normalize(tree.path("silent.wav"), tree.path("s.wav"));
    ASSERT_TRUE(silent);
    EXPECT_TRUE(log.contains("Scaling with: 1"));
    EXPECT_EQ(readFile(*silent), readFile(tree.path("silent.wav")));
}

TEST(AudioOperations, NormalizeKeepsWritableContainersAndFallsBackToWave)
{
    TempTree tree;
    LogCapture log;
    const QString wav = tree.path("tone.wav");
    ASSERT_TRUE(writeToneWav(wav, 1, 48000, 24000));
    const QString mp2 = tree.path("tone.mp2");
    const QString m4a = tree.path("tone.m4a");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", wav, "-c:a", "mp2", mp2}));
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", wav, "-c:a", "aac", m4a}));

    // MP2 can be read, not written: a 16-bit WAVE at the source's rate, named .wav.
    QDir().mkpath(tree.path("out"));
    const auto fromMp3 = Utils::normalize(mp2, tree.path("out/loud.mp2"));
    ASSERT_TRUE(fromMp3);
    EXPECT_EQ(*fromMp3, tree.path("out/loud.wav"));
    EXPECT_FALSE(QFileInfo::exists(tree.path("out/loud.mp2")));
    EXPECT_TRUE(log.contains("Creating standard WAVE instead"));
    const Probe p = probe(*fromMp3);
    EXPECT_EQ(p["codec_name"], "pcm_s16le");
    EXPECT_EQ(p["sample_rate"], "48000");
    EXPECT_EQ(p["channels"], "1");
    float peak = 0;
    for (float v : load(*fromMp3).samples)
        peak = std::max(peak, std::fabs(v));
    EXPECT_NEAR(peak, 1.0f, 1.0f / 32768);

    const auto fromM4a = Utils::normalize(m4a, tree.path("out/loud.m4a"));
    ASSERT_TRUE(fromM4a);
    EXPECT_EQ(*fromM4a, tree.path("out/loud.m4a"));
    EXPECT_TRUE(log.contains("Setting software codec"));
    const Audio a = load(*fromM4a);
    EXPECT_EQ(a.fileType, fourCC("m4af"));
    EXPECT_EQ(a.dataFormat, fourCC("aac "));
    EXPECT_EQ(probe(*fromM4a)["codec_name"], "aac");
}

TEST(AudioOperations, TrimCutsTheRegionWithLinearFadesToTheFrame)
{
    TempTree tree;
    LogCapture log;
    const QString src = writeLevels(tree.path("levels.wav"), 4 * 44100, 0.5f, -0.25f);
    Progress progress;
    const auto out = Utils::trim(src, tree.path("cut.wav"), 1.0, 3.0, 0.5, 0.25, progress.block());
    ASSERT_TRUE(out);
    EXPECT_TRUE(log.contains("fade in: 22050 frames, out: 11025 frames"));
    const Audio a = load(*out);
    EXPECT_EQ(a.dataFormat, fourCC("lpcm"));
    EXPECT_EQ(a.bits, 32);
    ASSERT_EQ(a.frames(), 88200);
    EXPECT_EQ(a.at(0, 0), 0.0f);
    EXPECT_EQ(a.at(0, 1), -0.0f);
    for (int64_t p : {1, 2, 8191, 8192, 8193, 11025, 22049})
        EXPECT_EQ(a.at(p, 0), 0.5f * (float(p) / 22050.0f)) << p;
    EXPECT_EQ(a.at(22050, 0), 0.5f);
    EXPECT_EQ(a.at(88200 - 11025, 1), -0.25f);
    for (int64_t p : {88200 - 11024, 88200 - 5000, 88200 - 2})
        EXPECT_EQ(a.at(p, 1), -0.25f * (float(88200 - p) / 11025.0f)) << p;
    EXPECT_EQ(a.at(88199, 0), 0.5f / 11025.0f);
    EXPECT_EQ(progress.values.back(), 1.0f);

    // Without fades the samples come through untouched; past the end it stops at the end,
    // and progress never reaches 1.
    const QString tone = tree.path("tone.wav");
    ASSERT_TRUE(writeToneWav(tone, 2, 44100, 2 * 44100));
    Progress partial;
    const auto tail = Utils::trim(tone, tree.path("tail.wav"), 1.5, 9.0, 0, 0, partial.block());
    ASSERT_TRUE(tail);
    const Audio t = load(*tail);
    ASSERT_EQ(t.frames(), 22050);
    for (int64_t i = 0; i < 22050; i += 13)
        ASSERT_EQ(t.at(i, 1), toneSample(66150 + i, 1, 44100) / 32768.0f) << i;
    EXPECT_LT(partial.values.back(), 1.0f);

    // An existing destination is replaced; an empty region writes nothing.
    ASSERT_TRUE(Utils::trim(tone, *tail, 0, 0.5, 0, 0));
    EXPECT_EQ(load(*tail).frames(), 22050);
    EXPECT_FALSE(Utils::trim(tone, tree.path("none.wav"), 5.0, 6.0, 0, 0));
    EXPECT_FALSE(QFileInfo::exists(tree.path("none.wav")));
}

TEST(AudioOperations, ConvertChoosesTheMonoSourceAndCapsAacBitRates)
{
    TempTree tree;
    LogCapture log;
    const QString src = tree.path("ramp.wav");
    ASSERT_TRUE(writeWav16(src, 2, 44100, 30000, rampSample));
    ConversionOptions o;
    o.channels = 1;
    for (const int mode : {0, 1, 2}) {
        SCOPED_TRACE(mode);
        o.stereomono = mode;
        const QString dest = tree.path(QStringLiteral("mono%1.wav").arg(mode));
        ASSERT_TRUE(Utils::convert(src, dest, o));
        const Audio a = load(dest);
        ASSERT_EQ(a.channels, 1);
        ASSERT_EQ(a.frames(), 30000);
        for (int64_t i = 0; i < 30000; ++i) {
            const float l = rampSample(i, 0);
            const float r = rampSample(i, 1);
            const float want = mode == 0 ? (l + r) * 0.5f : mode == 1 ? l : r;
            ASSERT_NEAR(a.at(i, 0) * 32768.0f, want, 0.5f) << i;
        }
    }

    // AAC at 8000 Hz mono asks for 128000, capped to 32000 and halved.
    o = ConversionOptions();
    o.format = 3;
    o.channels = 1;
    o.samplerate = 8000;
    o.bitrate = 128000;
    const QString aac = tree.path("low.m4a");
    ASSERT_TRUE(Utils::convert(src, aac, o));
    EXPECT_TRUE(log.contains("Setting software codec"));
    EXPECT_TRUE(log.contains("Encoding with bit rate 16000"));
    const Probe p = probe(aac);
    EXPECT_EQ(p["codec_name"], "aac");
    EXPECT_EQ(p["sample_rate"], "8000");
    EXPECT_EQ(p["channels"], "1");
    EXPECT_FALSE(QFileInfo::exists(platform::Locations::tempDir() + "/tempfile.m4a"));

    // 24-bit AIFF at 22050 Hz stereo.
    o = ConversionOptions();
    o.format = 1;
    o.bits = 24;
    o.samplerate = 22050;
    const QString aif = tree.path("half.aif");
    ASSERT_TRUE(Utils::convert(src, aif, o));
    const Probe q = probe(aif);
    EXPECT_EQ(q["codec_name"], "pcm_s24be");
    EXPECT_EQ(q["sample_rate"], "22050");
    EXPECT_NEAR(load(aif).frames(), 15000, 32);

    // Never onto an existing file.
    const QByteArray before = readFile(aif);
    EXPECT_FALSE(Utils::convert(src, aif, o));
    EXPECT_TRUE(log.lines().last().startsWith("Could not move "));
    EXPECT_TRUE(log.lines().last().endsWith(" to " + aif));
    EXPECT_EQ(readFile(aif), before);
}

TEST(AudioOperations, DecodeMakes16BitWaveAt44100)
{
    TempTree tree;
    const QString src = tree.path("tone48.wav");
    ASSERT_TRUE(writeToneWav(src, 1, 48000, 48000));
    const QString flac = tree.path("tone48.flac");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", src, flac}));
    Progress progress;
    const QString dest = tree.path("decoded.wav");
    ASSERT_TRUE(Utils::decode(flac, dest, progress.block()));
    const Probe p = probe(dest);
    EXPECT_EQ(p["codec_name"], "pcm_s16le");
    EXPECT_EQ(p["sample_rate"], "44100");
    EXPECT_EQ(p["channels"], "1");
    EXPECT_EQ(p["duration_ts"], "44100");
    const Audio a = load(dest);
    for (int64_t i = 1000; i < 43000; i += 997)
        ASSERT_NEAR(a.at(i, 0), toneSample(i, 0, 44100) / 32768.0f, 0.01f) << i;
    EXPECT_EQ(progress.values.back(), 1.0f);
    EXPECT_FALSE(Utils::decode(flac, dest));
}

TEST(AudioOperations, BadInputLeavesNothingBehind)
{
    TempTree tree;
    LogCapture log;
    const QString tone = tree.path("tone.wav");
    ASSERT_TRUE(writeToneWav(tone, 2, 44100, 10000));
    ASSERT_TRUE(writeFile(tree.path("empty.wav"), {}));
    ASSERT_TRUE(writeFile(tree.path("text.wav"), QByteArray("RIFF but then only words\n").repeated(40)));
    ASSERT_TRUE(writeFile(tree.path("header.wav"), readFile(tone).left(30)));
    ASSERT_TRUE(writeFile(tree.path("noframes.wav"), readFile(tone).left(44)));
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", tone, tree.path("tone.m4a")}));
    const QByteArray m4a = readFile(tree.path("tone.m4a"));
    // The index sits at the end of an MP4 file: without it there is nothing to play.
    ASSERT_TRUE(writeFile(tree.path("cut.m4a"), m4a.left(m4a.size() / 2)));

    for (const char* name : {"missing.wav", "empty.wav", "text.wav", "header.wav", "noframes.wav", "cut.m4a"}) {
        SCOPED_TRACE(name);
        const QString src = tree.path(name);
        const QByteArray before = readFile(src);
        const QString dest = tree.path("out.wav");
        const QString opened = "Could not open audio URL " + src;
        EXPECT_FALSE(Utils::decode(src, dest));
        EXPECT_EQ(log.lines().last(), opened);
        EXPECT_FALSE(Utils::convert(src, dest, ConversionOptions()));
        EXPECT_EQ(log.lines().last(), opened);
        EXPECT_FALSE(Utils::normalize(src, dest));
        EXPECT_EQ(log.lines().last(), opened);
        EXPECT_FALSE(Utils::trim(src, dest, 0, 1, 0, 0));
        EXPECT_EQ(log.lines().last(), opened);
        EXPECT_FALSE(QFileInfo::exists(dest));
        EXPECT_FALSE(QFileInfo::exists(tree.path("out.wav")));
        EXPECT_EQ(readFile(src), before);
    }

    // A destination that can't be written: nothing is written anywhere.
    const QString nowhere = tree.path("no/such/folder/out.wav");
    EXPECT_FALSE(Utils::normalize(tone, nowhere));
    EXPECT_EQ(log.lines().last(), "Could not create a temporary file in " + tree.path("no/such/folder"));
    EXPECT_FALSE(Utils::decode(tone, nowhere));
    EXPECT_FALSE(QFileInfo::exists(tree.path("no")));
}

TEST(AudioOperations, ConcurrentOperationsTakeTurnsOnTheTemporaryFile)
{
    TempTree tree;
    const QString a = tree.path("a.wav");
    const QString b = tree.path("b.wav");
    ASSERT_TRUE(writeWav16(a, 2, 44100, 200000, rampSample));
    ASSERT_TRUE(writeToneWav(b, 1, 22050, 150000));
    std::optional<QString> outA;
    std::optional<QString> outB;
    std::thread t1([&] { outA = Utils::normalize(a, tree.path("na.wav")); });
    std::thread t2([&] { outB = Utils::trim(b, tree.path("tb.wav"), 1.0, 5.0, 0, 0); });
    t1.join();
    t2.join();
    ASSERT_TRUE(outA);
    ASSERT_TRUE(outB);
    const Audio na = load(*outA);
    const Audio tb = load(*outB);
    EXPECT_EQ(na.channels, 2);
    EXPECT_EQ(na.frames(), 200000);
    EXPECT_EQ(na.at(12345, 0), 2 * rampSample(12345, 0) / 32768.0f);
    EXPECT_EQ(tb.channels, 1);
    EXPECT_EQ(tb.frames(), 4 * 22050);
    EXPECT_EQ(tb.at(100, 0), toneSample(22150, 0, 22050) / 32768.0f);
}
