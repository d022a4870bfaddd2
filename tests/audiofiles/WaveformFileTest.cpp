#include "audiofiles/waveform/PeakReader.h"
#include "audiofiles/screens/WaveView.h"
#include "audiofiles/waveform/Waveform.h"
#include "audiofiles/waveform/WaveformCache.h"
#include "audiofiles/screens/WaveformPainter.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QImage>
#include <gtest/gtest.h>
#include <cmath>

using namespace testsupport;

namespace {

constexpr int kRate = 44100;

// One second of stereo: the first half left 0.25 / right -0.5, the second left 0.5 / right -0.25.
bool writeSteps(const QString& path)
{
    return writeWav16(path, 2, kRate, kRate, [](int64_t frame, int channel) -> int16_t {
        const bool first = frame < kRate / 2;
        if (channel == 0)
            return first ? 8192 : 16384;
        return first ? -16384 : -8192;
    });
}

QList<QList<double>> parsePoints(const QByteArray& out)
{
    QList<QList<double>> points;
    for (const QByteArray& line : out.split('\n')) {
        if (line.isEmpty())
            continue;
        QList<double> values;
        for (const QByteArray& v : line.split(' '))
            values << v.toDouble();
        points << values;
    }
    return points;
}

}  // namespace

TEST(WaveformFile, PeaksOfKnownSignalsAtKnownPoints)
{
    TempTree tree;
    const QString steps = tree.path("steps.wav");
    ASSERT_TRUE(writeSteps(steps));
    std::atomic<bool> cancel{false};

    Waveform w(10);
    EXPECT_DOUBLE_EQ(PeakReader::readWaveformInto(w, steps, 0, 0, cancel), 4410.0);
    ASSERT_EQ(w.count(), 10);
    for (int i = 0; i < 10; ++i) {
        const WavePoint p = w.point(i);
        const bool first = i < 5;
        EXPECT_FLOAT_EQ(p.negative, first ? 0.5f : 0.25f) << i;
        EXPECT_FLOAT_EQ(p.positive, first ? 0.25f : 0.5f) << i;
        EXPECT_FLOAT_EQ(p.meanSquare, 0.15625f) << i;
    }

    // A range across the change: 0.4 s to 0.6 s in two points.
    Waveform range(2);
    EXPECT_NEAR(PeakReader::readWaveformInto(range, steps, 0.4, 0.6, cancel), 4410.0, 1e-6);
    EXPECT_FLOAT_EQ(range.point(0).negative, 0.5f);
    EXPECT_FLOAT_EQ(range.point(1).positive, 0.5f);
    EXPECT_FLOAT_EQ(range.point(1).negative, 0.25f);

    // A mono file reads as the same signal on both sides: a full-scale negative square.
    const QString mono = tree.path("mono.wav");
    ASSERT_TRUE(writeWav16(mono, 1, 8000, 800, [](int64_t f, int) -> int16_t { return f % 2 ? -32768 : 16384; }));
    Waveform m(4);
    EXPECT_DOUBLE_EQ(PeakReader::readWaveformInto(m, mono, 0, 0, cancel), 200.0);
    EXPECT_FLOAT_EQ(m.point(3).negative, 1.0f);
    EXPECT_FLOAT_EQ(m.point(3).positive, 0.5f);
    EXPECT_FLOAT_EQ(m.point(3).meanSquare, 0.625f);

    // A compressed file: a half-scale sine comes back as about half scale, mean square 1/8.
    const QString tone = tree.path("tone.wav");
    const QString mp3 = tree.path("tone.mp3");
    ASSERT_TRUE(writeWav16(tone, 2, kRate, kRate * 2, [](int64_t f, int) -> int16_t {
        return int16_t(16384 * std::sin(2 * M_PI * 441 * double(f) / kRate));
    }));
    ASSERT_TRUE(runTool("ffmpeg", {"-v", "error", "-y", "-i", tone, "-b:a", "192k", mp3}));
    Waveform c(8);
    EXPECT_GT(PeakReader::readWaveformInto(c, mp3, 0, 0, cancel), 0);
    EXPECT_NEAR(c.point(4).positive, 0.5, 0.05);
    EXPECT_NEAR(c.point(4).negative, 0.5, 0.05);
    EXPECT_NEAR(c.point(4).meanSquare, 0.125, 0.01);

    LogCapture log;
    Waveform missing(4);
    EXPECT_EQ(PeakReader::readWaveformInto(missing, tree.path("missing.wav"), 0, 0, cancel), 0.0);
    EXPECT_TRUE(log.contains("Could not open audio URL " + tree.path("missing.wav")));
}

