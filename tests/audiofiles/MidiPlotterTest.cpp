#include "audiofiles/screens/MidiPlotter.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

TEST(MidiPlotter, DrawsEachNoteAtItsTimeAndPitchInItsChannelColour)
{
    testsupport::TempTree tree;
    testsupport::LogCapture logs;
    const QString path = tree.path(QStringLiteral("plot.mid"));
    // Four beats: a loud note 64 on channel 0 over beat 0-1, a softer note 32 on channel 5 over beat 2-4.
    ASSERT_TRUE(testsupport::writeFile(
        path, testsupport::midiFileBytes({{0, 1, 64, 127, 0}, {2, 2, 32, 64, 5}})));
    MidiPlotter plotter;
    ASSERT_TRUE(plotter.loadMidiFile(path));
    EXPECT_TRUE(logs.contains(QStringLiteral("MidiPlotter: loading %1").arg(path)));
    EXPECT_TRUE(logs.contains(QStringLiteral("MidiPlotter: sequence has 1 tracks")));
    EXPECT_TRUE(logs.contains(QStringLiteral("MidiPlotter: track length: 2 seconds (4 beats)")));
    EXPECT_DOUBLE_EQ(plotter.songLength(), 2.0);

    QImage image(400, 128, QImage::Format_ARGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    plotter.draw(painter, image.size());
    painter.end();
    // Note 64 at y = 128 - 64, x 0..100; note 32 at y = 96, x 200..400.
    const QColor loud = image.pixelColor(50, 64);
    EXPECT_GT(loud.red(), 240);
    EXPECT_LT(loud.green(), 70);
    EXPECT_EQ(image.pixelColor(150, 64), QColor(Qt::black));  // between the two notes
    const QColor soft = image.pixelColor(300, 96);
    EXPECT_GT(soft.blue(), soft.red() + 40);  // channel 5 is blue
    EXPECT_LT(soft.blue(), 160);              // at half velocity, half covered
    EXPECT_EQ(image.pixelColor(300, 64), QColor(Qt::black));

    EXPECT_EQ(MidiPlotter::colourForNote(14, 128), MidiPlotter::colourForNote(15, 128));
    EXPECT_NEAR(MidiPlotter::colourForNote(2, 64).alphaF(), 0.5f, 1e-3f);

    ASSERT_TRUE(testsupport::writeFile(path, QByteArray("MThd")));
    EXPECT_FALSE(plotter.loadMidiFile(path));
    EXPECT_TRUE(plotter.notes().empty());
}
