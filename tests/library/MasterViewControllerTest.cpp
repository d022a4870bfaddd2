#include "audiofiles/screens/DetailViewController.h"
#include "library/FileListModel.h"
#include "library/FileSort.h"
#include "library/screens/FileListView.h"
#include "library/screens/MasterViewController.h"
#include "library/RowTexts.h"
#include "library/Utils.h"
#include "support/TempTree.h"
#include "platform/Settings.h"
#include "ui/screens/FolderMenuView.h"
#include "ui/screens/NavigationController.h"

#include <QDir>
#include <QFile>
#include <QListView>
#include <QSignalSpy>
#include <QThread>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

struct Browser {
    DetailViewController detail;
    MasterViewController* master = new MasterViewController;
    NavigationController navigation{master};

    explicit Browser(const QString& folder)
    {
        master->setWindowTitle("Library");
        master->setDetailViewController(&detail);
        master->setNavigationController(&navigation);
        navigation.resize(400, 600);
        navigation.show();
        master->setFolder(folder);
    }
    FileListModel* model() const { return master->model(); }
    QStringList titles() const
    {
        QStringList out;
        for (int row = 0; row < model()->rowCount(); ++row)
            out << model()->index(row).data().toString();
        return out;
    }
    bool arriving(const QString& path) const
    {
        const int row = model()->rowForItemWithPath(path);
        return row >= 0 && model()->index(row).data(FileListModel::IsArrivingRole).toBool();
    }
};

bool append(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::Append) && f.write(bytes) == bytes.size();
}

}  // namespace

TEST(Browser, RowsHeaderSortAndSearch)
{
    TempTree tree;
    const QString lib = tree.library();
    writeFile(lib + "/Take 10.wav", QByteArray(100, 'x'));
    writeFile(lib + "/Take 2.wav", QByteArray(2000, 'x'));
    writeFile(lib + "/Caf\u00e9.txt", "note");
    QDir().mkpath(lib + "/Sets");
    FileSort::setSortMode(FileSort::kByName);

    Browser b(lib);
    EXPECT_EQ(b.master->headerText(), "LOADING...");
    ASSERT_TRUE(waitUntil([&] { return b.model()->isLoaded(); }));
    EXPECT_EQ(b.titles(), QStringList({"Sets", "Caf\u00e9.txt", "Take 2.wav", "Take 10.wav"}));
    EXPECT_EQ(b.master->headerText(), "4 ITEMS");
    EXPECT_EQ(b.master->sortButtonText(), "SORTED BY NAME");
    const QModelIndex take2 = b.model()->index(2);
    EXPECT_TRUE(take2.data(FileListModel::IsAudioRole).toBool());
    EXPECT_FALSE(b.model()->index(1).data(FileListModel::IsAudioRole).toBool());
    EXPECT_TRUE(take2.data(FileListModel::SubtitleRole).toString().endsWith(" \u2022 2.0 KiB"));
    EXPECT_EQ(b.model()->index(0).data(FileListModel::ImageNameRole).toString(), "folder");

    b.master->sortPress();
    EXPECT_EQ(b.master->sortButtonText(), "SORTED BY DATE");
    b.master->sortPress();
    EXPECT_EQ(b.master->sortButtonText(), "SORTED BY SIZE");
    EXPECT_EQ(b.titles(), QStringList({"Sets", "Take 2.wav", "Take 10.wav", "Caf\u00e9.txt"}));
    MasterViewController::saveDefaults();
    b.master->sortPress();
    EXPECT_EQ(b.master->sortButtonText(), "SORTED BY NAME");
    EXPECT_EQ(platform::Settings::value("SortMode").toInt(), FileSort::kBySize);

    // Opening a file selects its row and shows it beside the list.
    b.master->openFile(lib + "/Take 10.wav");
    EXPECT_EQ(b.detail.detailItem(), lib + "/Take 10.wav");
    EXPECT_EQ(b.master->tableView()->currentIndex().row(), 3);

    b.master->handleSearch("cafe");
    EXPECT_EQ(b.titles(), QStringList({"Caf\u00e9.txt"}));
    EXPECT_EQ(b.master->headerText(), "");
    // An outside change cancels the search so the refresh works on the whole list.
    writeFile(lib + "/cafe 2.wav", "x");
    ASSERT_TRUE(waitUntil([&] { return b.model()->rowCount() == 5; }));
    EXPECT_FALSE(b.model()->isSearching());
    EXPECT_EQ(b.master->headerText(), "5 ITEMS");
}

