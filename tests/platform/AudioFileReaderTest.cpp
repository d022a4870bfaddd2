#include "platform/AudioFileReader.h"
#include "platform/FourCC.h"
#include "platform/Locations.h"
#include "support/AudioFixtures.h"
#include "support/BuildPaths.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

using namespace testsupport;
using platform::AudioFileReader;
using platform::fourCC;
using platform::SampleType;

namespace {

constexpr int kRate = 44100;
constexpr int64_t kFrames = 30000;

// Reads the whole file in uneven chunks, as float.
std::vector<float> readAll(AudioFileReader& reader, int64_t chunk = 1000)
{
    std::vector<float> all;
    std::vector<float> buf(size_t(chunk * reader.channels()));
    for (;;) {
        const int64_t n = reader.read(buf.data(), chunk);
        EXPECT_GE(n, 0);
        if (n <= 0)
            break;
        all.insert(all.end(), buf.begin(), buf.begin() + n * reader.channels());
        chunk = chunk == 1000 ? 777 : 1000;
    }
    return all;
}

float maxDifference(const std::vector<float>& a, size_t aStart, const std::vector<float>& b, size_t count)
{
    float worst = 0;
    for (size_t i = 0; i < count; ++i)
        worst = std::max(worst, std::fabs(a[aStart + i] - b[i]));
    return worst;
}

// Seeks to `frame` and compares what follows with the continuous read.
float seekDifference(AudioFileReader& reader, const std::vector<float>& continuous, int64_t frame, int64_t count)
{
    EXPECT_TRUE(reader.seek(frame));
    std::vector<float> buf(size_t(count * reader.channels()));
    int64_t got = 0;
    while (got < count) {
        const int64_t n = reader.read(buf.data() + got * reader.channels(), count - got);
        if (n <= 0)
            break;
        got += n;
    }
    EXPECT_EQ(got, count);
    return maxDifference(continuous, size_t(frame * reader.channels()), buf, size_t(got * reader.channels()));
}

}  // namespace

TEST(AudioFileReader, PcmContainersDeliverTheExactSamples)
{
    TempTree tree;
    const QString wav = tree.path("tone.wav");
    ASSERT_TRUE(writeToneWav(wav, 2, kRate, kFrames));

    struct Case {
        const char* file;
        QStringList soxOptions;
        uint32_t fileType;
        uint32_t flags;
        int bits;
    };
    const Case cases[] = {
        {"tone.wav", {}, fourCC("WAVE"), 0xC, 16},
        {"tone24.wav", {"-b", "24"}, fourCC("WAVE"), 0xC, 24},
        {"tonef.wav", {"-e", "floating-point", "-b", "32"}, fourCC("WAVE"), 0x9, 32},
        {"tone.aif", {}, fourCC("AIFF"), 0xE, 16},
        {"tone.caf", {"-b", "24"}, fourCC("caff"), 0xC, 24},
        {"tone.au", {}, fourCC("NeXT"), 0xE, 16},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const QString path = tree.path(c.file);
        if (path != wav) {
            ASSERT_TRUE(runTool("sox", QStringList{wav} + c.soxOptions + QStringList{path}));
        }
        auto reader = AudioFileReader::open(path);
        ASSERT_TRUE(reader);
        EXPECT_EQ(reader->fileType(), c.fileType);
        EXPECT_EQ(reader->dataFormat(), fourCC("lpcm"));
        EXPECT_EQ(reader->info().formatFlags, c.flags);
        EXPECT_EQ(reader->bitsPerSample(), c.bits);
        EXPECT_EQ(reader->sampleRate(), kRate);
        EXPECT_EQ(reader->channels(), 2);
        EXPECT_EQ(reader->lengthFrames(), kFrames);
        EXPECT_NEAR(reader->duration(), double(kFrames) / kRate, 1e-9);

        const std::vector<float> all = readAll(*reader);
        ASSERT_EQ(all.size(), size_t(kFrames * 2));
        for (int64_t i = 0; i < kFrames; i += 97)
            for (int ch = 0; ch < 2; ++ch)
                ASSERT_FLOAT_EQ(all[size_t(i * 2 + ch)], toneSample(i, ch, kRate) / 32768.0f) << i;
        EXPECT_EQ(seekDifference(*reader, all, 12345, 3000), 0.0f);
        EXPECT_EQ(seekDifference(*reader, all, 7, 100), 0.0f);

        // The int16 client gets the stored values back unchanged.
        ASSERT_TRUE(reader->setClientFormat(kRate, 2, SampleType::Int16));
        ASSERT_TRUE(reader->seek(20001));
        int16_t pcm[2 * 50];
        ASSERT_EQ(reader->read(pcm, 50), 50);
        for (int i = 0; i < 50; ++i)
            ASSERT_EQ(pcm[i * 2 + 1], toneSample(20001 + i, 1, kRate));
    }
}

