#include "library/FileListDiff.h"
#include "library/FileSort.h"
#include "library/FolderListing.h"
#include "library/RowTexts.h"
#include "library/SearchFilter.h"
#include "library/Utils.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

using namespace testsupport;

namespace {

void setTime(const QString& path, qint64 seconds)
{
    const struct utimbuf times {time_t(seconds), time_t(seconds)};
    ASSERT_EQ(utime(QFile::encodeName(path).constData(), &times), 0);
}

QStringList names(const LibraryItemList& list)
{
    QStringList out;
    for (const LibraryItem& item : list)
        out << lastPathComponent(item.path);
    return out;
}

LibraryItemList sortedListing(const QString& folder, int mode)
{
    LibraryItemList list = listFolder(folder).value();
    FileSort::sortFileList(list, mode);
    return list;
}

}  // namespace

TEST(FileList, ListsEntriesWithOneStatusEachAndOddNames)
{
    TempTree tree;
    const QString lib = tree.library();
    const QString odd = QStringLiteral("new\nline \u00e9t\u00e9 \U0001F3B5.wav");
    ASSERT_TRUE(writeFile(lib + "/" + odd, QByteArray(3000, 'x')));
    ASSERT_TRUE(writeFile(lib + "/.hidden", "h"));
    QDir().mkpath(lib + "/Folder");
    setTime(lib + "/" + odd, 1700000000);
    // A link whose target is gone: its status can't be read.
    ASSERT_TRUE(QFile::link(lib + "/gone", lib + "/dangling.wav"));
    // A link to a folder lists as a folder.
    ASSERT_TRUE(QFile::link(lib + "/Folder", lib + "/Linked"));

    const LibraryItemList list = sortedListing(lib, FileSort::kByName);
    EXPECT_EQ(names(list), QStringList({"Folder", "Linked", ".hidden", "dangling.wav", odd}));
    const LibraryItem& item = list[4];
    EXPECT_EQ(item.path, lib + "/" + odd);
    EXPECT_FALSE(item.isDirectory);
    EXPECT_EQ(item.size, 3000);
    EXPECT_EQ(item.date, 1700000000);
    EXPECT_TRUE(list[1].isDirectory);
    EXPECT_EQ(list[3].size, 0);
    EXPECT_EQ(list[3].date, 0);
    EXPECT_FALSE(list[3].isDirectory);
    // It says so, and offers no play.
    EXPECT_TRUE(list[3].isBroken);
    EXPECT_FALSE(item.isBroken);
    EXPECT_EQ(RowTexts::rowForItem(list[3]).subtitle, QStringLiteral("Broken link"));
    EXPECT_EQ(RowTexts::iconNamesForItem(list[3]).first(), QStringLiteral("emblem-unreadable"));
    // The row never breaks into two lines.
    EXPECT_EQ(RowTexts::titleForItem(item), QStringLiteral("new?line \u00e9t\u00e9 \U0001F3B5.wav"));
    EXPECT_EQ(RowTexts::rowForItem(item).subtitle, RowTexts::dateText(1700000000) + " \u2022 2.9 KiB");

    // Unlistable folders give an empty list, not a failure.
    EXPECT_TRUE(listFolder(lib + "/missing").value().isEmpty());
    EXPECT_TRUE(listFolder(lib + "/" + odd).value().isEmpty());
    if (geteuid() != 0) {  // root reads any folder
        QDir().mkpath(lib + "/Closed");
        writeFile(lib + "/Closed/a.wav", "a");
        ::chmod(QFile::encodeName(lib + "/Closed").constData(), 0);
        EXPECT_TRUE(listFolder(lib + "/Closed").value().isEmpty());
        ::chmod(QFile::encodeName(lib + "/Closed").constData(), 0700);
    }
    // No folder, or a cancelled listing: nothing, so callers keep their lists.
    LogCapture log;
    EXPECT_FALSE(listFolder(QString()).has_value());
    EXPECT_TRUE(log.contains("updateFileList called with no folder!"));
    std::atomic_bool cancel{true};
    EXPECT_FALSE(listFolder(lib, &cancel).has_value());
}

