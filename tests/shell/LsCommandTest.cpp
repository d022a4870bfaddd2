#include "library/FileSort.h"
#include "library/FolderListing.h"
#include "library/RowTexts.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {
QStringList lines(const QByteArray& out)
{
    QStringList list = QString::fromUtf8(out).split(QLatin1Char('\n'));
    if (!list.isEmpty() && list.last().isEmpty())
        list.removeLast();
    return list;
}
}  // namespace

TEST(ToolLs, PrintsTheBrowsersHeaderAndRows)
{
    TempTree tree;
    const QString lib = tree.library();
    writeFile(lib + "/Take 10.wav", QByteArray(4000, 'x'));
    writeFile(lib + "/Take 9.wav", QByteArray(10, 'x'));
    writeFile(lib + "/a\nb\tc.wav", "x");
    QDir().mkpath(lib + "/Trash");
    QDir().mkpath(lib + "/Loops");
    const QStringList env = {"XDG_DATA_HOME=" + tree.path("data"), "XDG_CONFIG_HOME=" + tree.path("config"),
                             "XDG_CACHE_HOME=" + tree.path("cache")};

    const RunResult byName = runProgram("wavelocker-tool", {"ls"}, env);
    ASSERT_EQ(byName.exitCode, 0) << byName.err.constData();
    LibraryItemList items = listFolder(lib).value();
    FileSort::sortFileList(items, FileSort::kByName);
    QStringList expected = {"5 ITEMS"};
    for (const LibraryItem& item : items) {
        const RowTexts::Row row = RowTexts::rowForItem(item);
        expected << row.title + "\t" + row.subtitle;
    }
    EXPECT_EQ(lines(byName.out), expected);
    EXPECT_TRUE(lines(byName.out)[1].startsWith("Loops\t"));
    EXPECT_TRUE(lines(byName.out)[2].startsWith("a?b?c.wav\t"));
    EXPECT_TRUE(lines(byName.out)[3].startsWith("Take 9.wav\t"));
    EXPECT_TRUE(lines(byName.out)[5].startsWith("Trash\tDeleted items"));

    const RunResult bySize = runProgram("wavelocker-tool", {"--library", lib, "ls", lib, "--sort", "size"}, env);
    ASSERT_EQ(bySize.exitCode, 0);
    EXPECT_TRUE(lines(bySize.out)[2].startsWith("Take 10.wav\t"));
    EXPECT_TRUE(lines(bySize.out)[2].endsWith(" \u2022 3.9 KiB"));

    // A search shows no count, like the browser.
    const RunResult search = runProgram("wavelocker-tool", {"ls", "--search", "TAKE"}, env);
    ASSERT_EQ(search.exitCode, 0);
    ASSERT_EQ(lines(search.out).size(), 2);
    EXPECT_TRUE(lines(search.out)[0].startsWith("Take 9.wav\t"));

    const RunResult empty = runProgram("wavelocker-tool", {"ls", lib + "/Loops"}, env);
    EXPECT_EQ(lines(empty.out), QStringList({"NO ITEMS"}));
    EXPECT_EQ(runProgram("wavelocker-tool", {"ls", lib + "/none"}, env).exitCode, 1);
    EXPECT_EQ(runProgram("wavelocker-tool", {"ls", "--sort", "colour"}, env).exitCode, 2);
}
