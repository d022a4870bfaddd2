#include "audiofiles/RecFormats.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileRepair.h"
#include "platform/AudioFileWriter.h"
#include "support/DecodedAudio.h"
#include "support/KnownSignal.h"
#include "support/TempTree.h"

#include <QFile>
#include <QProcess>
#include <gtest/gtest.h>

namespace {

constexpr double kRate = 44100;

std::vector<float> signalFrames(uint64_t first, int64_t frames)
{
    std::vector<float> s(size_t(frames) * 2);
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < 2; ++c)
            s[size_t(f * 2 + c)] = testsupport::knownSample(first + uint64_t(f), c);
    return s;
}

std::unique_ptr<platform::AudioFileWriter> recoverable(const QString& path, int format, int bits)
{
    platform::StreamDescription d;
    d.sampleRate = kRate;
    d.channelsPerFrame = 2;
    if (!Utils::setupASBD(d, format, bits))
        return nullptr;
    return platform::AudioFileWriter::createRecoverable(path, Utils::fileTypeForRecFormat(format), d);
}

}  // namespace

// A take cut off after its last checkpoint: the header counts less than the file holds, and
// the last frame is cut in half. Repaired, it holds every whole frame, exactly.
TEST(AudioFileRepair, PcmTakesGetTheirSizesFromTheirLength)
{
    testsupport::TempTree tree;
    for (const int format : {0, 1, 2}) {
        for (const int bits : {16, 24, 32}) {
            if (bits > Utils::highestBitsForRecFormat(format))
                continue;
            SCOPED_TRACE(format * 100 + bits);
            const QString path = tree.path(QStringLiteral("take.") + Utils::fileExtensionForRecFormat(format));
            auto writer = recoverable(path, format, bits);
            ASSERT_TRUE(writer);
            ASSERT_TRUE(writer->write(signalFrames(0, 1000).data(), 1000));
            ASSERT_TRUE(writer->checkpoint());
            ASSERT_TRUE(writer->write(signalFrames(1000, 3000).data(), 3000));
            const QString cut = tree.path(QStringLiteral("cut.") + Utils::fileExtensionForRecFormat(format));
            QFile::remove(cut);
            ASSERT_TRUE(QFile::copy(path, cut));  // the process is gone here: no close
            {
                QFile f(cut);
                ASSERT_TRUE(f.open(QIODevice::Append));
                f.write("\x01\x02", 2);  // half a frame
            }
            EXPECT_EQ(testsupport::decodeFile(cut).frames(), 1000);  // as the header says
            QString why;
            ASSERT_TRUE(platform::AudioFileRepair::repair(cut, &why)) << why.toStdString();
            const auto audio = testsupport::decodeFile(cut);
            ASSERT_EQ(audio.frames(), 4000);
            EXPECT_EQ(audio.samples, signalFrames(0, 4000));
            // Repairing a whole file changes nothing.
            ASSERT_TRUE(platform::AudioFileRepair::repair(cut));
            EXPECT_EQ(testsupport::decodeFile(cut).samples, audio.samples);
        }
    }
}

// A WAVE take cut off just after it passed 4 GiB, before its header became RF64, comes back
// as RF64 counting all of it (a sparse file: no disk is spent).
TEST(AudioFileRepair, WaveBeyondFourGigabytesBecomesRf64)
{
    testsupport::TempTree tree;
    const QString path = tree.path(QStringLiteral("take.wav"));
    auto writer = recoverable(path, 0, 16);
    ASSERT_TRUE(writer);
    ASSERT_TRUE(writer->write(signalFrames(0, 1000).data(), 1000));
    ASSERT_TRUE(writer->checkpoint());
    const QString cut = tree.path(QStringLiteral("cut.wav"));
    ASSERT_TRUE(QFile::copy(path, cut));
    writer.reset();

    const qint64 header = QFile(cut).size() - 1000 * 4;
    const qint64 frames = (qint64(1) << 32) / 4 + 5000;  // past what a RIFF size counts
    const qint64 tailFrames = 1000;
    {
        QFile f(cut);
        ASSERT_TRUE(f.open(QIODevice::ReadWrite));
        ASSERT_TRUE(f.resize(header + frames * 4));
        // The last frames carry the signal from a known index, as 16-bit samples.
        std::vector<int16_t> tail(size_t(tailFrames) * 2);
        const auto s = signalFrames(777, tailFrames);
        for (size_t i = 0; i < tail.size(); ++i)
            tail[i] = int16_t(s[i] * 32768.0f);
        ASSERT_TRUE(f.seek(header + (frames - tailFrames) * 4));
        ASSERT_EQ(f.write(reinterpret_cast<const char*>(tail.data()), qint64(tail.size() * 2)), qint64(tail.size() * 2));
    }
    ASSERT_TRUE(platform::AudioFileRepair::repair(cut));
    QFile f(cut);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.read(4), QByteArray("RF64"));
    f.close();

    auto reader = platform::AudioFileReader::open(cut);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->lengthFrames(), frames);
    ASSERT_TRUE(reader->seek(frames - tailFrames));
    std::vector<float> read(size_t(tailFrames) * 2);
    ASSERT_EQ(reader->read(read.data(), tailFrames), tailFrames);
    EXPECT_EQ(read, signalFrames(777, tailFrames));
}

