// A take cut off by SIGKILL in every format: the next start saves a file that other
// programs play, holding the audio up to moments before the kill.
#include "audiofiles/RecFormats.h"
#include "platform/Locations.h"
#include "recording/UnfinishedRecording.h"
#include "support/BuildPaths.h"
#include "support/DecodedAudio.h"
#include "support/JackServer.h"
#include "support/KnownSignal.h"
#include "support/TempTree.h"

#include <QFile>
#include <QProcess>
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>

using testsupport::waitUntil;

namespace {

bool playsElsewhere(const QString& path)
{
    QProcess sox;
    sox.start(QStringLiteral("sox"), {path, QStringLiteral("-n"), QStringLiteral("stat")});
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"), {"-v", "error", "-i", path, "-f", "null", "-"});
    const bool soxOk = sox.waitForFinished(60000) && sox.exitCode() == 0;
    const bool ffmpegOk = ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0 && ffmpeg.readAllStandardError().trimmed().isEmpty();
    // sox has no M4A reader; ffmpeg reads them all.
    return ffmpegOk && (soxOk || path.endsWith(QLatin1String(".m4a")));
}

}  // namespace

TEST(RecordingRecovery, TakeKilledMidwayIsRecoveredInEveryFormat)
{
    testsupport::TempTree tree;
    testsupport::JackServer server(512);
    ASSERT_TRUE(server.start());
    testsupport::KnownSignalClient signal;
    ASSERT_TRUE(signal.start());
    const QString library = tree.library();

    for (int format = 0; format < Utils::kRecFormatCount; ++format) {
        SCOPED_TRACE(format);
        const bool aac = format == Utils::kRecFormatAAC;
        signal.setSine(aac ? 1000 : 0, 0.5f);
        QProcess tool;
        tool.start(testsupport::binDir() + QStringLiteral("/wavelocker-tool"),
                   {"record", tree.path(QStringLiteral("never%1.out").arg(format)), "--format", QString::number(format),
                    "--bits", format == 1 || format == 4 ? "24" : "16"});
        ASSERT_TRUE(tool.waitForStarted());
        ASSERT_TRUE(waitUntil([&] { return tool.canReadLine() || tool.state() != QProcess::Running; }, 60000));
        const QString take = QString::fromUtf8(tool.readLine()).trimmed();
        ASSERT_EQ(take, UnfinishedRecording::temporaryRecordingPath(format));
        const QStringList ports = signal.outputPorts();
        ASSERT_TRUE(waitUntil([&] { return server.ports().contains(QStringLiteral("Wavelocker:Audio Input_2")); }, 30000));
        ASSERT_TRUE(server.connect(ports[0], QStringLiteral("Wavelocker:Audio Input_1")));
        ASSERT_TRUE(server.connect(ports[1], QStringLiteral("Wavelocker:Audio Input_2")));
        // Another recorder can't take the file from under it, and start-up leaves it alone.
        EXPECT_TRUE(UnfinishedRecording::hasUnfinishedRecording().isEmpty());
        if (format == 0) {
            const auto second = testsupport::runProgram(
                QStringLiteral("wavelocker-tool"), {"record", tree.path(QStringLiteral("second.wav")), "--seconds", "1"});
            EXPECT_NE(second.exitCode, 0);
            EXPECT_TRUE(second.err.contains("Another recording is being written to")) << second.err.toStdString();
            EXPECT_FALSE(QFile::exists(tree.path(QStringLiteral("second.wav"))));
        }

        // Three seconds of the signal on disk, then one more second of recording, then the kill.
        const QString scratch = tree.path(QStringLiteral("scratch.") + Utils::fileExtensionForRecFormat(format));
        const int64_t seen = testsupport::waitForFramesOnDisk(take, scratch, 44100 * 3, 60000);
        ASSERT_GE(seen, 44100 * 3);
        waitUntil([] { return false; }, 1000);
        tool.kill();
        ASSERT_TRUE(tool.waitForFinished(10000));
        ASSERT_TRUE(QFile::exists(take));

        const UnfinishedRecording::Recovery r = UnfinishedRecording::recover(library);
        EXPECT_EQ(r.found, take);
        EXPECT_TRUE(r.repaired);
        ASSERT_FALSE(r.savedAs.isEmpty());
        EXPECT_EQ(r.message, QStringLiteral("A lost recording was recovered and saved as '%1'").arg(r.name));
        EXPECT_FALSE(QFile::exists(take));
        EXPECT_TRUE(playsElsewhere(r.savedAs)) << r.savedAs.toStdString();

        const auto audio = testsupport::decodeFile(r.savedAs);
        ASSERT_EQ(audio.channels, 2);
        // Everything that was on disk a second before the kill, AAC's frame of delay aside.
        EXPECT_GE(audio.frames(), seen - (aac ? 2048 : 0));
        // From where both channels are patched (one port is connected after the other).
        int64_t start = 0;
        while (start < audio.frames() && (audio.at(start, 0) == 0 || audio.at(start, 1) == 0))
            ++start;
        ASSERT_LT(start, audio.frames() / 2);
        const std::vector<float> heard(audio.samples.begin() + start * 2, audio.samples.end());
        if (!aac) {
            const auto m = testsupport::matchKnownSignal(heard, 2, signal.framesPlayed());
            ASSERT_TRUE(m.found);
            EXPECT_EQ(m.mismatchAt, -1) << "silence " << m.silenceAtMismatch << ", repeats from " << m.repeatedFrom
                                        << " back, jumps " << m.jumps << ", repeats " << m.repeats << ", start " << m.start
                                        << " of " << signal.framesPlayed() << ", trimmed " << start;
            EXPECT_LE(uint64_t(m.repeats), signal.cyclesMissed());  // cycles the source was not run in
            EXPECT_LT(m.framesSkipped, 44100 / 2);  // cycles the loaded server dropped, if any
        } else {
            // A clean 1 kHz sine at half scale through the middle of the take. A cycle the
            // loaded server dropped or repeated breaks the sine, and the encoder rings around
            // the break for a frame or two: most tenths of a second are clean all the same,
            // while a garbled or mistimed take has none.
            const int64_t frames = int64_t(heard.size() / 2);
            constexpr int64_t kWindow = 4410;
            int windows = 0, clean = 0;
            QStringList unclean;
            for (int64_t at = frames / 4; at + kWindow < frames * 3 / 4; at += kWindow, ++windows) {
                double peak = 0;
                int crossings = 0;
                for (int64_t f = at; f < at + kWindow; ++f) {
                    peak = std::max(peak, double(std::fabs(heard[size_t(f * 2)])));
                    crossings += (heard[size_t(f * 2)] < 0) != (heard[size_t(f * 2 + 2)] < 0);
                }
                // 100 periods in 0.1 s.
                if (std::fabs(peak - 0.5) <= 0.05 && std::abs(crossings - 200) <= 4)
                    ++clean;
                else
                    unclean << QStringLiteral("%1: peak %2, %3 crossings").arg(at).arg(peak).arg(crossings);
            }
            EXPECT_GE(windows, 10);
            EXPECT_GE(clean * 2, windows) << unclean.join(QStringLiteral("; ")).toStdString();
        }
    }
}
