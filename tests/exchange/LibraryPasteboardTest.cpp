#include "exchange/AudioCopyPaste1.h"
#include "exchange/LibraryPasteboard.h"
#include "library/Utils.h"
#include "platform/FourCC.h"
#include "platform/Pasteboard.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>

using namespace testsupport;
namespace ACP = AudioCopyPaste1;
using platform::Pasteboard;

namespace {
QStringList entries(const QString& folder) { return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name); }

// A minimal standard MIDI file: header and one empty track.
const QByteArray kMidi = QByteArray::fromHex("4d546864000000060000000100604d54726b0000000400ff2f00");
}  // namespace

TEST(LibraryPasteboard, PasteNamesTheFileByItsContentAndTheFreeName)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    EXPECT_TRUE(LibraryPasteboard::audioPaste(lib, "Drums").isEmpty());
    EXPECT_EQ(alerts.alerts(), QStringList({"AudioPaste|Nothing to paste"}));

    ASSERT_TRUE(writeToneWav(tree.path("d.wav"), 2, 44100, 4410));
    ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("d.wav")));
    EXPECT_EQ(LibraryPasteboard::audioPaste(lib, "Drums"), lib + "/Drums.wav");
    EXPECT_EQ(Utils::lastNewFile(), lib + "/Drums.wav");
    EXPECT_EQ(LibraryPasteboard::audioPaste(lib, "Drums.mp3"), lib + "/Drums(1).wav");
    EXPECT_EQ(readFile(lib + "/Drums(1).wav"), readFile(tree.path("d.wav")));
    EXPECT_EQ(LibraryPasteboard::audioPaste(lib), lib + "/Pasted audio.wav");
    EXPECT_TRUE(QFileInfo(lib + "/Drums.wav").permissions() & QFileDevice::ReadOther);

    // A standard MIDI file is "mid" whatever its name says.
    writeFile(tree.path("song.mid"), kMidi);
    ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("song.mid")));
    EXPECT_EQ(LibraryPasteboard::audioPaste(lib, "Song.wav"), lib + "/Song.mid");
    // Bytes no reader knows keep the name's own extension.
    writeFile(tree.path("notes.bin"), "plain words, no audio");
    ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("notes.bin")));
    EXPECT_EQ(LibraryPasteboard::audioPaste(lib, "Notes.txt"), lib + "/Notes.txt");

    // Names from outside stay inside the folder.
    ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("d.wav")));
    EXPECT_EQ(LibraryPasteboard::audioPaste(lib, "../../escape"), lib + "/_.._escape.wav");
    EXPECT_EQ(LibraryPasteboard::audioPaste(lib, ".."), lib + "/Pasted audio(1).wav");
    EXPECT_EQ(LibraryPasteboard::audioPaste(lib, "two\nlines"), lib + "/two lines.wav");
    EXPECT_EQ(entries(tree.root()).filter("escape").size(), 0);
    EXPECT_EQ(alerts.alerts().size(), 1);
}

TEST(LibraryPasteboard, ElevenMebibytesInThreeItemsBecomeOneFile)
{
    TempTree tree;
    const QString lib = tree.library();
    const qint64 frames = (11 << 20) / 4;
    ASSERT_TRUE(writeToneWav(tree.path("long.wav"), 2, 44100, frames));
    ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("long.wav")));
    auto snapshot = Pasteboard::general()->snapshot();
    ASSERT_EQ(snapshot->count(), 3);
    const QString pasted = LibraryPasteboard::audioPaste(lib, "Long");
    EXPECT_EQ(pasted, lib + "/Long.wav");
    EXPECT_EQ(QFileInfo(pasted).size(), 44 + (11 << 20));
    EXPECT_EQ(readFile(pasted), readFile(tree.path("long.wav")));
}

TEST(LibraryPasteboard, DamagedGeneralPasteboardOrFullDiskChangesNothingInTheLibrary)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    writeFile(lib + "/keep.wav", "mine");
    auto general = Pasteboard::general();
    writeFile(general->folder() + "/items", QByteArray(5000, '\x07'));
    EXPECT_TRUE(LibraryPasteboard::audioPaste(lib, "X").isEmpty());
    EXPECT_EQ(alerts.alerts(), QStringList({"AudioPaste|Nothing to paste"}));
    EXPECT_EQ(entries(lib), QStringList({"keep.wav"}));
}

