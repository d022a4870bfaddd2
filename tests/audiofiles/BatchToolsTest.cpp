#include "audiofiles/editor/BatchTools.h"
#include "audiofiles/screens/BatchToolsController.h"
#include "platform/AudioFileReader.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"
#include "ui/screens/ProgressHUD.h"

#include <QDir>
#include <QFileInfo>
#include <QPushButton>
#include <QSignalSpy>
#include <QWidget>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

constexpr int kRate = 44100;

// Every entry of the folder, hidden ones (part files) included.
QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

int64_t framesOf(const QString& path)
{
    const auto reader = platform::AudioFileReader::open(path);
    return reader ? reader->lengthFrames() : -1;
}

}  // namespace

// Three picked takes become three converted files beside them, under the editor's names; a
// cancel in the middle of the second leaves the first result whole and nothing else behind.
TEST(BatchTools, ConvertsEachFileAndCancelLeavesNoPartialFile)
{
    TempTree tree;
    const QString lib = tree.library();
    const QStringList takes = {lib + "/Take 1.wav", lib + "/Take 2.wav", lib + "/Take 3.wav"};
    for (const QString& take : takes)
        ASSERT_TRUE(writeToneWav(take, 2, kRate, kRate));  // one second, several chunks
    writeFile(lib + "/notes.txt", "words");
    writeFile(lib + "/song.mid", QByteArray("MThd\0\0\0\6\0\0\0\1\0\140", 14));
    QDir().mkpath(lib + "/Sets");
    EXPECT_EQ(BatchTools::audioFiles({lib + "/Sets", takes[0], lib + "/notes.txt", lib + "/song.mid", takes[1], takes[2]}),
              takes);

    ConversionOptions aiff;
    aiff.format = 1;
    aiff.channels = 1;
    aiff.samplerate = 22050;
    QList<float> fractions;
    const BatchTools::Outcome done = BatchTools::convert(takes, aiff, [&](float f, int, int) { fractions << f; });
    EXPECT_FALSE(done.cancelled);
    EXPECT_TRUE(done.failed.isEmpty());
    const QStringList converted = {lib + "/Take 1-converted.aif", lib + "/Take 2-converted.aif", lib + "/Take 3-converted.aif"};
    EXPECT_EQ(done.written, converted);
    for (const QString& path : converted) {
        const Probe p = probe(path);
        EXPECT_EQ(p.value("channels"), "1") << path.toStdString();
        EXPECT_EQ(p.value("sample_rate"), "22050");
        EXPECT_NEAR(double(framesOf(path)), kRate / 2, 64);
    }
    ASSERT_FALSE(fractions.isEmpty());
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_FLOAT_EQ(fractions.last(), 1.0f);

    // Again to WAVE, cancelled a third of the way into the second file.
    const QStringList before = entries(lib);
    Utils::CancelFlag cancel{false};
    ConversionOptions wave;
    const BatchTools::Outcome stopped = BatchTools::convert(
        takes, wave,
        [&](float f, int index, int count) {
            if (index == 1 && f > (1.0f + 0.3f) / float(count))
                cancel = true;
        },
        &cancel);
    EXPECT_TRUE(stopped.cancelled);
    EXPECT_EQ(stopped.written, QStringList{lib + "/Take 1-converted.wav"});
    EXPECT_TRUE(stopped.failed.isEmpty());
    EXPECT_EQ(framesOf(lib + "/Take 1-converted.wav"), kRate);
    QStringList expected = before;
    expected << "Take 1-converted.wav";
    expected.sort();
    EXPECT_EQ(entries(lib), expected);  // no part file, no second or third result

    // Normalize goes the same way and names its results as the editor does.
    const BatchTools::Outcome normalized = BatchTools::normalize({takes[0], takes[2]});
    EXPECT_EQ(normalized.written, QStringList({lib + "/Take 1-normalized.wav", lib + "/Take 3-normalized.wav"}));
    EXPECT_EQ(framesOf(lib + "/Take 3-normalized.wav"), kRate);
}

// The screen's run: one overlay for the batch that ends with what was done, the work off the
// interface thread; a run over a selection with no audio files only says so.
TEST(BatchTools, OverlayFollowsTheRunAndCancelStopsIt)
{
    TempTree tree;
    const QString lib = tree.library();
    const QStringList takes = {lib + "/a.wav", lib + "/b.wav", lib + "/c.wav"};
    for (const QString& take : takes)
        ASSERT_TRUE(writeToneWav(take, 2, kRate, kRate / 2));
    QWidget window;
    window.resize(500, 400);
    window.show();
    QStringList picked = takes;
    BatchToolsController batch(&window, [&] { return picked; });
    QSignalSpy finished(&batch, &BatchToolsController::finished);

    batch.normalizeAction()->trigger();
    ASSERT_TRUE(batch.isRunning());
    ASSERT_NE(batch.overlay(), nullptr);
    EXPECT_TRUE(batch.overlay()->message().startsWith("Normalizing 1 of 3"));
    ASSERT_TRUE(waitUntil([&] { return finished.size() == 1; }, 60000));
    EXPECT_EQ(finished[0][0].value<BatchTools::Outcome>().written.size(), 3);
    ASSERT_TRUE(batch.overlay());
    EXPECT_EQ(batch.overlay()->message(), "Normalized 3 files");
    for (const QString name : {"a", "b", "c"})
        EXPECT_TRUE(QFileInfo::exists(lib + "/" + name + "-normalized.wav"));

    // Cancel pressed as soon as the overlay shows: whatever was finished stays whole, the
    // rest never appears, and no part file is left.
    ASSERT_TRUE(waitUntil([&] { return !batch.overlay(); }));
    ConversionOptions wave;
    wave.samplerate = 48000;
    batch.convert(takes, wave);
    ASSERT_TRUE(batch.overlay());
    for (QPushButton* button : batch.overlay()->findChildren<QPushButton*>())
        if (button->text() == "Cancel")
            button->click();
    ASSERT_TRUE(waitUntil([&] { return finished.size() == 2; }, 60000));
    const auto outcome = finished[1][0].value<BatchTools::Outcome>();
    EXPECT_TRUE(outcome.cancelled || outcome.written.size() == 3);
    for (const QString& written : outcome.written)
        EXPECT_EQ(framesOf(written), 24000) << written.toStdString();
    for (const QString& entry : entries(lib))
        EXPECT_FALSE(entry.startsWith(".tempfile")) << entry.toStdString();
    EXPECT_EQ(QDir(lib).entryList({"*-converted.wav"}, QDir::Files).size(), outcome.written.size());

    picked = {lib + "/notes.txt"};
    AlertCapture alerts;
    batch.normalizeAction()->trigger();
    EXPECT_FALSE(batch.isRunning());
    EXPECT_EQ(alerts.alerts(), QStringList{"Normalize|Pick one or more audio files in the list first."});
}
