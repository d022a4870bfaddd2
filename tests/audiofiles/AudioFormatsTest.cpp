#include "audiofiles/AudioOperations.h"
#include "audiofiles/FileInformation.h"
#include "support/AudioFixtures.h"
#include "support/DecodedAudio.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

QByteArray head(const QString& path, int bytes)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.read(bytes) : QByteArray();
}

float peakOf(const DecodedAudio& a)
{
    float peak = 0;
    for (float v : a.samples)
        peak = std::max(peak, std::abs(v));
    return peak;
}

// The largest sample difference of two decodes of the same length.
float largestDifference(const DecodedAudio& got, const DecodedAudio& want)
{
    float worst = 0;
    for (size_t i = 0; i < got.samples.size(); ++i)
        worst = std::max(worst, std::abs(got.samples[i] - want.samples[i]));
    return worst;
}

ConversionOptions options(int format, int channels, int bits, int bitrate = 128000)
{
    ConversionOptions o;
    o.format = format;
    o.channels = channels;
    o.bits = bits;
    o.samplerate = 44100;
    o.bitrate = bitrate;
    return o;
}

}  // namespace

// Every channel of a surround file reaches stereo and mono as other tools mix it down, by the
// speaker positions the file names, and normalize and trim keep those positions.
TEST(AudioFormats, SurroundSourcesMixDownLikeOtherTools)
{
    TempTree tree;
    const QString plain = tree.path("surround.wav");
    // A different tone on each channel, loud enough that an unscaled mix would clip.
    ASSERT_TRUE(writeWav16(plain, 6, 44100, 44100, [](int64_t i, int c) {
        return int16_t(std::lround(20000 * std::sin(2 * M_PI * (200 + 150 * c) * double(i) / 44100)));
    }));
    // Four channels with their positions in the header: without them four would mean 4.0.
    const QString quad = tree.path("quad.wav");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", plain, "-af", "pan=quad|FL=c0|FR=c1|BL=c4|BR=c5", quad}));
    for (const QString& src : {plain, quad}) {
        for (int channels : {2, 1}) {
            SCOPED_TRACE(QString("%1 to %2").arg(src).arg(channels).toStdString());
            const QString ref = tree.path("ref.wav");
            QFile::remove(ref);
            ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", src, "-ac", QString::number(channels), "-c:a", "pcm_s16le", ref}));
            const QString out = tree.path("out.wav");
            QFile::remove(out);
            ASSERT_TRUE(Utils::convert(src, out, options(0, channels, 16)));
            const DecodedAudio want = decodeFile(ref);
            const DecodedAudio got = decodeFile(out);
            ASSERT_EQ(got.channels, channels);
            ASSERT_EQ(got.frames(), want.frames());
            EXPECT_LE(largestDifference(got, want) * 32768, 1.0f);
            EXPECT_GT(peakOf(got), 0.3f);
        }
    }
    // Twelve channels without positions take WAVE's first twelve and still mix down.
    const QString twelve = tree.path("twelve.wav");
    ASSERT_TRUE(writeWav16(twelve, 12, 44100, 4410, [](int64_t i, int c) { return int16_t(c == 9 ? (i % 100) * 100 : 0); }));
    ASSERT_TRUE(Utils::convert(twelve, tree.path("twelve-mono.wav"), options(0, 1, 16)));
    EXPECT_GT(peakOf(decodeFile(tree.path("twelve-mono.wav"))), 0.01f);

    const QString side = tree.path("side.wav");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", plain, "-af", "channelmap=channel_layout=5.1(side)", side}));
    const QString sideFlac = tree.path("side.flac");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", side, sideFlac}));
    for (const QString& src : {quad, side, sideFlac}) {
        SCOPED_TRACE(src.toStdString());
        const QString layout = probe(src)["channel_layout"];
        const auto normalized = Utils::normalize(src, tree.path("n-" + QFileInfo(src).fileName()));
        const auto trimmed = Utils::trim(src, tree.path("t-" + QFileInfo(src).fileName()), 0.25, 0.75, 0, 0);
        ASSERT_TRUE(normalized && trimmed);
        EXPECT_EQ(probe(*normalized)["channel_layout"], layout);
        EXPECT_EQ(probe(*trimmed)["channel_layout"], layout);
    }
}