TEST(Browser, ArrivingFileStaysDimmedWhileGrowingThenSettles)
{
    TempTree tree;
    const QString lib = tree.library();
    writeFile(lib + "/old.wav", "x");
    Browser b(lib);
    ASSERT_TRUE(waitUntil([&] { return b.model()->isLoaded(); }));
    LogCapture log;
    // Steps far shorter than the interval: a busy machine that holds this process still for
    // a moment between two steps must not look like a file that stopped growing.
    constexpr int kInterval = 3000;
    b.model()->setSettleInterval(kInterval);
    const QString path = lib + "/arriving.wav";
    Utils::rememberNewFile(path);
    ASSERT_TRUE(writeFile(path, QByteArray(1000, 'a')));
    ASSERT_TRUE(waitUntil([&] { return b.arriving(path); }));
    const int row = b.model()->rowForItemWithPath(path);
    EXPECT_EQ(b.model()->flags(b.model()->index(row)), Qt::NoItemFlags);
    // Growing in steps shorter than the settle interval keeps it dimmed.
    for (int step = 0; step < 8; ++step) {
        ASSERT_TRUE(append(path, QByteArray(1000, 'b')));
        waitUntil([] { return false; }, kInterval / 20);
        ASSERT_TRUE(b.arriving(path)) << "settled while growing, step " << step;
    }
    b.model()->setSettleInterval(100);
    ASSERT_TRUE(waitUntil([&] { return !b.arriving(path); }));
    EXPECT_NE(b.model()->flags(b.model()->index(b.model()->rowForItemWithPath(path))), Qt::NoItemFlags);
    EXPECT_TRUE(b.model()
                    ->index(b.model()->rowForItemWithPath(path))
                    .data(FileListModel::SubtitleRole)
                    .toString()
                    .endsWith(" \u2022 8.8 KiB"));
    // It was the last new file: it opens by itself, once.
    EXPECT_EQ(b.detail.detailItem(), path);
    EXPECT_TRUE(log.contains("checkNewFiles: auto-opening item: " + path));
    EXPECT_TRUE(Utils::lastNewFile().isEmpty());
    EXPECT_TRUE(b.master->addingFileList().isEmpty());
    EXPECT_TRUE(log.contains("DIR CHANGED: " + lib));
    EXPECT_TRUE(log.contains("queue: main-thread"));
}

TEST(Browser, OutsideRenameAndRemovalTouchOnlyTheirRows)
{
    TempTree tree;
    const QString lib = tree.library();
    for (const char* name : {"a.wav", "b.wav", "c.wav", "d.wav"})
        writeFile(lib + "/" + name, "x");
    Browser b(lib);
    ASSERT_TRUE(waitUntil([&] { return b.model()->isLoaded(); }));
    b.master->openFile(lib + "/d.wav");

    QSignalSpy resets(b.model(), &QAbstractItemModel::modelReset);
    QSignalSpy removed(b.model(), &QAbstractItemModel::rowsRemoved);
    QSignalSpy inserted(b.model(), &QAbstractItemModel::rowsInserted);
    QSignalSpy changed(b.model(), &QAbstractItemModel::dataChanged);
    QSignalSpy gone(b.master, &MasterViewController::itemRemoved);

    ASSERT_TRUE(QFile::rename(lib + "/b.wav", lib + "/bz.wav"));
    ASSERT_TRUE(waitUntil([&] { return b.titles().contains("bz.wav"); }));
    EXPECT_EQ(b.titles(), QStringList({"a.wav", "bz.wav", "c.wav", "d.wav"}));
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed[0][1].toInt(), 1);
    ASSERT_EQ(inserted.size(), 1);
    EXPECT_EQ(inserted[0][1].toInt(), 1);
    // Every redraw since is of the renamed row only (its dimming and settling).
    ASSERT_TRUE(waitUntil([&] { return !b.arriving(lib + "/bz.wav"); }));
    for (const QList<QVariant>& signal : changed)
        EXPECT_EQ(signal[0].toModelIndex().row(), 1);
    EXPECT_EQ(resets.size(), 0);
    ASSERT_EQ(gone.size(), 1);
    EXPECT_EQ(gone[0][0].value<LibraryItem>().path, lib + "/b.wav");

    // The file shown beside the list goes away: the editor lets go of it.
    ASSERT_TRUE(QFile::remove(lib + "/d.wav"));
    ASSERT_TRUE(waitUntil([&] { return b.model()->rowCount() == 3; }));
    EXPECT_TRUE(b.detail.detailItem().isEmpty());
    EXPECT_EQ(b.master->headerText(), "3 ITEMS");
    EXPECT_EQ(resets.size(), 0);
}

TEST(Browser, FoldersParentLongPressAndFolderMenu)
{
    TempTree tree;
    const QString lib = tree.library();
    QDir().mkpath(lib + "/Sets/Live");
    writeFile(lib + "/Sets/Live/one.wav", "1");
    Browser b(lib);
    ASSERT_TRUE(waitUntil([&] { return b.model()->isLoaded(); }));

    MasterViewController* sets = b.master->enterFolder(lib + "/Sets", false);
    MasterViewController* live = sets->enterFolder(lib + "/Sets/Live", false);
    EXPECT_EQ(b.navigation.viewControllers().size(), 3);
    EXPECT_EQ(live->folderLevel(), 2);
    EXPECT_EQ(b.navigation.titleText(), "Live");
    ASSERT_TRUE(waitUntil([&] { return live->model()->isLoaded(); }));
    EXPECT_EQ(live->headerText(), "1 ITEM");

    // A long press on the title looks one level up, keeping ".." in the path.
    emit b.navigation.titleLongPressed(live);
    ASSERT_EQ(b.navigation.viewControllers().size(), 4);
    auto* up = qobject_cast<MasterViewController*>(b.navigation.topViewController());
    ASSERT_NE(up, nullptr);
    EXPECT_EQ(up->folder(), lib + "/Sets/Live/..");
    EXPECT_EQ(up->windowTitle(), "..");
    ASSERT_TRUE(waitUntil([&] { return up->model()->isLoaded(); }));
    EXPECT_EQ(up->model()->index(0).data().toString(), "Live");

    // The folder menu returns the stack to the chosen screen.
    FolderMenuView* menu = FolderMenuView::showMenuForNavigationController(&b.navigation);
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(menu->titles(), QStringList({"Library", "Sets", "Live", ".."}));
    menu->choose(1);
    ASSERT_TRUE(waitUntil([&] { return b.navigation.viewControllers().size() == 2; }));
    EXPECT_EQ(b.navigation.topViewController(), sets);
}