TEST(LibraryPasteboard, BulkCopyChecksTheSelectionAndFillsTheRingInOrder)
{
    TempTree tree;
    const QString lib = tree.library();
    QStringList files;
    for (int i = 0; i < 10; ++i) {
        files << lib + QStringLiteral("/Loop %1 120bpm.wav").arg(i);
        ASSERT_TRUE(writeToneWav(files.last(), 1, 44100, 441 * (i + 1)));
    }
    QDir().mkpath(lib + "/Folder");
    auto refusal = LibraryPasteboard::bulkAudioCopyRefusal(files.mid(0, 5) + QStringList{lib + "/Folder"} + files.mid(5));
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->title, "Bulk AudioCopy");
    EXPECT_EQ(refusal->message, "Please select only files, no folders.");
    EXPECT_EQ(LibraryPasteboard::bulkAudioCopyRefusal({})->message, "No files selected.");
    EXPECT_FALSE(LibraryPasteboard::bulkAudioCopyRefusal(files));
    EXPECT_EQ(ACP::getPasteIndex(), 0);

    QList<float> fractions;
    writeFile(lib + "/broken.wav", "not audio");
    const QStringList failed =
        LibraryPasteboard::bulkAudioCopy(files.mid(0, 3) + QStringList{lib + "/broken.wav"}, [&](float f) { fractions << f; });
    EXPECT_EQ(failed, QStringList({lib + "/broken.wav"}));
    EXPECT_EQ(fractions, QList<float>({0.0f, 0.25f, 0.5f, 0.75f}));
    const auto info = ACP::getPasteInfoForIndex(3);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->value("copyname").toString(), "Loop 2 120bpm");
    EXPECT_EQ(info->value("sender").toString(), "Wavelocker");
    EXPECT_EQ(info->value("tempo").toDouble(), 120.0);
    EXPECT_NEAR(info->value("duration").toDouble(), 0.03, 1e-4);

    // The history screen's paste: named after the copy, never over a file.
    EXPECT_EQ(LibraryPasteboard::pasteHistorySlot(3, lib), lib + "/Loop 2 120bpm(1).wav");
    EXPECT_EQ(readFile(lib + "/Loop 2 120bpm(1).wav"), readFile(files[2]));
    EXPECT_EQ(LibraryPasteboard::pasteHistorySlot(3, lib, "a/b"), lib + "/a_b.wav");
    EXPECT_TRUE(LibraryPasteboard::pasteHistorySlot(9, lib).isEmpty());

    EXPECT_TRUE(LibraryPasteboard::isAudioCopyCompatible(files[0]));
    ASSERT_TRUE(runTool("sox", {files[0], "-r", "48000", lib + "/48k.wav"}));
    ASSERT_TRUE(runTool("sox", {files[0], "-b", "24", lib + "/24.wav"}));
    ASSERT_TRUE(runTool("sox", {files[0], "-e", "floating-point", "-b", "32", lib + "/f.wav"}));
    for (const QString name : {"48k.wav", "24.wav", "f.wav", "broken.wav"})
        EXPECT_FALSE(LibraryPasteboard::isAudioCopyCompatible(lib + "/" + name)) << name.toStdString();
}

TEST(LibraryPasteboard, FileTypeCodesMapToExtensions)
{
    using platform::fourCC;
    EXPECT_EQ(LibraryPasteboard::extensionForFileType(fourCC("AIFF")), "aif");
    EXPECT_EQ(LibraryPasteboard::extensionForFileType(fourCC("AIFC")), "aifc");
    EXPECT_EQ(LibraryPasteboard::extensionForFileType(fourCC("MPG3")), "mp3");
    EXPECT_EQ(LibraryPasteboard::extensionForFileType(fourCC("m4af")), "m4a");
    EXPECT_EQ(LibraryPasteboard::extensionForFileType(fourCC("3gp2")), "3gp2");
    EXPECT_EQ(LibraryPasteboard::extensionForFileType(fourCC("amrf")), "amr");
    EXPECT_EQ(LibraryPasteboard::extensionForFileType(fourCC("zzzz")), "raw");
}
