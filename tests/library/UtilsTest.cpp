#include "library/TrashReminder.h"
#include "library/Utils.h"
#include "platform/Settings.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <utime.h>

using namespace testsupport;

TEST(UtilsStorage, LocationsAndSystemItems)
{
    TempTree tree;
    const QString lib = tree.library();
    EXPECT_TRUE(QFileInfo(lib).isDir());
    EXPECT_TRUE(Utils::pathIsSystemItem(lib + "/Trash"));
    EXPECT_TRUE(Utils::pathIsSystemItem(lib + "/Desktop File Sharing"));
    EXPECT_FALSE(Utils::pathIsSystemItem(lib + "/Trash/x"));
    EXPECT_TRUE(Utils::pathIsInsideTrashcan(lib + "/Trash/x"));
    EXPECT_FALSE(Utils::pathIsInsideTrashcan(lib + "/Trash"));
    EXPECT_FALSE(Utils::pathIsInsideTrashcan(lib + "/Trashy/x"));

    // Through the file-sharing link an item really lives in the private documents folder.
    const QString local = Utils::localDocumentsURL();
    QDir().mkpath(local + "/Inbox");
    ASSERT_TRUE(QFile::link(local, Utils::localDocumentsLinkURL()));
    EXPECT_TRUE(Utils::pathIsInsideLocalDocs(Utils::localDocumentsLinkURL() + "/a.wav"));
    EXPECT_FALSE(Utils::pathIsInsideLocalDocs(lib + "/a.wav"));
    EXPECT_TRUE(Utils::pathIsInbox(Utils::localDocumentsLinkURL() + "/Inbox"));

    AlertCapture alerts;
    EXPECT_FALSE(Utils::checkNotInbox(local + "/Inbox"));
    EXPECT_TRUE(Utils::checkNotInbox(lib + "/Inbox"));
    EXPECT_TRUE(Utils::checkPathIsLocalDocumentsLink(Utils::localDocumentsLinkURL()));
    EXPECT_FALSE(Utils::checkPathIsLocalDocumentsLink(lib + "/x"));
    ASSERT_EQ(alerts.alerts().size(), 2);
    EXPECT_EQ(alerts.alerts()[0], "Sorry|'Inbox' is reserved by the system, please choose another name.");
    EXPECT_TRUE(alerts.alerts()[1].startsWith("Not available|This folder can be opened from your file manager"));
}

TEST(UtilsStorage, KindsByTypeAndMidiByContent)
{
    TempTree tree;
    const QString lib = tree.library();
    writeFile(lib + "/song.mid", "MThd\0\0\0\6");
    writeFile(lib + "/fake.mid", "RIFF");
    writeFile(lib + "/midi-named.wav", QByteArray("MThd", 4));
    writeFile(lib + "/short", "MTh");
    EXPECT_TRUE(Utils::fileIsMIDI(lib + "/song.mid"));
    EXPECT_FALSE(Utils::fileIsMIDI(lib + "/fake.mid"));
    EXPECT_TRUE(Utils::fileIsMIDI(lib + "/midi-named.wav"));
    EXPECT_FALSE(Utils::fileIsMIDI(lib + "/short"));
    EXPECT_FALSE(Utils::fileIsMIDI(lib + "/missing"));
    EXPECT_TRUE(Utils::fileIsAudio(lib + "/song.mid"));
    EXPECT_TRUE(Utils::fileIsAudio(lib + "/x.caf"));
    EXPECT_TRUE(Utils::fileIsText(lib + "/notes.txt"));
    EXPECT_TRUE(Utils::fileIsSoundFont(lib + "/piano.SF2"));
    EXPECT_TRUE(Utils::fileIsZip(lib + "/a.zip"));
    EXPECT_FALSE(Utils::fileIsAudio(lib + "/a.zip"));
}

