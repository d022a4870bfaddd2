#include "platform/PartFile.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using namespace testsupport;

TEST(PartFile, ArrivesWithoutReplacingUnaskedAndOnlyUnlockedLeftoversAreRemoved)
{
    TempTree tree;
    const QString dir = tree.path("lib");
    QDir().mkpath(dir);
    writeFile(dir + "/take.wav", "mine");

    auto part = PartFile::create(dir, QStringLiteral("wav"));
    ASSERT_TRUE(part);
    EXPECT_TRUE(PartFile::isPartName(QFileInfo(part->path()).fileName()));
    writeFile(part->path(), "new");
    EXPECT_FALSE(part->commit(dir + "/take.wav", false));
    EXPECT_EQ(readFile(dir + "/take.wav"), "mine");
    EXPECT_TRUE(part->commit(dir + "/take.wav", true));
    EXPECT_EQ(readFile(dir + "/take.wav"), "new");
    part.reset();
    EXPECT_EQ(readFile(dir + "/take.wav"), "new");

    // Abandoned: gone with its object. Two at once never share a name.
    auto first = PartFile::create(dir);
    auto second = PartFile::create(dir);
    ASSERT_TRUE(first && second);
    EXPECT_NE(first->path(), second->path());
    const QString abandoned = first->path();
    first.reset();
    EXPECT_FALSE(QFileInfo::exists(abandoned));

    // A killed run's part (no lock) and an earlier version's go; a live one and the user's stay.
    const QStringList users = {"tempfile.wav", ".tempfile-xyz", ".tempfile-0123456789abcdef.wav.bak", "take.part",
                               ".notes.txt", "sub/.tempfile-12345"};
    for (const QString& name : users)
        writeFile(dir + "/" + name, "user");
    writeFile(dir + "/sub/.tempfile-0123456789abcdef.m4a", "killed");
    writeFile(dir + "/.take.wav.0badf00d.part", "killed");
    EXPECT_EQ(PartFile::removeLeftovers(dir, true), 2);
    EXPECT_TRUE(QFileInfo::exists(second->path()));
    for (const QString& name : users)
        EXPECT_TRUE(QFileInfo::exists(dir + "/" + name)) << name.toStdString();
    second.reset();
    EXPECT_EQ(QDir(dir).entryList(QDir::Files | QDir::Hidden).size(), 6);
}

TEST(PartFile, AStartLooksWhereAKilledProcessWroteAndLeavesLiveWritersAlone)
{
    TempTree tree;
    const QString killedIn = tree.path("lib/killed");
    const QString liveIn = tree.path("lib/live");
    const QString unnoted = tree.path("lib/unnoted");
    for (const QString& dir : {killedIn, liveIn, unnoted})
        QDir().mkpath(dir);

    // A process that dies by SIGKILL while its part is open: no destructor, no exit handler.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        auto part = PartFile::create(killedIn, QStringLiteral("wav"));
        if (part)
            ::write(part->fd(), "half", 4);
        ::raise(SIGKILL);
        ::_exit(1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_EQ(QDir(killedIn).entryList(QDir::Files | QDir::Hidden).size(), 1);

    auto live = PartFile::create(liveIn);
    ASSERT_TRUE(live);
    writeFile(unnoted + "/.tempfile-0123456789abcdef", "no record names this folder");
    const QString records = tree.path("cache/com.orvenic.Wavelocker/parts");
    const qsizetype recordsBefore = QDir(records).entryList(QDir::Files).size();
    ASSERT_GE(recordsBefore, 1);

    EXPECT_EQ(PartFile::removeRecordedLeftovers(), 1);
    EXPECT_TRUE(QDir(killedIn).entryList(QDir::Files | QDir::Hidden).isEmpty());
    EXPECT_TRUE(QFileInfo::exists(live->path()));
    EXPECT_TRUE(QFileInfo::exists(unnoted + "/.tempfile-0123456789abcdef"));
    // The dead process's record went with its leftovers; ours stays while we run.
    EXPECT_EQ(QDir(records).entryList(QDir::Files).size(), recordsBefore - 1);
    EXPECT_EQ(PartFile::removeRecordedLeftovers(), 0);
    EXPECT_TRUE(QFileInfo::exists(live->path()));
}