// Beyond 7.1: the channel count and the speaker positions survive normalize and trim; the
// mix-down is the standard one where there is one, and goes by position where there is none.
TEST(AudioFormats, ManyChannelSourcesKeepTheirLayoutAndMixDown)
{
    TempTree tree;
    auto tone = [](int64_t i, int c) {
        return int16_t(std::lround(12000 * std::sin(2 * M_PI * (150 + 90 * c) * double(i) / 44100)));
    };
    const QString plain = tree.path("ten-plain.wav");
    ASSERT_TRUE(writeWav16(plain, 10, 44100, 22050, tone));
    // 5.1 with four height speakers, named in the header.
    const QString heights = tree.path("ten-heights.wav");
    const QString positions = "channelmap=map=0|1|2|3|4|5|6|7|8|9:channel_layout=";
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", plain, "-af", positions + "0x2D03F", "-c:a", "pcm_s16le", heights}));
    ASSERT_EQ(probe(heights)["channels"], "10");
    const QString layout = probe(heights)["channel_layout"];
    ASSERT_TRUE(layout.contains("TFL")) << layout.toStdString();

    for (int channels : {2, 1}) {
        SCOPED_TRACE(channels);
        const QString ref = tree.path(QString("ref%1.wav").arg(channels));
        ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", heights, "-ac", QString::number(channels), "-c:a", "pcm_s16le", ref}));
        const QString out = tree.path(QString("mix%1.wav").arg(channels));
        ASSERT_TRUE(Utils::convert(heights, out, options(0, channels, 16)));
        const DecodedAudio want = decodeFile(ref);
        const DecodedAudio got = decodeFile(out);
        ASSERT_EQ(got.channels, channels);
        ASSERT_EQ(got.frames(), want.frames());
        EXPECT_LE(largestDifference(got, want) * 32768, 1.0f);
        EXPECT_GT(peakOf(got), 0.1f);
    }

    // Normalize and trim keep ten channels, named or not, and every channel's own signal.
    for (const QString& src : {plain, heights}) {
        SCOPED_TRACE(src.toStdString());
        const QString name = QFileInfo(src).fileName();
        const auto normalized = Utils::normalize(src, tree.path("n-" + name));
        const auto trimmed = Utils::trim(src, tree.path("t-" + name), 0.1, 0.3, 0, 0);
        ASSERT_TRUE(normalized && trimmed);
        EXPECT_EQ(*normalized, tree.path("n-" + name));
        for (const QString& out : {*normalized, *trimmed}) {
            EXPECT_EQ(probe(out)["channels"], "10");
            EXPECT_EQ(probe(out)["channel_layout"], probe(src)["channel_layout"]);
        }
        const DecodedAudio n = decodeFile(*normalized);
        const DecodedAudio t = decodeFile(*trimmed);
        ASSERT_EQ(t.frames(), 8820);
        for (int c = 0; c < 10; ++c) {
            EXPECT_NEAR(n.at(1000, c) * 12000 / 32768, tone(1000, c) / 32768.0, 2e-4) << c;
            EXPECT_NEAR(t.at(100, c), tone(4510, c) / 32768.0, 1e-4) << c;
        }
    }

    // No standard matrix: a side channel without its pair, and channels past the 18 named
    // positions. Each lands on its own side, centres and unnamed channels on both alike, and
    // full scale on every channel can't clip.
    const QString lopsided = tree.path("lopsided.wav");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", plain, "-af", positions + "0x3FF", "-c:a", "pcm_s16le", lopsided}));
    EXPECT_FALSE(runTool("ffmpeg", {"-v", "quiet", "-i", lopsided, "-ac", "2", "-f", "null", "-"}));
    ASSERT_TRUE(Utils::convert(lopsided, tree.path("lopsided-stereo.wav"), options(0, 2, 16)));
    EXPECT_GT(peakOf(decodeFile(tree.path("lopsided-stereo.wav"))), 0.1f);
    const QString twenty = tree.path("twenty.wav");
    ASSERT_TRUE(writeWav16(twenty, 20, 44100, 4410, [](int64_t, int) { return int16_t(32767); }));
    struct Probe1 {
        QString src;
        int channel;
        float left;
        float right;
    };
    auto only = [&](const QString& name, int channels, int channel) {
        const QString path = tree.path(name);
        writeWav16(path, channels, 44100, 4410, [channel](int64_t i, int c) { return int16_t(c == channel ? (i % 2 ? 16000 : -16000) : 0); });
        return path;
    };
    const DecodedAudio full = [&] {
        const QString out = tree.path("twenty-stereo.wav");
        EXPECT_TRUE(Utils::convert(twenty, out, options(0, 2, 16)));
        return decodeFile(out);
    }();
    ASSERT_EQ(full.channels, 2);
    EXPECT_LE(peakOf(full), 1.0f);
    EXPECT_GT(peakOf(full), 0.9f);
    const Probe1 cases[] = {
        {only("sl.wav", 10, 9), 9, 1, 0},         // the lone side left: left only
        {only("bc.wav", 10, 8), 8, 1, 1},         // back centre: both alike
        {only("fl.wav", 10, 0), 0, 1, 0},
        {only("unnamed.wav", 20, 19), 19, 1, 1},  // past the named positions: both alike
    };
    for (const Probe1& c : cases) {
        SCOPED_TRACE(c.src.toStdString());
        const QString stereo = c.src + ".stereo.wav";
        const QString mono = c.src + ".mono.wav";
        ASSERT_TRUE(Utils::convert(c.src, stereo, options(0, 2, 16)));
        ASSERT_TRUE(Utils::convert(c.src, mono, options(0, 1, 16)));
        const DecodedAudio s = decodeFile(stereo);
        const float l = std::abs(s.at(11, 0));
        const float r = std::abs(s.at(11, 1));
        EXPECT_GT(std::max(l, r), 0.01f);
        EXPECT_NEAR(l / std::max(l, r), c.left, 1e-3);
        EXPECT_NEAR(r / std::max(l, r), c.right, 1e-3);
        EXPECT_GT(std::abs(decodeFile(mono).at(11)), 0.01f);
    }
}