TEST(UtilsStorage, TrashBatchesClashesAndFinalDeletion)
{
    TempTree tree;
    const QString lib = tree.library();
    QDir().mkpath(lib + "/A");
    QDir().mkpath(lib + "/B");
    writeFile(lib + "/A/take.wav", "one");
    writeFile(lib + "/B/take.wav", "two");
    writeFile(lib + "/other.wav", "three");
    const QDateTime when(QDate(2026, 3, 4), QTime(5, 6, 7));
    const QString batch = lib + "/Trash/2026-03-04 05:06:07";

    EXPECT_TRUE(Utils::trashItemAtPath(lib + "/A/take.wav", when));
    // Same name, same batch: it takes the next batch name instead of failing or replacing.
    EXPECT_TRUE(Utils::trashItemAtPath(lib + "/B/take.wav", when));
    EXPECT_EQ(readFile(batch + "/take.wav"), "one");
    EXPECT_EQ(readFile(batch + "(1)/take.wav"), "two");
    EXPECT_TRUE(Utils::trashItemAtPath(lib + "/other.wav", when));
    EXPECT_TRUE(Utils::trashItemAtPath(lib + "/A", when));
    EXPECT_TRUE(QFileInfo(batch + "/A").isDir());

    // Inside the trash: deleted for good; a batch folder that empties goes too, a deeper one stays.
    writeFile(batch + "/A/deep.wav", "d");
    LogCapture log;
    EXPECT_TRUE(Utils::trashItemAtPath(batch + "/A/deep.wav"));
    EXPECT_TRUE(QFileInfo(batch + "/A").isDir());
    EXPECT_TRUE(Utils::trashItemAtPath(batch + "/take.wav"));
    EXPECT_TRUE(QFileInfo(batch).isDir());
    EXPECT_TRUE(log.contains("No, not empty"));
    EXPECT_TRUE(Utils::trashItemAtPath(batch + "/other.wav"));
    EXPECT_TRUE(Utils::trashItemAtPath(batch + "/A"));
    EXPECT_FALSE(QFileInfo::exists(batch));
    EXPECT_TRUE(log.contains("Yes, it was empty"));
    EXPECT_TRUE(log.contains("Maybe deleting empty folder: " + batch));
}

TEST(UtilsNaming, UniqueNamesBothRulesAndTexts)
{
    TempTree tree;
    const QString lib = tree.library();
    writeFile(lib + "/take.wav", "");
    writeFile(lib + "/take(1).wav", "");
    writeFile(lib + "/noext", "");
    EXPECT_EQ(Utils::uniquePath(lib + "/free.wav"), lib + "/free.wav");
    EXPECT_EQ(Utils::uniquePath(lib + "/take.wav"), lib + "/take(2).wav");
    EXPECT_EQ(Utils::uniquePath(lib + "/noext"), lib + "/noext(1).");
    EXPECT_EQ(Utils::uniquePathKeepingDot(lib + "/take.wav"), lib + "/take(2).wav");
    EXPECT_EQ(Utils::uniquePathKeepingDot(lib + "/noext"), lib + "/noext(1)");

    EXPECT_EQ(Utils::fileSizeToString(0), "0 Bytes");
    EXPECT_EQ(Utils::fileSizeToString(1024), "1024 Bytes");
    EXPECT_EQ(Utils::fileSizeToString(1025), "1.0 KiB");
    EXPECT_EQ(Utils::fileSizeToString(1048576), "1024.0 KiB");
    EXPECT_EQ(Utils::fileSizeToString(1048577), "1.0 MiB");
    EXPECT_EQ(Utils::fileSizeToString(5ull << 40), "5120.0 GiB");

    EXPECT_FLOAT_EQ(Utils::findBpmInString("/a/Drums_120bpm.wav"), 120.0f);
    EXPECT_FLOAT_EQ(Utils::findBpmInString("/a/Loop 98 BPM.wav"), 98.0f);
    EXPECT_FLOAT_EQ(Utils::findBpmInString("/a/Loop 120.5bpm.wav"), 5.0f);
    EXPECT_FLOAT_EQ(Utils::findBpmInString("/a/bpm.wav"), 0.0f);
    EXPECT_FLOAT_EQ(Utils::findBpmInString("/a/90-bpm.tmp/Take.wav"), 0.0f);
}

TEST(TrashReminder, ScansAtMostWeeklyAndAlertsOnOldBatches)
{
    TempTree tree;
    AlertCapture alerts;
    const QString batch = Utils::trashcanURL() + "/2020-01-01 00:00:00";
    QDir().mkpath(batch);
    const QDateTime now = QDateTime::currentDateTime();

    // A fresh batch: scanned on the first launch, but nothing is old yet.
    TrashReminder::checkTrash(now);
    waitUntil([] { return false; }, 300);
    EXPECT_TRUE(alerts.alerts().isEmpty());
    EXPECT_EQ(platform::Settings::value("LastTrashCheck").toDateTime(), now);

    // Eight days later the same batch is old: exactly one alert.
    QDir().mkpath(Utils::trashcanURL() + "/second");
    TrashReminder::checkTrash(now.addDays(3));
    waitUntil([] { return false; }, 200);
    EXPECT_TRUE(alerts.alerts().isEmpty());  // within the week: no scan
    TrashReminder::checkTrash(now.addDays(8));
    EXPECT_TRUE(waitUntil([&] { return !alerts.alerts().isEmpty(); }));
    waitUntil([] { return false; }, 200);
    ASSERT_EQ(alerts.alerts().size(), 1);
    EXPECT_EQ(alerts.alerts()[0], "Old Trash|You have items in the Trash that are more than 7 days old, you might "
                                  "want to delete them to free up storage space!");
}