TEST(AudioFileReader, CompressedFormatsDecodeWithExactSeeking)
{
    TempTree tree;
    const QString wav = tree.path("tone.wav");
    ASSERT_TRUE(writeToneWav(wav, 2, kRate, kFrames));
    auto source = AudioFileReader::open(wav);
    ASSERT_TRUE(source);
    const std::vector<float> original = readAll(*source);

    struct Case {
        const char* file;
        QStringList codec;
        uint32_t fileType;
        uint32_t dataFormat;
        bool exactLength;
        float tolerance;  // against the original samples away from the ends; negative: not compared
    };
    const Case cases[] = {
        {"alac.m4a", {"-c:a", "alac"}, fourCC("m4af"), fourCC("alac"), true, 0.0f},
        {"aac.m4a", {"-c:a", "aac", "-b:a", "192k"}, fourCC("m4af"), fourCC("aac "), true, 0.05f},
        {"tone.mp3", {"-c:a", "libmp3lame", "-b:a", "192k"}, fourCC("MPG3"), fourCC(".mp3"), false, 0.05f},
        {"tone.mp2", {"-c:a", "mp2"}, fourCC("MPG2"), fourCC(".mp2"), false, -1},
        {"tone.aac", {"-c:a", "aac"}, fourCC("adts"), fourCC("aac "), false, -1},
        {"tone.ac3", {"-c:a", "ac3"}, fourCC("ac-3"), fourCC("ac-3"), false, -1},
        {"tone.flac", {"-c:a", "flac"}, fourCC("flac"), fourCC("flac"), true, 0.0f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const QString path = tree.path(c.file);
        ASSERT_TRUE(runTool("ffmpeg", QStringList{"-v", "error", "-y", "-i", wav} + c.codec + QStringList{path}));
        auto reader = AudioFileReader::open(path);
        ASSERT_TRUE(reader);
        EXPECT_EQ(platform::fourCCString(reader->fileType()), platform::fourCCString(c.fileType));
        EXPECT_EQ(platform::fourCCString(reader->dataFormat()), platform::fourCCString(c.dataFormat));
        EXPECT_EQ(reader->sampleRate(), kRate);
        EXPECT_EQ(reader->channels(), 2);
        EXPECT_GT(reader->bitRate(), 0);

        const std::vector<float> all = readAll(*reader);
        const int64_t frames = int64_t(all.size() / 2);
        if (c.exactLength) {
            // The container's own count (the AAC muxer trims a few frames off the end).
            const int64_t stored = probe(path)["duration_ts"].toLongLong();
            EXPECT_NEAR(double(stored), double(kFrames), 16.0);
            EXPECT_EQ(reader->lengthFrames(), stored);
            EXPECT_EQ(frames, stored);
        } else {
            EXPECT_NEAR(double(reader->lengthFrames()), double(kFrames), 4096.0);
            EXPECT_NEAR(double(frames), double(kFrames), 2048.0);
        }
        if (c.tolerance >= 0) {
            const size_t margin = 2048 * 2;
            EXPECT_LE(maxDifference(all, margin, std::vector<float>(original.begin() + margin, original.end()),
                                    size_t(std::min<int64_t>(frames, kFrames) * 2) - 2 * margin),
                      c.tolerance);
        }
        // Backwards, forwards and within a packet, each landing on the very frame: a lossy
        // decoder restarted after a seek differs from the continuous one only in rounding,
        // while one frame off would differ by some 0.03 on this tone.
        const float seekTolerance = c.tolerance == 0.0f ? 0.0f : 1e-3f;
        for (const int64_t at : {int64_t(21000), int64_t(5000), int64_t(5010), int64_t(26001), int64_t(0)})
            EXPECT_LE(seekDifference(*reader, all, at, 1500), seekTolerance) << at;
    }
}

TEST(AudioFileReader, ConvertsTheSampleRateAndSeeksInTheConvertedTimeline)
{
    TempTree tree;
    const QString wav = tree.path("tone48.wav");
    ASSERT_TRUE(writeToneWav(wav, 1, 48000, 48000));
    auto reader = AudioFileReader::open(wav);
    ASSERT_TRUE(reader);
    ASSERT_TRUE(reader->setClientFormat(44100, 1, SampleType::Float32));
    EXPECT_EQ(reader->clientLengthFrames(), 44100);
    const std::vector<float> all = readAll(*reader);
    ASSERT_EQ(all.size(), size_t(44100));
    // The converted tone is still the same tone, sampled at the new rate.
    for (int64_t i = 100; i < 44000; i += 331)
        ASSERT_NEAR(all[size_t(i)], toneSample(i, 0, 44100) / 32768.0f, 0.01f) << i;
    for (const int64_t at : {int64_t(30000), int64_t(1234), int64_t(0), int64_t(43000)})
        EXPECT_LT(seekDifference(*reader, all, at, 1000), 1e-5f) << at;

    // Upwards, into int16.
    ASSERT_TRUE(reader->setClientFormat(96000, 1, SampleType::Int16));
    EXPECT_EQ(reader->clientLengthFrames(), 96000);
    std::vector<int16_t> pcm(100000);
    int64_t total = 0;
    for (int64_t n; (n = reader->read(pcm.data() + total, 5000)) > 0;)
        total += n;
    EXPECT_EQ(total, 96000);
    EXPECT_NEAR(pcm[20000], toneSample(20000, 0, 96000), 200);
    EXPECT_FALSE(reader->setClientFormat(44100, 2, SampleType::Float32));
}

TEST(AudioFileReader, RefusesWhatIsNotAudioAndReadsWhatIsLeftOfTruncatedFiles)
{
    TempTree tree;
    LogCapture log;
    ASSERT_TRUE(writeFile(tree.path("empty.wav"), {}));
    ASSERT_TRUE(writeFile(tree.path("notes.mp3"), QByteArray("just some words, not audio\n").repeated(50)));
    for (const char* name : {"missing.wav", "empty.wav", "notes.mp3"}) {
        EXPECT_FALSE(AudioFileReader::open(tree.path(name))) << name;
        EXPECT_TRUE(log.lines().last().startsWith("Could not read audio file " + tree.path(name) + ": ")) << name;
    }

    const QString wav = tree.path("tone.wav");
    ASSERT_TRUE(writeToneWav(wav, 2, kRate, kFrames));
    QByteArray bytes = readFile(wav);
    ASSERT_TRUE(writeFile(tree.path("cut.wav"), bytes.left(44 + 4 * 10000 + 2)));
    auto cut = AudioFileReader::open(tree.path("cut.wav"));
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->lengthFrames(), 10000);
    EXPECT_EQ(readAll(*cut).size(), size_t(20000));

    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", wav, tree.path("tone.m4a")}));
    bytes = readFile(tree.path("tone.m4a"));
    ASSERT_TRUE(writeFile(tree.path("cut.m4a"), bytes.left(bytes.size() * 2 / 3)));
    if (auto reader = AudioFileReader::open(tree.path("cut.m4a"))) {
        EXPECT_LE(readAll(*reader).size(), size_t(kFrames * 2));
    }
}

