#include "DropboxTestServer.h"

#include "cloud/DropboxAccount.h"
#include "cloud/DropboxClient.h"
#include "cloud/screens/DBFolderViewController.h"
#include "cloud/screens/DropboxViewController.h"
#include "support/TempTree.h"

#include <QDir>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTreeWidget>
#include <gtest/gtest.h>

using namespace cloud;
using testsupport::DropboxTestServer;
using testsupport::waitUntil;

// The browsing screen lists a folder (folders first, then files with their sizes), enters a
// folder on a double click and hands over the picked items with the folder they are in.
TEST(DropboxScreensTest, BrowserPicksSeveralItemsWithTheirFolder)
{
    testsupport::TempTree tree;
    DropboxTestServer server;
    ASSERT_TRUE(server.isRunning());
    ASSERT_TRUE(testsupport::writeFile(server.account("/Sets/Kick.wav"), QByteArray(2048, 'k')));
    ASSERT_TRUE(testsupport::writeFile(server.account("/Sets/Live/Take.wav"), "t"));
    ASSERT_TRUE(testsupport::writeFile(server.account("/Sets/a note.txt"), "n"));
    ASSERT_TRUE(server.control({{"page_size", 1}}));
    DropboxAccount account;
    account.loadSync();
    DropboxClient client(&account);

    DropboxViewController browser(&client, nullptr);
    QList<DropboxPendingEntry> picked;
    QString base;
    browser.completionBlock = [&](const QList<DropboxPendingEntry>& p, const QString& b) {
        picked = p;
        base = b;
    };
    browser.showFolder("/sets");
    ASSERT_TRUE(waitUntil([&] { return browser.isLoaded(); }, 30000));
    QTreeWidget* table = browser.table();
    ASSERT_EQ(table->topLevelItemCount(), 3);
    EXPECT_EQ(table->topLevelItem(0)->text(0), "Live/");
    EXPECT_EQ(table->topLevelItem(1)->text(0), "a note.txt");
    EXPECT_EQ(table->topLevelItem(2)->text(0), "Kick.wav");
    EXPECT_FALSE(table->topLevelItem(2)->text(1).isEmpty());
    EXPECT_FALSE(browser.importButton()->isEnabled());
    table->topLevelItem(0)->setSelected(true);
    table->topLevelItem(2)->setSelected(true);
    EXPECT_EQ(browser.importButton()->text(), "Import 2 Items");
    browser.importButton()->click();
    ASSERT_EQ(picked.size(), 2);
    EXPECT_EQ(base, "/sets");
    EXPECT_TRUE(picked.contains(DropboxPendingEntry{"/Sets/Live", true}));
    EXPECT_TRUE(picked.contains(DropboxPendingEntry{"/Sets/Kick.wav", false}));
}

// The destination picker shows folders only, makes a new folder and enters it, and answers
// the folder shown; its button names one or several items.
TEST(DropboxScreensTest, DestinationPickerMakesAndChoosesAFolder)
{
    testsupport::TempTree tree;
    DropboxTestServer server;
    ASSERT_TRUE(server.isRunning());
    ASSERT_TRUE(testsupport::writeFile(server.account("/Music/x.wav"), "x"));
    ASSERT_TRUE(testsupport::writeFile(server.account("/top.wav"), "x"));
    DropboxAccount account;
    account.loadSync();
    DropboxClient client(&account);

    EXPECT_EQ(DBFolderViewController(&client, 1).exportButton()->text(), "Export item here");
    DBFolderViewController picker(&client, 3);
    EXPECT_EQ(picker.exportButton()->text(), "Export items here");
    QString chosen;
    picker.completionBlock = [&](const QString& d) { chosen = d; };
    picker.showFolder("");
    ASSERT_TRUE(waitUntil([&] { return picker.isLoaded(); }, 30000));
    ASSERT_EQ(picker.table()->count(), 1);
    EXPECT_EQ(picker.table()->item(0)->text(), "Music/");
    picker.createFolder("../x");
    EXPECT_TRUE(picker.statusLabel()->text().contains("is not a folder name"));
    picker.createFolder("Stems");
    ASSERT_TRUE(waitUntil([&] { return picker.folder() == "/Stems" && picker.isLoaded(); }, 30000));
    EXPECT_TRUE(QFileInfo(server.account("/Stems")).isDir());
    picker.exportButton()->click();
    EXPECT_EQ(chosen, "/Stems");
}