TEST(WaveformFile, ViewLoadsAndDrawsARealFile)
{
    TempTree tree;
    const QString steps = tree.path("steps.wav");
    ASSERT_TRUE(writeSteps(steps));
    WaveView view(nullptr, 100);
    view.resize(100, 100);
    view.setTotalLength(1.0);
    view.show();
    EXPECT_TRUE(view.loadURL(steps));
    ASSERT_TRUE(waitUntil([&] { return !view.cache()->isLoading(); }));
    ASSERT_TRUE(view.cache()->isCached(steps));
    const QImage image = view.grab().toImage();
    const QRgb wave = WaveformPainter::waveColor().rgb();
    const QRgb background = WaveformPainter::backgroundColor().rgb();
    // h/2 - 2 = 48: the first half reaches 24 up and 12 down, the second 12 up and 24 down.
    EXPECT_EQ(image.pixel(20, 50 - 23), wave);
    EXPECT_EQ(image.pixel(20, 50 - 26), background);
    EXPECT_EQ(image.pixel(20, 50 + 11), wave);
    EXPECT_EQ(image.pixel(20, 50 + 14), background);
    EXPECT_EQ(image.pixel(80, 50 + 23), wave);
    EXPECT_EQ(image.pixel(80, 50 - 14), background);
}

TEST(WaveformFile, ToolPrintsPointsAndDrawsThem)
{
    TempTree tree;
    const QString steps = tree.path("steps.wav");
    ASSERT_TRUE(writeSteps(steps));

    RunResult r = runProgram("wavelocker-tool", {"waveform", steps, "--points", "4"});
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    auto points = parsePoints(r.out);
    ASSERT_EQ(points.size(), 4);
    EXPECT_EQ(points[0], (QList<double>{0.5, 0.25, 0.15625}));
    EXPECT_EQ(points[3], (QList<double>{0.25, 0.5, 0.15625}));

    r = runProgram("wavelocker-tool", {"waveform", steps, "--points", "2", "--start", "0.5", "--end", "1"});
    ASSERT_EQ(r.exitCode, 0);
    points = parsePoints(r.out);
    ASSERT_EQ(points.size(), 2);
    EXPECT_EQ(points[0][0], 0.25);
    EXPECT_EQ(points[1][1], 0.5);

    const QString png = tree.path("w.png");
    r = runProgram("wavelocker-tool", {"waveform", steps, "--png", png, "--width", "40", "--height", "100"});
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    const QImage image(png);
    ASSERT_EQ(image.size(), QSize(40, 100));
    EXPECT_EQ(image.pixel(5, 50 - 23), WaveformPainter::waveColor().rgb());
    EXPECT_EQ(image.pixel(5, 50 - 26), WaveformPainter::backgroundColor().rgb());

    EXPECT_EQ(runProgram("wavelocker-tool", {"waveform", tree.path("missing.wav")}).exitCode, 1);
    EXPECT_EQ(runProgram("wavelocker-tool", {"waveform", steps, "--png", png}).exitCode, 2);
    EXPECT_EQ(runProgram("wavelocker-tool", {"waveform"}).exitCode, 2);
}
