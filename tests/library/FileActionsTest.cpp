#include "library/FileActions.h"
#include "library/ItemMenu.h"
#include "library/KeepExtensionName.h"
#include "library/Utils.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {
QStringList titles(const QString& path, bool isDirectory, bool isSys)
{
    QStringList list;
    for (ItemMenuEntry e : itemMenuEntries(path, isDirectory, isSys))
        list << itemMenuTitle(e);
    return list;
}

QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}
}  // namespace

TEST(FileActions, MenuEntriesFollowTheKindOfItem)
{
    TempTree tree;
    const QString lib = tree.library();
    for (const char* name : {"Take.wav", "Song.mid", "Piano.sf2", "Notes.txt", "Set.zip", "Data.bin"})
        ASSERT_TRUE(writeFile(lib + '/' + name, "MThd"));
    QDir().mkpath(lib + QStringLiteral("/Takes"));
    QDir().mkpath(Utils::localDocumentsURL());
    ASSERT_TRUE(writeFile(Utils::localDocumentsURL() + QStringLiteral("/Local.wav"), "x"));
    ASSERT_TRUE(QFile::link(Utils::localDocumentsURL(), Utils::localDocumentsLinkURL()));
    ASSERT_TRUE(Utils::trashItemAtPath(lib + QStringLiteral("/Data.bin")));
    const QString trashed = Utils::trashcanURL() + '/' + entries(Utils::trashcanURL()).first() + QStringLiteral("/Data.bin");

    const QStringList common = {"Copy to Dropbox", "Export / Share", "Copy"};
    const QStringList audio = common + QStringList({"AudioCopy"});
    EXPECT_EQ(titles(lib + "/Take.wav", false, false),
              QStringList({"Add as FilePlayer in Kormix", "Rename", "Move", "Make Zip Archive"}) + audio
                  + QStringList({"Note", "Move to Trash"}));
    EXPECT_EQ(titles(lib + "/Song.mid", false, false),
              QStringList({"Rename", "Move", "Make Zip Archive"}) + common + QStringList({"Note", "Move to Trash"}));
    EXPECT_EQ(titles(lib + "/Piano.sf2", false, false), titles(lib + "/Song.mid", false, false));
    EXPECT_EQ(titles(lib + "/Notes.txt", false, false),
              QStringList({"Rename", "Move", "Make Zip Archive"}) + common + QStringList({"Move to Trash"}));
    EXPECT_EQ(titles(lib + "/Set.zip", false, false),
              QStringList({"Rename", "Move", "Unzip Archive"}) + common + QStringList({"Note", "Move to Trash"}));
    EXPECT_EQ(titles(lib + "/Takes", true, false),
              QStringList({"Rename", "Move", "Make Zip Archive"}) + common + QStringList({"Show Size", "Move to Trash"}));
    EXPECT_EQ(titles(Utils::localDocumentsLinkURL() + "/Local.wav", false, false),
              QStringList({"Rename", "Move", "Make Zip Archive"}) + audio + QStringList({"Note", "Move to Trash"}));
    EXPECT_EQ(titles(Utils::trashcanURL(), true, true),
              QStringList({"Make Zip Archive", "Copy to Dropbox", "Export / Share", "Show Size"}));
    EXPECT_EQ(titles(trashed, false, false).mid(titles(trashed, false, false).size() - 2),
              QStringList({"Put Back", "Delete"}));
}

TEST(FileActions, DeleteManySharesOneBatchAndDeletesForGoodInsideTrash)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/a.wav"), "a"));
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Folder/b.wav"), "b"));
    QDir().mkpath(Utils::trashcanURL());
    EXPECT_EQ(FileActions::deleteManyTitle(lib, 3), QStringLiteral("Trash 3 items?"));
    EXPECT_EQ(FileActions::folderDeleteTitle(lib + QStringLiteral("/Folder")), QStringLiteral("Trash folder?"));

    const QDateTime when(QDate(2024, 1, 2), QTime(3, 4, 5));
    EXPECT_EQ(FileActions::deleteMany({lib + "/a.wav", Utils::trashcanURL(), lib + "/Folder"}, when), 2);
    EXPECT_EQ(alerts.alerts(), QStringList{QStringLiteral("Oops|'Trash' is a system item and can't be deleted!")});
    const QString batch = Utils::trashcanURL() + QStringLiteral("/2024-01-02 03:04:05");
    EXPECT_EQ(entries(batch), (QStringList{"Folder", "a.wav"}));
    EXPECT_EQ(entries(lib), QStringList{"Trash"});

    EXPECT_EQ(FileActions::deleteManyTitle(batch, 2), QStringLiteral("Delete 2 items?"));
    EXPECT_EQ(FileActions::folderDeleteTitle(batch + QStringLiteral("/Folder")), QStringLiteral("Delete folder?"));
    EXPECT_EQ(FileActions::deleteMany({batch + "/a.wav", batch + "/Folder"}, QDateTime::currentDateTime()), 2);
    EXPECT_FALSE(QFileInfo::exists(batch));
    EXPECT_TRUE(entries(Utils::trashcanURL()).isEmpty());
}

