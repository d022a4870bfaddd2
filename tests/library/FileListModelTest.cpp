#include "library/FileListModel.h"
#include "library/LibraryQueue.h"
#include "library/Utils.h"
#include "support/TempTree.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <gtest/gtest.h>
#include <future>

using namespace testsupport;

namespace {

QStringList titles(const FileListModel& model)
{
    QStringList out;
    for (int row = 0; row < model.rowCount(); ++row)
        out << model.index(row).data().toString();
    return out;
}

bool anyArriving(const FileListModel& model)
{
    for (int row = 0; row < model.rowCount(); ++row)
        if (model.index(row).data(FileListModel::IsArrivingRole).toBool())
            return true;
    return false;
}

bool append(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::Append) && f.write(bytes) == bytes.size();
}

}  // namespace

// At start-up the first listing may wait for the main thread while the folder changes and an
// outside change is listed and shown: the older listing must not land on top of it, and
// files that were there before anything was shown are not arrivals.
TEST(FileListModel, AnOlderListingNeverLandsOnANewerOne)
{
    TempTree tree;
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(lib + "/a.wav", "a"));
    ASSERT_TRUE(writeFile(lib + "/b.wav", "b"));
    FileListModel model;
    model.setFolder(lib);
    QSignalSpy finished(&model, &FileListModel::listingFinished);

    // The first listing runs and waits for the main thread with what it saw.
    std::promise<void> release;
    fileListUpdateQueue().async([gate = release.get_future().share()] { gate.wait(); });
    model.update();
    release.set_value();
    fileListUpdateQueue().sync([] {});

    // Meanwhile a file arrives and the watcher's refresh is shown first.
    ASSERT_TRUE(writeFile(lib + "/c.wav", "c"));
    model.updateDirExternal();
    EXPECT_EQ(titles(model), QStringList({"a.wav", "b.wav", "c.wav"}));
    EXPECT_FALSE(anyArriving(model));
    EXPECT_TRUE(model.addingFileList().isEmpty());

    // Now the first listing's answer reaches the main thread: it is dropped.
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    EXPECT_EQ(titles(model), QStringList({"a.wav", "b.wav", "c.wav"}));
    EXPECT_FALSE(anyArriving(model));
    EXPECT_EQ(finished.count(), 1);  // from the refresh, not from the stale listing

    // A later listing still lands.
    ASSERT_TRUE(QFile::remove(lib + "/a.wav"));
    model.update();
    ASSERT_TRUE(waitUntil([&] { return model.rowCount() == 2; }));
    EXPECT_EQ(titles(model), QStringList({"b.wav", "c.wav"}));
}

TEST(FileListModel, ArrivalsSettleWhenTheirSizesHoldStill)
{
    TempTree tree;
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(lib + "/old.wav", "x"));
    FileListModel model;
    model.setFolder(lib);
    model.setSettleInterval(100);
    model.update();
    ASSERT_TRUE(waitUntil([&] { return model.isLoaded(); }));
    QSignalSpy settled(&model, &FileListModel::arrivalsSettled);

    // Two files and a folder appear; the remembered file is the one that opens.
    const QString growing = lib + "/growing.wav";
    const QString other = lib + "/other.wav";
    ASSERT_TRUE(writeFile(other, "o"));
    ASSERT_TRUE(writeFile(growing, "g"));
    ASSERT_TRUE(QDir(lib).mkdir("Folder"));
    Utils::rememberNewFile(growing);
    const FileListModel::ExternalChange change = model.updateDirExternal();
    EXPECT_EQ(change.inserted.size(), 3);
    EXPECT_TRUE(model.isArriving(growing));
    EXPECT_TRUE(model.isArriving(other));
    EXPECT_FALSE(model.isArriving(lib + "/Folder"));  // folders never dim
    EXPECT_EQ(model.flags(model.index(model.rowForItemWithPath(growing))), Qt::NoItemFlags);

    // Growing in steps shorter than the interval keeps both dimmed. The steps are far shorter
    // than the interval: a busy machine that holds this process still for a moment between
    // two steps must not look like a file that stopped growing.
    constexpr int kGrowingInterval = 3000;
    model.setSettleInterval(kGrowingInterval);
    for (int step = 0; step < 6; ++step) {
        ASSERT_TRUE(append(growing, QByteArray(100, 'g')));
        waitUntil([] { return false; }, kGrowingInterval / 50);
        ASSERT_TRUE(model.isArriving(growing)) << "settled while growing, step " << step;
        ASSERT_EQ(settled.count(), 0);
    }
    model.setSettleInterval(100);
    // A file that goes away while arriving is no longer waited for.
    ASSERT_TRUE(QFile::remove(other));
    model.updateDirExternal();
    EXPECT_EQ(model.addingFileList().size(), 1);

    ASSERT_TRUE(waitUntil([&] { return settled.count() == 1; }));
    EXPECT_FALSE(anyArriving(model));
    EXPECT_EQ(settled.first().at(0).toString(), growing);
    EXPECT_EQ(model.itemAt(model.rowForItemWithPath(growing)).size, 601);  // the size re-read
    EXPECT_TRUE(Utils::lastNewFile().isEmpty());
    EXPECT_TRUE(model.addingFileList().isEmpty());

    // An arrival that was not remembered is only scrolled to.
    ASSERT_TRUE(writeFile(lib + "/zz.wav", "z"));
    model.updateDirExternal();
    ASSERT_TRUE(waitUntil([&] { return settled.count() == 2; }));
    EXPECT_TRUE(settled.last().at(0).toString().isEmpty());
    EXPECT_EQ(settled.last().at(1).toInt(), model.rowForItemWithPath(lib + "/zz.wav"));
}