TEST(FileList, InboxShownOnlyWithSubfolders)
{
    TempTree tree;
    const QString local = Utils::localDocumentsURL();
    QDir().mkpath(local + "/Inbox");
    writeFile(local + "/Inbox/handed.wav", "x");
    writeFile(local + "/mine.wav", "x");
    EXPECT_EQ(names(sortedListing(local, 0)), QStringList({"mine.wav"}));
    QDir().mkpath(local + "/Inbox/Sub");
    EXPECT_EQ(names(sortedListing(local, 0)), QStringList({"Inbox", "mine.wav"}));
    // Also through the file-sharing link.
    ASSERT_TRUE(QFile::link(local, Utils::localDocumentsLinkURL()));
    EXPECT_EQ(names(sortedListing(Utils::localDocumentsLinkURL(), 0)), QStringList({"Inbox", "mine.wav"}));
}

TEST(FileList, SortModesWithSystemItemsLastAndFoldersFirst)
{
    TempTree tree;
    const QString lib = tree.library();
    QDir().mkpath(lib + "/Trash");
    QDir().mkpath(Utils::localDocumentsURL());
    ASSERT_TRUE(QFile::link(Utils::localDocumentsURL(), Utils::localDocumentsLinkURL()));
    QDir().mkpath(lib + "/beta");
    QDir().mkpath(lib + "/Alpha");
    writeFile(lib + "/Take 10.wav", QByteArray(10, 'x'));
    writeFile(lib + "/take 2.wav", QByteArray(500, 'x'));
    writeFile(lib + "/Take 1.wav", QByteArray(200, 'x'));
    setTime(lib + "/Take 10.wav", 3000);
    setTime(lib + "/take 2.wav", 1000);
    setTime(lib + "/Take 1.wav", 2000);
    setTime(lib + "/beta", 5000);
    setTime(lib + "/Alpha", 4000);
    setTime(lib + "/Trash", 9000);

    EXPECT_EQ(names(sortedListing(lib, FileSort::kByName)),
              QStringList({"Alpha", "beta", "Take 1.wav", "take 2.wav", "Take 10.wav", "Desktop File Sharing", "Trash"}));
    EXPECT_EQ(names(sortedListing(lib, FileSort::kByDate)),
              QStringList({"beta", "Alpha", "Take 10.wav", "Take 1.wav", "take 2.wav", "Desktop File Sharing", "Trash"}));
    // Folders never by size, and before any file however large.
    EXPECT_EQ(names(sortedListing(lib, FileSort::kBySize)),
              QStringList({"Alpha", "beta", "take 2.wav", "Take 1.wav", "Take 10.wav", "Desktop File Sharing", "Trash"}));
    const LibraryItemList list = sortedListing(lib, 0);
    EXPECT_TRUE(list[5].isSys);
    EXPECT_TRUE(list[6].isSys);
    EXPECT_FALSE(list[0].isSys);

    EXPECT_EQ(RowTexts::rowForItem(list[5]).subtitle, "Shared with desktop");
    EXPECT_EQ(RowTexts::rowForItem(list[5]).imageName, "folder_desktop");
    EXPECT_EQ(RowTexts::rowForItem(list[6]).subtitle, "Deleted items");
    EXPECT_EQ(RowTexts::rowForItem(list[6]).imageName, "folder_trash");
    EXPECT_EQ(RowTexts::rowForItem(list[0]).subtitle, RowTexts::dateText(4000));
    EXPECT_EQ(RowTexts::rowForItem(list[0]).accessibilityHint, "Open this folder");
    EXPECT_EQ(RowTexts::rowForItem(list[2]).accessibilityHint, "Open this file");

    EXPECT_EQ(FileSort::modeFromName("date"), FileSort::kByDate);
    EXPECT_EQ(FileSort::modeFromName("colour"), -1);
}

