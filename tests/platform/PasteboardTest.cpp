#include "platform/Locations.h"
#include "platform/Pasteboard.h"
#include "support/SmallMount.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <QtEndian>
#include <gtest/gtest.h>

using namespace testsupport;
using platform::Pasteboard;
using platform::PasteboardItem;

namespace {
QStringList folderEntries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}
}  // namespace

TEST(Pasteboard, ItemsKeepTheirOrderTypesAndBytesAndASnapshotKeepsItsContent)
{
    TempTree tree;
    EXPECT_EQ(Pasteboard::withName("board", false), nullptr);
    auto board = Pasteboard::withName("board", true);
    ASSERT_NE(board, nullptr);
    EXPECT_EQ(board->folder(), platform::Locations::pasteboards() + "/board");
    EXPECT_EQ(board->snapshot()->count(), 0);

    const QByteArray big(3 << 20, 'x');
    ASSERT_TRUE(board->setItems({{{"info", "I"}, {"raw", ""}}, {}, {{"raw", big}}}));
    auto before = board->snapshot();
    ASSERT_EQ(before->count(), 3);
    EXPECT_EQ(before->types(0), QStringList({"info", "raw"}));
    EXPECT_TRUE(before->types(1).isEmpty());
    EXPECT_EQ(before->itemsWithType("raw"), QList<int>({0, 2}));
    EXPECT_EQ(before->data(0, "info"), "I");
    EXPECT_FALSE(before->data(0, "raw").isNull());  // present though empty
    EXPECT_TRUE(before->data(1, "raw").isNull());
    EXPECT_EQ(before->size(2, "raw"), big.size());

    // Replaced afterwards: the earlier snapshot still reads what it saw, a new one the new.
    ASSERT_TRUE(board->setItems({{{"raw", "new"}}}));
    EXPECT_EQ(before->data(2, "raw"), big);
    EXPECT_EQ(board->snapshot()->items(), QList<PasteboardItem>({{{"raw", "new"}}}));
    // Seen by a second handle, as by another process.
    EXPECT_EQ(Pasteboard::withName("board", false)->snapshot()->data(0, "raw"), "new");
    EXPECT_EQ(folderEntries(board->folder()), QStringList({".lock", "items"}));

    // The file is the documented layout.
    const QByteArray file = readFile(board->folder() + "/items");
    QByteArray expected = "WLPASTE1";
    expected += QByteArray::fromHex("00000000" "03000000") + "raw" + QByteArray::fromHex("0300000000000000") + "new";
    expected += QByteArray::fromHex("01000000") + "WLPBEND!";
    EXPECT_EQ(file, expected);
}

TEST(Pasteboard, NamesThatLeaveTheStoreAndLinkedFoldersAreRefused)
{
    TempTree tree;
    for (const QString& name : QStringList{"", ".", "..", "../x", "a/b", "/etc", ".hidden", QString(QChar(0)) + "x"})
        EXPECT_EQ(Pasteboard::withName(name, true), nullptr) << name.toStdString();
    EXPECT_FALSE(QDir(platform::Locations::pasteboards()).exists());

    QDir().mkpath(tree.path("elsewhere"));
    QDir().mkpath(platform::Locations::pasteboards());
    QFile::link(tree.path("elsewhere"), platform::Locations::pasteboards() + "/linked");
    EXPECT_EQ(Pasteboard::withName("linked", true), nullptr);
    EXPECT_TRUE(folderEntries(tree.path("elsewhere")).isEmpty());
}

TEST(Pasteboard, DamagedFilesReadAsEmptyAndNothingReadsPastTheFile)
{
    TempTree tree;
    auto board = Pasteboard::withName("damaged", true);
    ASSERT_TRUE(board->setItems({{{"raw", "0123456789"}}}));
    const QString items = board->folder() + "/items";
    const QByteArray good = readFile(items);

    QByteArray hugeLength = good;
    qToLittleEndian<quint64>(quint64(1) << 40, hugeLength.data() + 8 + 8 + 3);
    QByteArray hugeType = good;
    qToLittleEndian<quint32>(0x7fffffff, hugeType.data() + 12);
    QByteArray itemOutOfRange = good;
    qToLittleEndian<quint32>(7, itemOutOfRange.data() + 8);
    QByteArray manyItems = good;
    qToLittleEndian<quint32>(0xffffffff, manyItems.data() + good.size() - 12);
    const QList<QByteArray> damaged = {
        "", "garbage", good.left(good.size() - 1), good.left(20) + good.right(12), hugeLength, hugeType,
        itemOutOfRange, manyItems, QByteArray(4096, '\xff'),
    };
    for (const QByteArray& bytes : damaged) {
        ASSERT_TRUE(writeFile(items, bytes));
        auto snapshot = board->snapshot();
        ASSERT_NE(snapshot, nullptr);
        EXPECT_EQ(snapshot->count(), 0) << bytes.toHex().left(80).toStdString();
        EXPECT_TRUE(snapshot->itemsWithType("raw").isEmpty());
    }
    // A folder in place of the file, too.
    QFile::remove(items);
    QDir().mkpath(items);
    EXPECT_EQ(board->snapshot()->count(), 0);
    QDir(items).removeRecursively();
    // And writing over the damage works.
    ASSERT_TRUE(writeFile(items, "junk"));
    ASSERT_TRUE(board->setItems({{{"raw", "ok"}}}));
    EXPECT_EQ(board->snapshot()->data(0, "raw"), "ok");
}

TEST(Pasteboard, AnUnfinishedOrFailedWriteKeepsTheOldContentAndLeavesNoTemporaryFile)
{
    TempTree tree;
    auto board = Pasteboard::withName("board", true);
    ASSERT_TRUE(board->setItems({{{"raw", "old"}}}));
    {
        auto writer = board->beginReplace();
        ASSERT_NE(writer, nullptr);
        writer->addData("raw", "half");
        EXPECT_EQ(board->snapshot()->data(0, "raw"), "old");
    }  // dropped without commit, as by a failure on the way
    EXPECT_EQ(board->snapshot()->data(0, "raw"), "old");
    // A writer killed outright leaves its file; the next writer clears it.
    writeFile(board->folder() + "/.items-KILLED", "partial");
    ASSERT_TRUE(board->setItems({{{"raw", "next"}}}));
    EXPECT_EQ(folderEntries(board->folder()), QStringList({".lock", "items"}));

    // A full disk: the write fails, the old content stays.
    SmallMount mount(platform::Locations::pasteboards() + "/full", "1m");
    if (!mount.mounted())
        GTEST_SKIP() << "mounting a tmpfs needs CAP_SYS_ADMIN";
    auto full = Pasteboard::withName("full", true);
    ASSERT_NE(full, nullptr);
    ASSERT_TRUE(full->setItems({{{"raw", "small"}}}));
    EXPECT_FALSE(full->setItems({{{"raw", QByteArray(2 << 20, 'z')}}}));
    EXPECT_EQ(full->snapshot()->data(0, "raw"), "small");
    EXPECT_EQ(folderEntries(full->folder()), QStringList({".lock", "items"}));
}
