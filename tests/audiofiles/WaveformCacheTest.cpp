#include "audiofiles/waveform/Waveform.h"
#include "audiofiles/waveform/WaveformCache.h"
#include "support/TempTree.h"

#include <gtest/gtest.h>
#include <QFile>
#include <QFileInfo>
#include <cstdio>
#include <mutex>
#include <semaphore>

using namespace testsupport;

namespace {

// A reader that marks point 0 with the path's number unless cancelled before it starts,
// and remembers which paths it read with the cancel flag clear.
struct MarkingReader {
    std::shared_ptr<std::mutex> mutex = std::make_shared<std::mutex>();
    std::shared_ptr<QStringList> readUncancelled = std::make_shared<QStringList>();

    WaveformCache::ReadFunction function() const
    {
        return [mutex = mutex, list = readUncancelled](Waveform& w, const QString& path, const std::atomic<bool>& cancel) {
            if (cancel) {
                w.setCount(0);
                return 0.0;
            }
            w.raisePoint(0, {0, path.section('/', -1).toFloat(), 0});
            std::lock_guard lock(*mutex);
            list->append(path);
            return 1.0;
        };
    }
};

bool loadAndWait(WaveformCache& cache, const QString& path)
{
    const bool started = cache.loadURL(path);
    EXPECT_TRUE(waitUntil([&] { return !cache.isLoading(); }));
    return started;
}

}  // namespace

TEST(WaveformCache, RecencyEvictionAndTheLoadItCancels)
{
    MarkingReader reader;
    WaveformCache cache(8, reader.function());
    for (int i = 0; i < WaveformCache::kMaxPaths; ++i)
        ASSERT_TRUE(loadAndWait(cache, QString("/lib/%1").arg(i)));
    EXPECT_EQ(reader.readUncancelled->size(), 100);
    ASSERT_TRUE(cache.isCached("/lib/0"));

    // Showing a cached file again reads nothing and moves it to the recent end.
    EXPECT_TRUE(loadAndWait(cache, "/lib/0"));
    EXPECT_FLOAT_EQ(cache.current()->point(0).positive, 0.0f);
    EXPECT_EQ(cache.recentPaths().last(), "/lib/0");
    EXPECT_EQ(cache.recentPaths().first(), "/lib/1");
    EXPECT_EQ(reader.readUncancelled->size(), 100);

    // The 101st file evicts the least recently shown one and still gets its own waveform.
    LogCapture log;
    EXPECT_TRUE(loadAndWait(cache, "/lib/100"));
    EXPECT_FALSE(cache.isCached("/lib/1"));
    EXPECT_TRUE(cache.isCached("/lib/0"));
    EXPECT_TRUE(cache.isCached("/lib/100"));
    EXPECT_EQ(cache.recentPaths().size(), 100);
    EXPECT_EQ(cache.recentPaths().last(), "/lib/100");
    EXPECT_EQ(cache.recentPaths().first(), "/lib/2");
    ASSERT_TRUE(cache.current());
    EXPECT_FLOAT_EQ(cache.current()->point(0).positive, 100.0f);
    EXPECT_TRUE(log.contains("Removing from cache:\n/lib/1"));
    EXPECT_FALSE(log.contains("Cancelled"));

    // However long the session, every newly shown file is read and the bound holds.
    for (int i = 101; i < 260; ++i) {
        ASSERT_TRUE(loadAndWait(cache, QString("/lib/%1").arg(i)));
        ASSERT_FLOAT_EQ(cache.current()->point(0).positive, float(i));
    }
    EXPECT_EQ(reader.readUncancelled->size(), 260);
    EXPECT_EQ(cache.recentPaths().size(), 100);
    EXPECT_FALSE(cache.isCached("/lib/101"));
    EXPECT_TRUE(cache.isCached("/lib/259"));
}