// Deep lossless sources keep their container and all 24 bits through normalize and trim;
// a container we can't write falls back to a 24-bit WAVE.
TEST(AudioFormats, LosslessSourcesKeepContainerAndDepth)
{
    TempTree tree;
    const QString aifc = tree.path("deep.aifc");
    ASSERT_TRUE(runTool("sox", {"-n", "-r", "48000", "-c", "2", "-b", "24", "-e", "signed-integer", aifc, "synth", "2",
                                "sine", "440", "vol", "0.4"}));
    ASSERT_EQ(head(aifc, 12).mid(8), "AIFC");
    const QString flac = tree.path("deep.flac");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", aifc, "-c:a", "flac", "-sample_fmt", "s32", flac}));
    const QString mov = tree.path("deep.mov");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", aifc, "-c:a", "pcm_s24le", mov}));

    const auto info = Utils::fileInformation(flac);
    ASSERT_TRUE(info);
    EXPECT_TRUE(info->text.startsWith("2 ch FLAC\n24 bit 48000 Hz\n")) << info->text.toStdString();

    struct Case {
        QString src;
        QString dest;
        QString written;
        QByteArray magic;
        int magicAt;
        QString codec;
    };
    const Case cases[] = {
        {aifc, "n.aifc", "n.aifc", "AIFC", 8, "pcm_s24be"},
        {flac, "n.flac", "n.flac", "fLaC", 0, "flac"},
        {mov, "n.mov", "n.wav", "WAVE", 8, "pcm_s24le"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.dest.toStdString());
        const auto normalized = Utils::normalize(c.src, tree.path(c.dest));
        ASSERT_TRUE(normalized);
        EXPECT_EQ(*normalized, tree.path(c.written));
        const auto trimmed = Utils::trim(c.src, tree.path("t-" + c.dest), 0.5, 1.5, 0.1, 0.1);
        ASSERT_TRUE(trimmed);
        for (const QString& out : {*normalized, *trimmed}) {
            EXPECT_EQ(head(out, c.magicAt + 4).mid(c.magicAt), c.magic);
            const Probe p = probe(out);
            EXPECT_EQ(p["codec_name"], c.codec);
            EXPECT_EQ(p["channels"], "2");
            EXPECT_EQ(p["sample_rate"], "48000");
            EXPECT_EQ(c.codec == "flac" ? p["bits_per_raw_sample"] : p["bits_per_sample"], "24");
        }
        const DecodedAudio n = decodeFile(*normalized);
        EXPECT_NEAR(peakOf(n), 1.0f, 1e-4f);
        // Below the 16-bit step: samples that a 16-bit result would have rounded away.
        int fine = 0;
        for (float v : n.samples)
            fine += std::fmod(std::abs(v) * 32768.0f, 1.0f) > 0.01f;
        EXPECT_GT(fine, int(n.samples.size() / 2));
        EXPECT_EQ(decodeFile(*trimmed).frames(), 48000);
    }
}

