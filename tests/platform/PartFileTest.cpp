#include "platform/PartFile.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

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