TEST(FileList, TrashBatchAgesHeaderAndSearch)
{
    TempTree tree;
    const QString lib = tree.library();
    const QDateTime now(QDate(2026, 5, 10), QTime(12, 0));
    auto batch = [&](qint64 ageSeconds) {
        return LibraryItem{lib + "/Trash/b", true, 0, now.toSecsSinceEpoch() - ageSeconds, false, {}};
    };
    EXPECT_EQ(RowTexts::rowForItem(batch(3600), now).subtitle, "Today");
    EXPECT_EQ(RowTexts::rowForItem(batch(86400 + 60), now).subtitle, "Yesterday");
    EXPECT_EQ(RowTexts::rowForItem(batch(9 * 86400 + 5), now).subtitle, "9 days ago");
    EXPECT_EQ(RowTexts::daysBetweenDate(now, now.addSecs(-2 * 86400 - 1)), -2);
    EXPECT_EQ(RowTexts::daysBetweenDate({}, now), 0);
    LibraryItem titled{lib + "/x.wav", false, 0, 0, false, "Shown Title"};
    EXPECT_EQ(RowTexts::titleForItem(titled), "Shown Title");

    EXPECT_EQ(RowTexts::headerText(false, 0), "LOADING...");
    EXPECT_EQ(RowTexts::headerText(true, 0), "NO ITEMS");
    EXPECT_EQ(RowTexts::headerText(true, 1), "1 ITEM");
    EXPECT_EQ(RowTexts::headerText(true, 2), "2 ITEMS");

    LibraryItemList list;
    for (const char* name : {"Caf\u00e9 Loop.wav", "CAFE.wav", "cafeteria", "Na\u00efve.mid", "other.wav"})
        list.append({lib + "/" + QString::fromUtf8(name), false, 0, 0, false, {}});
    EXPECT_EQ(names(SearchFilter::filterFileList(list, "cafe")),
              QStringList({"Caf\u00e9 Loop.wav", "CAFE.wav", "cafeteria"}));
    EXPECT_EQ(names(SearchFilter::filterFileList(list, "NA\u00cfVE")), QStringList({"Na\u00efve.mid"}));
    EXPECT_EQ(names(SearchFilter::filterFileList(list, "ive.m")), QStringList({"Na\u00efve.mid"}));
    EXPECT_TRUE(SearchFilter::filterFileList(list, "zzz").isEmpty());
    // Only the name is searched, not the folders above it.
    EXPECT_TRUE(SearchFilter::filterFileList(list, "File Provider").isEmpty());
}

TEST(FileList, DiffFindsInsertsDeletesAndReloadsByPath)
{
    TempTree tree;
    const QString lib = tree.library();
    for (const char* name : {"a.wav", "b.wav", "c.wav", "d.wav"})
        writeFile(lib + "/" + name, "1");
    const LibraryItemList before = sortedListing(lib, 0);
    QFile::rename(lib + "/b.wav", lib + "/bb.wav");  // a rename is a removal plus an arrival
    writeFile(lib + "/c.wav", "grown");
    QFile::remove(lib + "/d.wav");
    writeFile(lib + "/0.wav", "new");
    const LibraryItemList after = sortedListing(lib, 0);
    ASSERT_EQ(names(after), QStringList({"0.wav", "a.wav", "bb.wav", "c.wav"}));

    const FileListDiff diff = diffFileLists(before, after);
    EXPECT_EQ(diff.deletedRows, QList<int>({1, 3}));
    EXPECT_EQ(diff.insertedRows, QList<int>({0, 2}));
    EXPECT_EQ(diff.reloadedRows, QList<int>({3}));
    EXPECT_TRUE(diffFileLists(after, after).isEmpty());
}