TEST(AudioFileReader, VbrMp3WithoutHeaderHasItsExactLengthAndSeeksExactlyNearTheEnd)
{
    // Six minutes of VBR MP3 without the header that would give its length: a sweep with
    // bursts of noise, so the frames' bit rates vary widely.
    TempTree tree;
    const QString mp3 = tree.path("vbr.mp3");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-f", "lavfi", "-i",
                                   "aevalsrc=0.4*sin(2*PI*(200+40*t)*t)+if(gt(mod(t\\,7)\\,4)\\,0.3*(random(0)-0.5)\\,0):s=22050:d=360",
                                   "-c:a", "libmp3lame", "-q:a", "6", "-write_xing", "0", mp3}));
    QByteArray whole;
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", mp3, "-f", "f32le", "-c:a", "pcm_f32le", "-"}, &whole));
    const int64_t decodedFrames = whole.size() / 4;

    auto reader = AudioFileReader::open(mp3);
    ASSERT_TRUE(reader);
    EXPECT_TRUE(reader->info().lengthIsExact);
    EXPECT_NEAR(double(reader->lengthFrames()), double(decodedFrames), 1152.0);
    EXPECT_NEAR(reader->duration(), 360.0, 0.2);
    // The average rate over the stream, not the first frame's.
    const double average = double(QFileInfo(mp3).size()) * 8 / 360.0;
    EXPECT_NEAR(double(reader->bitRate()), average, average * 0.03);

    // Minute 5:30 and a frame just before the end, in that order and back, sample for sample.
    const auto* reference = reinterpret_cast<const float*>(whole.constData());
    for (const int64_t at : {int64_t(330 * 22050 + 17), decodedFrames - 3000, int64_t(100 * 22050 + 1151)}) {
        SCOPED_TRACE(at);
        ASSERT_TRUE(reader->seek(at));
        std::vector<float> got(2000);
        ASSERT_EQ(reader->read(got.data(), 2000), 2000);
        float worst = 0;
        for (size_t i = 0; i < got.size(); ++i)
            worst = std::max(worst, std::fabs(got[i] - reference[size_t(at) + i]));
        EXPECT_LE(worst, 1e-6f);
    }
    // Reading on to the end delivers exactly the decoder's frames.
    ASSERT_TRUE(reader->seek(decodedFrames - 3000));
    EXPECT_EQ(int64_t(readAll(*reader).size()), 3000);
}

