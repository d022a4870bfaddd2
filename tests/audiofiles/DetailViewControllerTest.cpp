#include "audiofiles/screens/DetailViewController.h"
#include "audiofiles/screens/WaveView.h"
#include "audiofiles/waveform/WaveformCache.h"
#include "audiofiles/screens/MidiPlotter.h"
#include "audiofiles/FileInformation.h"
#include "library/FileActions.h"
#include "library/Utils.h"
#include "platform/AudioFileReader.h"
#include "support/AudioFixtures.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QFile>
#include <QPlainTextEdit>
#include <QPushButton>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace testsupport;

TEST(DetailViewController, ShowsWaveformFollowsRenamesAndDeletesAndSavesNotes)
{
    TempTree tree;
    const QString lib = tree.library();
    const QString wav = lib + "/take.wav";
    ASSERT_TRUE(writeToneWav(wav, 2, 44100, 44100));
    DetailViewController detail;
    detail.resize(600, 400);
    detail.show();

    detail.setDetailItem(wav);
    EXPECT_EQ(detail.detailItem(), wav);
    EXPECT_EQ(detail.infoText().toStdString(), "2 ch WAVE LPCM\n16 bit 44100 Hz\n00:01.000");
    EXPECT_TRUE(detail.audioIs44k16());
    EXPECT_EQ(detail.waveView()->url(), wav);
    EXPECT_DOUBLE_EQ(detail.waveView()->totalLength(), 1.0);
    EXPECT_EQ(detail.timeText(), "00:00.00");
    ASSERT_TRUE(waitUntil([&] { return !detail.waveView()->cache()->isLoading(); }));
    EXPECT_TRUE(detail.waveView()->cache()->isCached(wav));

    // An export over the file under the same name: its row clicked again shows the new file.
    const QString exported = lib + "/export.wav";
    ASSERT_TRUE(writeToneWav(exported, 1, 44100, 3 * 44100));
    ASSERT_TRUE(QFile::remove(wav) && QFile::rename(exported, wav));
    detail.setDetailItem(wav);
    EXPECT_EQ(detail.infoText().toStdString(), "1 ch WAVE LPCM\n16 bit 44100 Hz\n00:03.000");
    EXPECT_DOUBLE_EQ(detail.waveView()->totalLength(), 3.0);
    ASSERT_TRUE(waitUntil([&] { return !detail.waveView()->cache()->isLoading(); }));

    // A rename keeps the cached waveform under the new name: showing it reads nothing.
    const QString moved = lib + "/take 2.wav";
    ASSERT_TRUE(QFile::rename(wav, moved));
    detail.waveformRenamed(wav, moved);
    detail.setDetailItem(moved);
    EXPECT_FALSE(detail.waveView()->cache()->isLoading());
    EXPECT_TRUE(detail.waveView()->cache()->isCached(moved));

    detail.waveformDeleted(moved);
    EXPECT_FALSE(detail.waveView()->cache()->isCached(moved));

    // Notes: edited text is written back when another item is shown.
    const QString notes = lib + "/notes.txt";
    writeFile(notes, "first line");
    // A name with a line break stays on one line in the titles, as in the list.
    const QString twoLines = lib + "/odd\nname.txt";
    writeFile(twoLines, "x");
    detail.setDetailItem(twoLines);
    EXPECT_EQ(detail.windowTitle(), "odd?name.txt");
    EXPECT_EQ(detail.infoText(), "odd?name.txt");
    detail.setDetailItem(notes);
    EXPECT_EQ(detail.notesView()->toPlainText(), "first line");
    LogCapture log;
    detail.maybeSaveText();  // nothing changed: nothing written
    EXPECT_FALSE(log.contains("Saved text"));
    // While the text is edited the tools button reads "Done" and saves it.
    detail.activateWindow();
    detail.notesView()->setFocus();
    ASSERT_TRUE(waitUntil([&] { return detail.toolsButton()->isVisible(); }));
    EXPECT_EQ(detail.toolsButton()->text(), "Done");
    detail.notesView()->setPlainText("second line");
    detail.toolsButton()->click();
    EXPECT_TRUE(log.contains("Saved text"));
    EXPECT_EQ(readFile(notes), "second line");
    EXPECT_FALSE(detail.toolsButton()->isVisible());
    // Showing the same file again (its row clicked twice) keeps unsaved text; it is written
    // back when another item is shown.
    detail.notesView()->setPlainText("third line");
    detail.setDetailItem(notes);
    EXPECT_EQ(detail.notesView()->toPlainText(), "third line");
    detail.setDetailItem(QString());
    EXPECT_EQ(readFile(notes), "third line");
    EXPECT_TRUE(detail.detailItem().isEmpty());

    // A MIDI file: its notes in place of a waveform, and its length.
    const QString midi = lib + "/tune.mid";
    writeFile(midi, midiFileBytes({{0, 1, 60}, {3, 1, 64}}, 120));
    detail.setDetailItem(midi);
    EXPECT_EQ(detail.shownContent(), static_cast<QWidget*>(detail.midiPlotter()));
    EXPECT_EQ(detail.midiPlotter()->notes().size(), 2u);
    EXPECT_EQ(detail.infoText().toStdString(), "MIDI file\n00:02.000");
    EXPECT_FALSE(detail.toolsButton()->isVisible());
}

// A FIFO left in the library (by a script, a stray mkfifo) must not hold the window in open()
// waiting for a writer: clicking it, reading it or copying it answers at once.
TEST(DetailViewController, FifoInTheLibraryHoldsNoOne)
{
    TempTree tree;
    const QString lib = tree.library();
    DetailViewController detail;
    detail.resize(600, 400);
    detail.show();
    for (const QString name : {"pipe.wav", "pipe.mid", "pipe.txt"}) {
        const QString fifo = lib + "/" + name;
        ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        detail.setDetailItem(fifo);
        EXPECT_EQ(detail.emptyText(), "No preview for this kind of file") << name.toStdString();
        EXPECT_EQ(platform::AudioFileReader::open(fifo), nullptr);
        EXPECT_FALSE(Utils::fileIsMIDI(fifo));
        EXPECT_FALSE(Utils::fileInformation(fifo));
        QString why;
        EXPECT_FALSE(FileActions::copyItem(fifo, lib + "/copy of " + name, &why));
        EXPECT_EQ(why, "Not a regular file");
        EXPECT_FALSE(QFileInfo::exists(lib + "/copy of " + name));
    }
}