TEST(FileActions, MoveRenameAndCreateRefuseClashesAndSystemItems)
{
    TempTree tree;
    AlertCapture alerts;
    LogCapture log;
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Loop.wav"), "loop"));
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Kick.wav"), "kick"));
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Dest/Kick.wav"), "other kick"));
    QDir().mkpath(Utils::trashcanURL());

    const auto moved = FileActions::moveItems({lib + "/Loop.wav", lib + "/Kick.wav", Utils::trashcanURL()},
                                              lib + QStringLiteral("/Dest"), lib);
    ASSERT_EQ(moved.size(), 1);
    EXPECT_EQ(moved[0].second, lib + QStringLiteral("/Dest/Loop.wav"));
    EXPECT_EQ(readFile(lib + QStringLiteral("/Dest/Kick.wav")), "other kick");
    EXPECT_EQ(readFile(lib + QStringLiteral("/Kick.wav")), "kick");
    EXPECT_EQ(alerts.alerts(), (QStringList{QStringLiteral("Move item|'Kick.wav' already exists at destination folder!"),
                                           QStringLiteral("Oops|'Trash' is a system item and can't be moved!")}));
    EXPECT_TRUE(log.contains(QStringLiteral("Moving %1/Loop.wav -> %1/Dest/Loop.wav").arg(lib)));

    // A move out of a trash batch folder removes the emptied batch folder.
    ASSERT_TRUE(Utils::trashItemAtPath(lib + QStringLiteral("/Kick.wav"), QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9))));
    const QString batch = Utils::trashcanURL() + QStringLiteral("/2024-05-06 07:08:09");
    EXPECT_EQ(FileActions::moveItems({batch + "/Kick.wav"}, lib, batch).size(), 1);
    EXPECT_FALSE(QFileInfo::exists(batch));

    // Rename with the keep-extension box: "a/b" becomes a_b.wav.
    const QString name = KeepExtensionName::finalName(QStringLiteral("a/b"), QStringLiteral("Loop.wav"), true);
    EXPECT_EQ(name, QStringLiteral("a_b.wav"));
    EXPECT_EQ(FileActions::renameItem(lib + QStringLiteral("/Dest/Loop.wav"), name), lib + QStringLiteral("/Dest/a_b.wav"));
    EXPECT_TRUE(FileActions::renameItem(lib + QStringLiteral("/Dest/a_b.wav"), QStringLiteral("Kick.wav")).isEmpty());
    EXPECT_EQ(alerts.alerts().last(), QStringLiteral("Rename|An item with that name already exists!"));
    EXPECT_TRUE(FileActions::renameItem(Utils::trashcanURL(), QStringLiteral("Bin")).isEmpty());
    EXPECT_EQ(alerts.alerts().last(), QStringLiteral("Oops|'Trash' is a system item and can't be moved!"));
    EXPECT_TRUE(QFileInfo(Utils::trashcanURL()).isDir());

    EXPECT_EQ(FileActions::createFolder(lib, QStringLiteral("New Folder")), lib + QStringLiteral("/New Folder"));
    EXPECT_TRUE(FileActions::createFolder(lib, QStringLiteral("New Folder")).isEmpty());
    EXPECT_EQ(alerts.alerts().last(), QStringLiteral("Create Folder|An item with that name already exists!"));
    const QString inbox = Utils::localDocumentsURL() + QStringLiteral("/Inbox");
    QDir().mkpath(Utils::localDocumentsURL());
    EXPECT_TRUE(FileActions::createFolder(Utils::localDocumentsURL(), QStringLiteral("Inbox")).isEmpty());
    EXPECT_FALSE(QFileInfo::exists(inbox));
}