namespace {

// One run of the tool on a file, as a fresh process: what it logged. Without the information
// cache, which would describe an unchanged file without opening it.
QString toolLog(const QStringList& args)
{
    QDir(platform::Locations::fileInformationCache()).removeRecursively();
    QProcess p;
    p.setProcessChannelMode(QProcess::SeparateChannels);
    p.start(binDir() + "/wavelocker-tool", args);
    p.waitForFinished(120000);
    EXPECT_EQ(p.exitCode(), 0) << args.join(' ').toStdString();
    return QString::fromUtf8(p.readAllStandardError() + p.readAllStandardOutput());
}

}  // namespace

// The packet scan of an MP3 is kept on disk: a later run seeks at once and exactly; a file
// replaced under its name, and a damaged or cut-off index, are scanned again.
TEST(AudioFileReader, Mp3PacketIndexesOutliveTheProcessAndNeverGoStale)
{
    TempTree tree;
    const QString mp3 = tree.path("hour.mp3");
    // An hour of VBR MP3 without the header that would give its length.
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "aevalsrc=0.4*sin(2*PI*(200+t/20)*t):s=8000:d=3600",
                                   "-c:a", "libmp3lame", "-q:a", "9", "-write_xing", "0", mp3}));
    const QString scanned = "Scanned the packets of " + mp3;
    EXPECT_TRUE(toolLog({"info", mp3}).contains(scanned));
    const QDir indexes(platform::Locations::packetIndexes());
    const QStringList files = indexes.entryList(QDir::Files);
    ASSERT_EQ(files.size(), 1);
    const QString index = indexes.filePath(files.front());

    // This process never saw the file: it takes the index the other one left.
    QByteArray whole;
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", mp3, "-f", "f32le", "-c:a", "pcm_f32le", "-"}, &whole));
    const int64_t decodedFrames = whole.size() / 4;
    {
        LogCapture log;
        auto reader = AudioFileReader::open(mp3);
        ASSERT_TRUE(reader);
        EXPECT_FALSE(log.contains(scanned));
        EXPECT_EQ(reader->lengthFrames(), decodedFrames);
        const auto* reference = reinterpret_cast<const float*>(whole.constData());
        for (const int64_t at : {int64_t(55 * 60 * 8000 + 17), decodedFrames - 1500, int64_t(10 * 60 * 8000 + 1151)}) {
            SCOPED_TRACE(at);
            ASSERT_TRUE(reader->seek(at));
            std::vector<float> got(1000);
            ASSERT_EQ(reader->read(got.data(), 1000), 1000);
            for (size_t i = 0; i < got.size(); ++i)
                ASSERT_EQ(got[i], reference[size_t(at) + i]) << i;
        }
    }
    EXPECT_FALSE(toolLog({"info", mp3}).contains(scanned));

    // A damaged index and one cut short are passed over, scanned anew and stored whole again.
    QByteArray bytes = readFile(index);
    for (const QByteArray& broken : {QByteArray(bytes).replace(bytes.size() / 2, 4, "XXXX"), bytes.left(bytes.size() / 2)}) {
        ASSERT_TRUE(writeFile(index, broken));
        const QString first = toolLog({"info", mp3});
        EXPECT_TRUE(first.contains(scanned));
        EXPECT_TRUE(first.contains("60:00.")) << first.toStdString();
        EXPECT_EQ(readFile(index), bytes);
        EXPECT_FALSE(toolLog({"info", mp3}).contains(scanned));
    }

    // An export over the file (a new file renamed into place) with another length.
    const QString export_ = tree.path("export.mp3");
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-i", mp3, "-t", "1500", "-c:a", "libmp3lame", "-q:a", "9",
                                   "-write_xing", "0", export_}));
    ASSERT_TRUE(QFile::rename(mp3, tree.path("old.mp3")) && QFile::rename(export_, mp3));
    const QString replaced = toolLog({"info", mp3});
    EXPECT_TRUE(replaced.contains(scanned));
    EXPECT_TRUE(replaced.contains("25:00.")) << replaced.toStdString();
    // Rewritten in place, same size, another time: still not the same version.
    QByteArray now = readFile(mp3);
    now[now.size() - 10] = char(now[now.size() - 10] ^ 0x55);
    ASSERT_TRUE(writeFile(mp3, now));
    EXPECT_TRUE(toolLog({"info", mp3}).contains(scanned));
    EXPECT_EQ(indexes.entryList(QDir::Files).size(), 1);
}