// Whatever is not a take of ours stays as it was.
TEST(AudioFileRepair, LeavesOtherFilesAlone)
{
    testsupport::TempTree tree;
    const QString path = tree.path(QStringLiteral("x.wav"));
    for (const QByteArray& bytes : {QByteArray("RIFF\x10\0\0\0WAVEjunk", 16), QByteArray("hello world, not audio"),
                                    QByteArray("FORM\0\0\0\x04" "AIFF", 12), QByteArray()}) {
        ASSERT_TRUE(testsupport::writeFile(path, bytes));
        EXPECT_FALSE(platform::AudioFileRepair::repair(path));
        EXPECT_EQ(testsupport::readFile(path), bytes);
    }
}

// An M4A take killed while a fragment was being written: the fragment's box and its packets
// stop anywhere. Repaired, it holds the whole fragments before, and nothing of the cut one
// (a half packet would be noise, or a decoder error in every other program).
TEST(AudioFileRepair, M4aTakeCutInsideAFragmentKeepsTheWholeOnes)
{
    testsupport::TempTree tree;
    for (const int format : {Utils::kRecFormatAAC, Utils::kRecFormatALAC}) {
        SCOPED_TRACE(format);
        const QString path = tree.path(QStringLiteral("take%1.m4a").arg(format));
        auto writer = recoverable(path, format, 16);
        ASSERT_TRUE(writer);
        ASSERT_TRUE(writer->write(signalFrames(0, 44100).data(), 44100));
        ASSERT_TRUE(writer->checkpoint());
        const qint64 firstEnd = QFile(path).size();
        ASSERT_TRUE(writer->write(signalFrames(44100, 44100).data(), 44100));
        ASSERT_TRUE(writer->checkpoint());
        const QByteArray whole = testsupport::readFile(path);
        writer.reset();
        ASSERT_GT(whole.size(), firstEnd);

        // What one fragment alone gives, as the reference.
        const QString cut = tree.path(QStringLiteral("cut.m4a"));
        ASSERT_TRUE(testsupport::writeFile(cut, whole.left(firstEnd)));
        ASSERT_TRUE(platform::AudioFileRepair::repair(cut));
        const auto one = testsupport::decodeFile(cut);
        ASSERT_GT(one.frames(), 0);

        const qint64 second = whole.size() - firstEnd;
        for (const qint64 at : {qint64(1), qint64(8), qint64(100), second / 4, second / 2, second - 1000, second - 1}) {
            SCOPED_TRACE(at);
            ASSERT_TRUE(testsupport::writeFile(cut, whole.left(firstEnd + at)));
            QString why;
            ASSERT_TRUE(platform::AudioFileRepair::repair(cut, &why)) << why.toStdString();
            const auto audio = testsupport::decodeFile(cut);
            EXPECT_EQ(audio.samples, one.samples);
            QProcess ffmpeg;
            ffmpeg.start(QStringLiteral("ffmpeg"), {"-v", "error", "-i", cut, "-f", "null", "-"});
            ASSERT_TRUE(ffmpeg.waitForFinished(60000));
            EXPECT_EQ(ffmpeg.exitCode(), 0);
            EXPECT_EQ(ffmpeg.readAllStandardError().trimmed(), QByteArray());
        }
        // Cut inside the first fragment: nothing whole to keep, and the file stays as it was.
        ASSERT_TRUE(testsupport::writeFile(cut, whole.left(firstEnd - 100)));
        EXPECT_FALSE(platform::AudioFileRepair::repair(cut));
        EXPECT_EQ(testsupport::readFile(cut), whole.left(firstEnd - 100));
    }
}
