// Path joining, containment, the " (%i)" rule and the race-free landing of files.
#include "support/TempTree.h"
#include "wifidrive/WebFileOps.h"
#include "wifidrive/WebPaths.h"
#include "wifidrive/WiFiDriveAddressText.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>
#include <latch>
#include <thread>

using namespace testsupport;

TEST(WebPaths, JoinKeepsRequestsUnderTheRoot)
{
    EXPECT_EQ(WebPaths::join("/lib", "/"), "/lib");
    EXPECT_EQ(WebPaths::join("/lib", ""), "/lib");
    EXPECT_EQ(WebPaths::join("/lib", "/Loops//./a.wav"), "/lib/Loops/a.wav");
    EXPECT_EQ(WebPaths::join("/lib", "/etc/passwd"), "/lib/etc/passwd");
    EXPECT_EQ(WebPaths::join("/lib", "..."), "/lib/...");
    EXPECT_FALSE(WebPaths::join("/lib", ".."));
    EXPECT_FALSE(WebPaths::join("/lib", "a/../b"));
    EXPECT_FALSE(WebPaths::join("/lib", QStringLiteral("a%1b").arg(QChar(0))));
    EXPECT_FALSE(WebPaths::join("/lib", QString(256, 'x')));
    EXPECT_TRUE(WebPaths::join("/lib", QString(255, 'x')));
    // 255 bytes of UTF-8 is fewer characters.
    EXPECT_FALSE(WebPaths::join("/lib", QString(128, QChar(0xe9))));

    EXPECT_TRUE(WebPaths::isValidName("Take 1.wav"));
    for (const QString& bad : {QString(), QStringLiteral("."), QStringLiteral(".."), QStringLiteral("a/b"),
                               QString(256, 'x')})
        EXPECT_FALSE(WebPaths::isValidName(bad)) << bad.toStdString();

    EXPECT_EQ(WebPaths::appendComponent("/", "a"), "/a");
    EXPECT_EQ(WebPaths::appendComponent("", "a"), "a");
    EXPECT_EQ(WebPaths::appendComponent("/Loops/", "a"), "/Loops/a");
    EXPECT_EQ(WebPaths::appendComponent("Loops", "a"), "Loops/a");
}

TEST(WebPaths, ContainmentFollowsLinks)
{
    TempTree tree;
    const QString lib = tree.path("lib");
    const QString docs = tree.path("docs");
    const QString outside = tree.path("outside");
    for (const QString& d : {lib + "/Loops", docs, outside})
        QDir().mkpath(d);
    QFile::link(docs, lib + "/Shared");
    QFile::link(outside, lib + "/Out");
    QFile::link(tree.path("missing"), lib + "/Dangling");
    const QStringList allowed = WebPaths::resolvedFolders({lib, docs, tree.path("none")});
    EXPECT_EQ(allowed.size(), 2);
    EXPECT_TRUE(WebPaths::staysInside(lib, allowed));
    EXPECT_TRUE(WebPaths::staysInside(lib + "/Loops/new/deeper.wav", allowed));
    EXPECT_TRUE(WebPaths::staysInside(lib + "/Shared/x.wav", allowed));
    EXPECT_FALSE(WebPaths::staysInside(lib + "/Out", allowed));
    EXPECT_FALSE(WebPaths::staysInside(lib + "/Out/new.wav", allowed));
    EXPECT_FALSE(WebPaths::staysInside(lib + "/Dangling", allowed));
    EXPECT_FALSE(WebPaths::staysInside(lib + "/Shared/x.wav", WebPaths::resolvedFolders({lib})));
}

TEST(WebPaths, UniquePathAppendsCounterBeforeTheExtension)
{
    TempTree tree;
    const QString dir = tree.path("d");
    writeFile(dir + "/Take.wav", "1");
    writeFile(dir + "/Take (1).wav", "2");
    writeFile(dir + "/.hidden", "h");
    writeFile(dir + "/a.tar.gz", "z");
    QDir().mkpath(dir + "/Loops");
    EXPECT_EQ(WebPaths::uniquePathForPath(dir + "/Free.wav"), dir + "/Free.wav");
    EXPECT_EQ(WebPaths::uniquePathForPath(dir + "/Take.wav"), dir + "/Take (2).wav");
    EXPECT_EQ(WebPaths::uniquePathForPath(dir + "/Loops"), dir + "/Loops (1)");
    EXPECT_EQ(WebPaths::uniquePathForPath(dir + "/.hidden"), dir + "/.hidden (1)");
    EXPECT_EQ(WebPaths::uniquePathForPath(dir + "/a.tar.gz"), dir + "/a.tar (1).gz");
}

TEST(WebFileOps, RacingMovesToOneNameNeverReplaceEachOther)
{
    TempTree tree;
    const QString dir = tree.path("race");
    constexpr int kMovers = 12;
    constexpr int kRounds = 15;
    for (int round = 0; round < kRounds; ++round) {
        const QString target = QStringLiteral("%1/r%2/Take.wav").arg(dir).arg(round);
        QDir().mkpath(QFileInfo(target).path());
        std::latch go(kMovers);
        std::vector<std::thread> movers;
        for (int i = 0; i < kMovers; ++i) {
            const QString source = QStringLiteral("%1/src-%2-%3").arg(dir).arg(round).arg(i);
            writeFile(source, QByteArray::number(i));
            movers.emplace_back([&, source] {
                go.arrive_and_wait();
                QString error;
                EXPECT_TRUE(WebFileOps::moveToFreePath(source, target, &error)) << error.toStdString();
            });
        }
        for (std::thread& t : movers)
            t.join();
        QSet<QByteArray> contents;
        for (const QString& name : QDir(QFileInfo(target).path()).entryList(QDir::Files))
            contents << readFile(QFileInfo(target).path() + "/" + name);
        ASSERT_EQ(contents.size(), kMovers) << "round " << round;
    }
}

TEST(WebFileOps, RemoveItemDeletesLinksNotTheirTargets)
{
    TempTree tree;
    writeFile(tree.path("outside/keep.txt"), "k");
    writeFile(tree.path("lib/Folder/a.wav"), "a");
    QFile::link(tree.path("outside"), tree.path("lib/Folder/link"));
    QString error;
    EXPECT_TRUE(WebFileOps::removeItem(tree.path("lib/Folder"), &error)) << error.toStdString();
    EXPECT_FALSE(QFileInfo::exists(tree.path("lib/Folder")));
    EXPECT_EQ(readFile(tree.path("outside/keep.txt")), "k");
    EXPECT_FALSE(WebFileOps::removeItem(tree.path("lib/none"), &error));
    EXPECT_FALSE(error.isEmpty());
}

TEST(WiFiDriveAddressText, ThreeStatesAndThreeLines)
{
    EXPECT_EQ(wifiDriveAddressText(false, "http://10.0.0.2/", "http://box.local/"), "Not running");
    EXPECT_EQ(wifiDriveAddressText(true, "", "http://box.local/"), "No local network");
    EXPECT_EQ(wifiDriveAddressText(true, "http://10.0.0.2/", ""), "http://10.0.0.2/");
    EXPECT_EQ(wifiDriveAddressText(true, "http://10.0.0.2/", "http://box.local/"),
              "http://10.0.0.2/\nor\nhttp://box.local/");
}