// MP3, Ogg Vorbis and Opus sources stay in their container and codec at a comparable bit rate
// through normalize and trim, with their length, and normalized they decode at full scale.
TEST(AudioFormats, LossySourcesKeepTheirContainerAndBitRate)
{
    TempTree tree;
    LogCapture log;
    // Smooth material: the encoders' error at its peak stays well below a tenth of a decibel
    // once they run at these rates.
    const QString music = tree.path("music.wav");
    ASSERT_TRUE(runTool("sox", {"-D", "-n", "-r", "48000", "-c", "2", "-b", "16", music, "synth", "4", "sine", "220", "sine",
                                "277", "synth", "4", "sine", "amod", "0.5", "vol", "0.4", "fade", "0.5", "4", "0.5"}));
    struct Case {
        QString name;
        QStringList encode;
        QString format;
        QString codec;
        double bitRate;  // 0: the source's own, measured
    };
    const Case cases[] = {
        {"cbr.mp3", {"-c:a", "libmp3lame", "-b:a", "192k"}, "mp3", "mp3", 192000},
        {"vbr.mp3", {"-c:a", "libmp3lame", "-q:a", "2", "-write_xing", "0"}, "mp3", "mp3", 0},
        {"song.ogg", {"-c:a", "libvorbis", "-b:a", "160k"}, "ogg", "vorbis", 160000},
        {"voice.opus", {"-c:a", "libopus", "-b:a", "128k"}, "ogg", "opus", 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name.toStdString());
        const QString src = tree.path(c.name);
        QStringList args = {"-v", "error", "-i", music};
        args << c.encode << src;
        ASSERT_TRUE(runTool("ffmpeg", args));
        const DecodedAudio source = decodeFile(src);
        const QString ext = QFileInfo(src).suffix();
        const auto normalized = Utils::normalize(src, tree.path("n." + ext));
        const auto trimmed = Utils::trim(src, tree.path("t." + ext), 1, 3, 0.1, 0.1);
        ASSERT_TRUE(normalized && trimmed);
        EXPECT_EQ(*normalized, tree.path("n." + ext));
        EXPECT_EQ(*trimmed, tree.path("t." + ext));
        const double sourceRate = c.bitRate > 0 ? c.bitRate : probe(src)["format:bit_rate"].toDouble();
        for (const QString& out : {*normalized, *trimmed}) {
            const Probe p = probe(out);
            EXPECT_EQ(p["format:format_name"], c.format);
            EXPECT_EQ(p["codec_name"], c.codec);
            EXPECT_EQ(p["channels"], "2");
            // Vorbis files carry the rate they were asked for; the others are measured.
            const double rate = c.codec == "vorbis" ? p["bit_rate"].toDouble() : p["format:bit_rate"].toDouble();
            EXPECT_NEAR(rate, sourceRate, sourceRate * 0.1) << out.toStdString();
        }
        const DecodedAudio n = decodeFile(*normalized);
        EXPECT_EQ(n.frames(), source.frames());
        EXPECT_EQ(decodeFile(*trimmed).frames(), 2 * int64_t(source.rate));
        EXPECT_LE(std::abs(20 * std::log10(peakOf(n))), 0.1) << peakOf(n);
    }
    EXPECT_FALSE(log.contains("Creating standard WAVE instead"));

    // Plucked strings: sharp attacks make the encoder's peaks jump with the gain, so Opus takes
    // its correction in its header's gain, which decoders apply exactly.
    const QString plucked = tree.path("plucked.wav");
    ASSERT_TRUE(runTool("sox", {"-D", "-n", "-r", "48000", "-c", "2", "-b", "16", plucked, "synth", "4", "pluck", "220",
                                "pluck", "330", "vol", "0.3"}));
    const QString opus = tree.path("plucked.opus");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", plucked, "-c:a", "libopus", "-b:a", "96k", opus}));
    const auto loud = Utils::normalize(opus, tree.path("loud.opus"));
    ASSERT_TRUE(loud);
    EXPECT_LE(std::abs(20 * std::log10(peakOf(decodeFile(*loud)))), 0.01);
    QByteArray fromFfmpeg;
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", *loud, "-f", "f32le", "-"}, &fromFfmpeg));
    float ffmpegPeak = 0;
    for (qsizetype i = 0; i + 4 <= fromFfmpeg.size(); i += 4) {
        float v;
        std::memcpy(&v, fromFfmpeg.constData() + i, 4);
        ffmpegPeak = std::max(ffmpegPeak, std::abs(v));
    }
    EXPECT_LE(std::abs(20 * std::log10(ffmpegPeak)), 0.01) << ffmpegPeak;

    // Cancelled once the first encode is written, while it is measured: nothing arrives.
    Utils::CancelFlag cancel{false};
    const auto cancelled = Utils::normalize(
        opus, tree.path("never.opus"), [&](float done) { cancel = cancel || done >= 0.75f; }, &cancel);
    EXPECT_FALSE(cancelled);
    EXPECT_FALSE(QFileInfo::exists(tree.path("never.opus")));
    EXPECT_TRUE(QDir(tree.root()).entryList({".tempfile-*"}, QDir::Files | QDir::Hidden).isEmpty());
}

