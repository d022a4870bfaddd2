#include "audiofiles/RecFormats.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileRepair.h"
#include "platform/AudioFileWriter.h"
#include "support/DecodedAudio.h"
#include "support/KnownSignal.h"
#include "support/TempTree.h"

#include <QFile>
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
