#include "platform/Dispatch.h"
#include "platform/FolderWatcher.h"
#include "platform/Locations.h"
#include "platform/NotificationCenter.h"
#include "platform/Settings.h"
#include "platform/TypeIdentifiers.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFileInfo>
#include <atomic>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace testsupport;

TEST(Locations, FollowXdgAndOverrides)
{
    TempTree tree;
    const QString data = tree.path(QStringLiteral("data"));
    EXPECT_EQ(platform::Locations::libraryRoot(), data + "/group.com.orvenic.Wavelocker/File Provider Storage");
    EXPECT_EQ(platform::Locations::privateDocuments(), data + "/com.orvenic.Wavelocker/Documents");

    qputenv("WAVELOCKER_LIBRARY", QFile::encodeName(tree.path("envlib")));
    EXPECT_EQ(platform::Locations::libraryRoot(), tree.path("envlib"));
    EXPECT_TRUE(platform::Locations::appGroupContainer().isEmpty());
    platform::Locations::setLibraryOverride(tree.path("arglib"));
    EXPECT_EQ(platform::Locations::libraryRoot(), tree.path("arglib"));
    platform::Locations::setLibraryOverride({});
    qunsetenv("WAVELOCKER_LIBRARY");

    // The temporary folder is private to the user even when it existed with looser rights.
    const QString tmp = platform::Locations::tempDir();
    ::chmod(QFile::encodeName(tmp).constData(), 0777);
    platform::Locations::tempDir();
    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(tmp).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    EXPECT_TRUE(tmp.startsWith(tree.path("cache")));
}

TEST(Settings, DefaultsAnswerUntilAValueIsStoredAndStoredValuesPersist)
{
    TempTree tree;
    platform::Settings::registerDefaults({{"TestKey", 7}});
    EXPECT_EQ(platform::Settings::value("TestKey").toInt(), 7);
    EXPECT_FALSE(platform::Settings::contains("TestKey"));
    platform::Settings::setValue("TestKey", 9);
    platform::Settings::setValue("Map", QVariantMap{{"format", 3}, {"bits", 24}});
    platform::Settings::sync();
    platform::Settings::reload();
    EXPECT_EQ(platform::Settings::value("TestKey").toInt(), 9);
    EXPECT_EQ(platform::Settings::value("Map").toMap().value("bits").toInt(), 24);
    EXPECT_TRUE(QFileInfo::exists(tree.path("config/Orvenic/Wavelocker.conf")));
}

TEST(NotificationCenter, DeliversByNameAndStopsAfterObserverGoesAway)
{
    int hits = 0;
    const int poster = 0;
    {
        platform::ScopedObserver obs("A", [&](const platform::Notification& n) {
            EXPECT_EQ(n.object, &poster);
            ++hits;
        });
        platform::NotificationCenter::defaultCenter().post("A", &poster);
        platform::NotificationCenter::defaultCenter().post("B", &poster);
    }
    platform::NotificationCenter::defaultCenter().post("A", &poster);
    EXPECT_EQ(hits, 1);
}

TEST(SerialQueue, RunsInOrderOnOneThreadAndSyncWaits)
{
    platform::SerialQueue queue("test.queue");
    std::vector<int> order;
    for (int i = 0; i < 100; ++i)
        queue.async([&order, i] { order.push_back(i); });
    QString label;
    queue.sync([&] {
        label = platform::SerialQueue::currentLabel();
        queue.sync([&] { order.push_back(100); });  // re-entrant sync runs inline instead of deadlocking
    });
    ASSERT_EQ(order.size(), 101u);
    for (int i = 0; i <= 100; ++i)
        EXPECT_EQ(order[i], i);
    EXPECT_EQ(label, "test.queue");
    EXPECT_EQ(platform::SerialQueue::currentLabel(), "main-thread");

    std::atomic<bool> ran = false;
    queue.async([&] { platform::runOnMain([&] { ran = true; }); });
    EXPECT_TRUE(waitUntil([&] { return ran.load(); }));
}

TEST(TypeIdentifiers, ExtensionsAndConformance)
{
    using namespace platform::TypeIdentifiers;
    EXPECT_EQ(forPath("/x/a.WAV"), "com.microsoft.waveform-audio");
    EXPECT_TRUE(conformsTo(forPath("a.mid"), "public.audio"));
    EXPECT_TRUE(conformsTo(forPath("a.aif"), "public.audio"));
    EXPECT_TRUE(conformsTo(forPath("a.m4a"), "public.audio"));
    EXPECT_FALSE(conformsTo(forPath("a.sf2"), "public.audio"));
    EXPECT_TRUE(conformsTo(forPath("a.zip"), "com.pkware.zip-archive"));
    EXPECT_TRUE(conformsTo(forPath("a.txt"), "public.plain-text"));
    EXPECT_FALSE(conformsTo(forPath("a.unknownext"), "public.data"));
    EXPECT_FALSE(conformsTo(forPath("noextension"), "public.audio"));
}

TEST(FolderWatcher, ReportsEntryChangesButNotGrowth)
{
    TempTree tree;
    const QString dir = tree.path("watched");
    QDir().mkpath(dir);
    writeFile(dir + "/existing", "x");
    int changes = 0;
    platform::FolderWatcher watcher;
    ASSERT_TRUE(watcher.start(dir, [&] { ++changes; }));
    EXPECT_FALSE(platform::FolderWatcher().start(tree.path("missing"), [] {}));

    writeFile(dir + "/new file ✓", "abc");
    EXPECT_TRUE(waitUntil([&] { return changes >= 1; }));
    const int afterCreate = changes;
    {
        QFile f(dir + "/existing");
        ASSERT_TRUE(f.open(QIODevice::Append));
        f.write("more bytes");
    }
    waitUntil([] { return false; }, 200);
    EXPECT_EQ(changes, afterCreate);
    QFile::rename(dir + "/existing", dir + "/renamed");
    EXPECT_TRUE(waitUntil([&] { return changes > afterCreate; }));
}
