// Files of no name made ahead: only once asked for, nameless until linked, never from a folder
// that has been replaced, and all closed with their owner.
#include "platform/PartFile.h"
#include "platform/SpareFiles.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <gtest/gtest.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace testsupport;
using platform::SpareFiles;

namespace {

// Descriptors of this process open on files of no name in folder.
int heldIn(const QString& folder)
{
    const QString prefix = QFileInfo(folder).canonicalFilePath() + QStringLiteral("/#");
    int held = 0;
    for (const QFileInfo& fd : QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
        held += fd.symLinkTarget().startsWith(prefix) ? 1 : 0;
    return held;
}

// As a request takes one, and asks for more once answered.
int takeWhenReady(SpareFiles& spares)
{
    int fd = -1;
    waitUntil([&] {
        fd = spares.take();
        spares.refill();
        return fd >= 0;
    });
    return fd;
}

}  // namespace

TEST(SpareFiles, MadeWhenAskedNamelessUntilLinkedAndOnlyFromTheirOwnFolder)
{
    TempTree tree;
    const QString dir = tree.path("spool");
    QDir().mkpath(dir);
    struct stat st {};
    auto spares = std::make_unique<SpareFiles>(dir);
    // Nothing is made before an upload asks.
    QThread::msleep(100);
    EXPECT_EQ(heldIn(dir), 0);
    // Nor while the request that asked is still being answered.
    EXPECT_EQ(spares->take(), -1);
    QThread::msleep(100);
    EXPECT_EQ(heldIn(dir), 0);
    spares->refill();
    EXPECT_TRUE(waitUntil([&] { return heldIn(dir) == SpareFiles::kAhead; }));

    int fd = takeWhenReady(*spares);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::fstat(fd, &st), 0);
    EXPECT_EQ(st.st_nlink, 0u);
    EXPECT_EQ(st.st_size, 0);
    EXPECT_TRUE(QDir(dir).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty());
    ASSERT_EQ(::write(fd, "take", 4), 4);
    ASSERT_TRUE(PartFile::linkUnnamed(fd, dir + "/take.wav"));
    ::close(fd);
    EXPECT_EQ(readFile(dir + "/take.wav"), "take");
    // More are made ahead, a few at most.
    EXPECT_TRUE(waitUntil([&] { return heldIn(dir) == SpareFiles::kAhead; }));

    // The folder is replaced: what was made in the old one is not handed out.
    const QString old = tree.path("old-spool");
    ASSERT_TRUE(QDir().rename(dir, old));
    QDir().mkpath(dir);
    EXPECT_EQ(spares->take(), -1);
    EXPECT_EQ(heldIn(old), 0);
    fd = takeWhenReady(*spares);
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(PartFile::linkUnnamed(fd, dir + "/new.wav"));
    ::close(fd);
    EXPECT_TRUE(QFileInfo::exists(dir + "/new.wav"));
    EXPECT_EQ(QDir(old).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList({"take.wav"}));

    // Gone with their owner, leaving no name anywhere.
    EXPECT_TRUE(waitUntil([&] { return heldIn(dir) == SpareFiles::kAhead; }));
    spares.reset();
    EXPECT_EQ(heldIn(dir), 0);
    EXPECT_EQ(QDir(dir).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList({"new.wav"}));
}