// What the encoders can't give is said, and what they give is what the log and the
// information text say.
TEST(AudioFormats, EncodersAreHonest)
{
    TempTree tree;
    LogCapture log;
    const QString noise = tree.path("noise.wav");
    // Repeatable noise: the encoder's peaks depend on every sample.
    ASSERT_TRUE(runTool("sox", {"-R", "-D", "-n", "-r", "44100", "-c", "2", "-b", "16", noise, "synth", "3", "pinknoise", "vol", "0.5"}));

    const QString alac = tree.path("deep.m4a");
    ASSERT_TRUE(Utils::convert(noise, alac, options(4, 2, 32)));
    EXPECT_TRUE(log.contains("M4A ALAC takes at most 24 bits; writing 24-bit samples"));
    EXPECT_EQ(probe(alac)["bits_per_raw_sample"], "24");
    const auto alacInfo = Utils::fileInformation(alac);
    ASSERT_TRUE(alacInfo);
    EXPECT_TRUE(alacInfo->text.contains("\n24 bit ")) << alacInfo->text.toStdString();

    for (int kbps : {96, 128, 160, 192, 256, 320}) {
        SCOPED_TRACE(kbps);
        const QString out = tree.path(QString("aac%1.m4a").arg(kbps));
        ASSERT_TRUE(Utils::convert(noise, out, options(3, 2, 16, kbps * 1000)));
        const int given = std::min(kbps, 192);
        if (kbps > given) {
            EXPECT_TRUE(log.contains(QString("The AAC encoder gives at most 192 kb/s here, not the %1 kb/s asked for").arg(kbps)));
        }
        EXPECT_TRUE(log.contains(QString("Encoding with bit rate %1").arg(given * 1000)));
        const double measured = probe(out)["bit_rate"].toDouble() / 1000;
        EXPECT_NEAR(measured, given, given * 0.1);
    }

    // Normalizing an AAC file keeps its bit rate and lands at full scale once decoded: noise
    // at 192 and 320 kb/s, and at 64 kb/s mono, where the encoder's first frame rings far over
    // full scale with a slightly higher gain than the first.
    for (const QString& rate : {QString("192k"), QString("320k"), QString("64k")}) {
        SCOPED_TRACE(rate.toStdString());
        const QString src = tree.path("noise" + rate + ".m4a");
        QStringList args = {"-v", "error", "-i", noise, "-c:a", "aac", "-b:a", rate, src};
        if (rate == "64k")
            args.insert(4, "-ac"), args.insert(5, "1");
        ASSERT_TRUE(runTool("ffmpeg", args));
        const auto normalized = Utils::normalize(src, tree.path("loud" + rate + ".m4a"));
        ASSERT_TRUE(normalized);
        EXPECT_EQ(probe(*normalized)["codec_name"], "aac");
        // Up to the most the encoder gives (the 320 kb/s source holds about 225).
        const double sourceRate = std::min(probe(src)["bit_rate"].toDouble(), 192000.0);
        EXPECT_NEAR(probe(*normalized)["bit_rate"].toDouble(), sourceRate, sourceRate * 0.1);
        const float peak = peakOf(decodeFile(*normalized));
        EXPECT_LE(std::abs(20 * std::log10(peak)), 0.1) << peak;
    }
    // A sustained tone: the encoder pulls every frame that would peak above 0.95 down to it, so
    // no gain brings it closer; the log says where it stays.
    const QString chord = tree.path("chord.wav");
    // Undithered, so that every run encodes the same samples.
    ASSERT_TRUE(runTool("sox", {"-D", "-n", "-r", "44100", "-c", "2", "-b", "16", chord, "synth", "3", "sine", "440", "sine",
                                "554", "vol", "0.3", "fade", "0.2", "3", "0.2"}));
    const QString quiet = tree.path("quiet.m4a");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", chord, "-c:a", "aac", "-b:a", "192k", quiet}));
    const auto normalized = Utils::normalize(quiet, tree.path("loud.m4a"));
    ASSERT_TRUE(normalized);
    const float peak = peakOf(decodeFile(*normalized));
    EXPECT_NEAR(peak, 0.95f, 0.01f);
    EXPECT_TRUE(log.contains(QString::asprintf("The encoder keeps the peak at %g after decoding", double(peak))));
    // It stops trying once a louder encode decodes no louder.
    EXPECT_EQ(log.lines().filter(QRegularExpression("^Decoded peak: 0\\.95")).size(), 1);
}