TEST(WaveformCache, AFileReplacedUnderItsNameIsReadAgain)
{
    TempTree tree;
    const QString path = tree.path("take.wav");
    const auto writeFile = [&](const QByteArray& bytes) {
        const QString aside = tree.path("take.wav.new");
        QFile f(aside);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bytes);
        f.close();
        ASSERT_TRUE(::rename(QFile::encodeName(aside).constData(), QFile::encodeName(path).constData()) == 0);
    };
    // The reader marks point 0 with the file's size, so each version is told apart.
    auto reads = std::make_shared<std::atomic<int>>(0);
    WaveformCache cache(4, [reads](Waveform& w, const QString& p, const std::atomic<bool>&) {
        ++*reads;
        w.raisePoint(0, {0, float(QFileInfo(p).size()), 0});
        return 1.0;
    });
    writeFile(QByteArray(10, 'a'));
    loadAndWait(cache, path);
    EXPECT_FLOAT_EQ(cache.current()->point(0).positive, 10.0f);
    loadAndWait(cache, path);
    EXPECT_EQ(*reads, 1);

    // Renamed into place with the same size and the same second: only the inode differs.
    writeFile(QByteArray(10, 'b'));
    loadAndWait(cache, path);
    EXPECT_EQ(*reads, 2);
    // Rewritten in place with a new size.
    {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(QByteArray(33, 'c'));
    }
    loadAndWait(cache, path);
    EXPECT_EQ(*reads, 3);
    EXPECT_FLOAT_EQ(cache.current()->point(0).positive, 33.0f);
}

TEST(WaveformCache, LoadingWhileLoadingCancelsAndRetries)
{
    auto gate = std::make_shared<std::binary_semaphore>(0);
    auto sawCancel = std::make_shared<std::atomic<bool>>(false);
    WaveformCache cache(4, [gate, sawCancel](Waveform& w, const QString& path, const std::atomic<bool>& cancel) {
        if (path == "/lib/slow") {
            gate->acquire();
            *sawCancel = cancel.load();
            if (cancel) {
                w.setCount(0);
                return 0.0;
            }
        }
        w.raisePoint(0, {0, 0.5, 0});
        return 1.0;
    });
    int redraws = 0;
    QObject::connect(&cache, &WaveformCache::redraw, [&] { ++redraws; });

    LogCapture log;
    EXPECT_TRUE(cache.loadURL("/lib/slow"));
    EXPECT_TRUE(cache.isLoading());
    EXPECT_TRUE(cache.isCached("/lib/slow"));  // in the dictionary at once
    // While it loads, the view redraws every 0.25 s to show it filling in.
    EXPECT_TRUE(waitUntil([&] { return redraws >= 2; }));
    EXPECT_FALSE(cache.loadURL("/lib/fast"));
    gate->release();
    EXPECT_TRUE(waitUntil([&] { return cache.isCached("/lib/fast") && !cache.isLoading(); }));
    EXPECT_TRUE(*sawCancel);
    EXPECT_FALSE(cache.isCached("/lib/slow"));
    EXPECT_TRUE(log.contains("Cancelled"));
    EXPECT_FLOAT_EQ(cache.current()->point(0).positive, 0.5f);
    EXPECT_EQ(cache.recentPaths(), (QStringList{"/lib/slow", "/lib/fast"}));
}

TEST(WaveformCache, DeleteRenameAndClear)
{
    MarkingReader reader;
    WaveformCache cache(4, reader.function());
    for (const char* p : {"/lib/1", "/lib/2", "/lib/3"})
        loadAndWait(cache, p);
    const Waveform* three = cache.current().get();

    LogCapture log;
    cache.renamed("/lib/3", "/lib/4");
    EXPECT_FALSE(cache.isCached("/lib/3"));
    EXPECT_TRUE(cache.isCached("/lib/4"));
    EXPECT_TRUE(loadAndWait(cache, "/lib/4"));
    EXPECT_EQ(cache.current().get(), three);  // found under its new name, not read again

    cache.clearCache();
    EXPECT_EQ(log.lines().value(0), "CLEARING CACHE");
    EXPECT_EQ(log.lines().size(), 3);
    EXPECT_TRUE(log.contains("Removing cache for /lib/1"));
    EXPECT_TRUE(log.contains("Removing cache for /lib/2"));
    EXPECT_TRUE(cache.isCached("/lib/4"));
    EXPECT_TRUE(cache.recentPaths().contains("/lib/1"));  // paths stay listed

    cache.deleted("/lib/4");
    EXPECT_TRUE(log.contains("Removing /lib/4 from waveform cache"));
    EXPECT_FALSE(cache.current());
    EXPECT_FALSE(cache.isCached("/lib/4"));
    cache.deleted("/lib/missing");  // not cached: nothing to log
    EXPECT_FALSE(log.contains("Removing /lib/missing from waveform cache"));

    EXPECT_FALSE(cache.loadURL(QString()));
    EXPECT_FALSE(cache.current());
}