TEST(FileActions, KeepExtensionFieldRules)
{
    using namespace KeepExtensionName;
    // The editor warns of what a name will do before it is chosen.
    EXPECT_TRUE(hint(QStringLiteral("Loop 2"), QStringLiteral("Loop.wav"), true).isEmpty());
    const QString both = hint(QStringLiteral("../escape"), QStringLiteral("New Folder"), false);
    EXPECT_TRUE(both.contains("becomes") && both.contains("hidden")) << both.toStdString();
    EXPECT_TRUE(hint(QStringLiteral(".hidden"), QStringLiteral("Loop.wav"), true).contains("hidden"));
    EXPECT_TRUE(hint(QStringLiteral(".mid"), QStringLiteral("Tune"), false).contains("hidden"));
    EXPECT_TRUE(hint(QString(), QStringLiteral("Loop.wav"), true).isEmpty());  // nothing to choose yet
    EXPECT_EQ(fieldText(QStringLiteral("Loop.wav"), QStringLiteral("Loop.wav"), true), QStringLiteral("Loop"));
    EXPECT_EQ(fieldText(QStringLiteral("Loop.aif"), QStringLiteral("Loop.wav"), true), QStringLiteral("Loop.aif"));
    EXPECT_EQ(fieldText(QStringLiteral("Loop 2"), QStringLiteral("Loop.wav"), false), QStringLiteral("Loop 2.wav"));
    EXPECT_EQ(fieldText(QStringLiteral("Takes"), QStringLiteral("Takes"), false), QStringLiteral("Takes"));
    EXPECT_EQ(finalName(QStringLiteral("Takes"), QStringLiteral("Takes"), true), QStringLiteral("Takes"));
    EXPECT_EQ(finalName(QStringLiteral("x.wav"), QStringLiteral("Loop.wav"), false), QStringLiteral("x.wav"));
    EXPECT_EQ(finalName(QStringLiteral(".rc"), QStringLiteral(".bashrc"), true), QStringLiteral(".rc"));
}

TEST(FileActions, NotesSizesAndCopiesNeverOverwrite)
{
    TempTree tree;
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Notes.txt"), "mine"));
    const QString first = FileActions::addNotes(lib);
    EXPECT_EQ(first, lib + QStringLiteral("/Notes(1).txt"));
    EXPECT_EQ(Utils::lastNewFile(), first);
    EXPECT_EQ(FileActions::addNotes(lib), lib + QStringLiteral("/Notes(2).txt"));
    EXPECT_EQ(readFile(lib + QStringLiteral("/Notes.txt")), "mine");

    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Take.wav"), "take"));
    const QString note = FileActions::noteForFile(lib + QStringLiteral("/Take.wav"));
    EXPECT_EQ(note, lib + QStringLiteral("/Take.wav.txt"));
    ASSERT_TRUE(writeFile(note, "words"));
    EXPECT_EQ(FileActions::noteForFile(lib + QStringLiteral("/Take.wav")), note);
    EXPECT_EQ(readFile(note), "words");

    const QString set = lib + QStringLiteral("/Set");
    ASSERT_TRUE(writeFile(set + QStringLiteral("/a.wav"), QByteArray(1000, 'a')));
    ASSERT_TRUE(writeFile(set + QStringLiteral("/Deep/b.wav"), QByteArray(2345, 'b')));
    ASSERT_TRUE(QFile::link(set, set + QStringLiteral("/Deep/loop")));  // counted once, never followed
    EXPECT_EQ(FileActions::folderSize(set), std::optional<quint64>(3345));
    std::atomic<bool> cancelled{true};
    EXPECT_FALSE(FileActions::folderSize(set, &cancelled));

    const QString out = tree.path(QStringLiteral("export"));
    QDir().mkpath(out);
    EXPECT_EQ(FileActions::exportCopy(set, out), out + QStringLiteral("/Set"));
    EXPECT_EQ(FileActions::exportCopy(set, out), out + QStringLiteral("/Set(1)"));
    EXPECT_EQ(readFile(out + QStringLiteral("/Set(1)/Deep/b.wav")), QByteArray(2345, 'b'));
    EXPECT_TRUE(QFileInfo(out + QStringLiteral("/Set/Deep/loop")).isSymLink());
    EXPECT_EQ(FileActions::exportCopy(lib + QStringLiteral("/Take.wav"), out), out + QStringLiteral("/Take.wav"));
    EXPECT_EQ(FileActions::exportCopy(lib + QStringLiteral("/Take.wav"), out), out + QStringLiteral("/Take(1).wav"));
}
