#include "library/FileActions.h"
#include "library/TrashOrigins.h"
#include "library/UndoStack.h"
#include "library/Utils.h"
#include "platform/Locations.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {
QByteArray noise(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (char& c : bytes)
        c = char(QRandomGenerator::global()->generate());
    return bytes;
}

QString trashed(const QString& path)
{
    QString place;
    EXPECT_TRUE(FileActions::deleteItem(path, &place));
    return place;
}

bool exists(const QString& path) { return QFileInfo::exists(path) || QFileInfo(path).isSymLink(); }
}  // namespace

TEST(UndoStack, TrashRenameMoveAndNewFolderGoBackAndForthByteForByte)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    const QByteArray take = noise(300000);
    const QByteArray loop = noise(5000);
    ASSERT_TRUE(writeFile(lib + "/Take.wav", take));
    ASSERT_TRUE(writeFile(lib + "/Loop.wav", loop));
    QDir().mkpath(lib + "/Sets");
    UndoStack undo;
    QStringList followed;
    QObject::connect(&undo, &UndoStack::itemMoved, [&](const QString& from, const QString& to) { followed << from + " > " + to; });
    EXPECT_FALSE(undo.canUndo());
    EXPECT_EQ(undo.undoText(), "Undo");

    // Trash: back in place, then into the same place in the Trash again.
    const QString inTrash = trashed(lib + "/Take.wav");
    undo.push(UndoStack::Action::Trash, {{lib + "/Take.wav", inTrash}});
    EXPECT_EQ(undo.undoText(), "Undo Trash");
    EXPECT_EQ(TrashOrigins::originOf(inTrash), lib + "/Take.wav");
    ASSERT_TRUE(undo.undo());
    EXPECT_EQ(readFile(lib + "/Take.wav"), take);
    EXPECT_TRUE(TrashOrigins::originOf(lib + "/Take.wav").isEmpty());
    EXPECT_FALSE(exists(QFileInfo(inTrash).path()));  // the emptied batch went with it
    EXPECT_EQ(followed, QStringList{inTrash + " > " + lib + "/Take.wav"});
    EXPECT_EQ(undo.redoText(), "Redo Trash");
    ASSERT_TRUE(undo.redo());
    EXPECT_FALSE(exists(lib + "/Take.wav"));
    EXPECT_EQ(readFile(inTrash), take);
    EXPECT_EQ(TrashOrigins::originOf(inTrash), lib + "/Take.wav");
    ASSERT_TRUE(undo.undo());
    EXPECT_EQ(readFile(lib + "/Take.wav"), take);

    // Rename, then a move of two items; a new action clears what could be redone.
    ASSERT_EQ(FileActions::renameItem(lib + "/Loop.wav", "Groove.wav"), lib + "/Groove.wav");
    undo.push(UndoStack::Action::Rename, {{lib + "/Loop.wav", lib + "/Groove.wav"}});
    EXPECT_FALSE(undo.canRedo());
    const FileActions::Moves moved = FileActions::moveItems({lib + "/Take.wav", lib + "/Groove.wav"}, lib + "/Sets", lib);
    ASSERT_EQ(moved.size(), 2);
    undo.push(UndoStack::Action::Move, {{moved[0].first, moved[0].second}, {moved[1].first, moved[1].second}});
    ASSERT_TRUE(undo.undo());
    ASSERT_TRUE(undo.undo());
    EXPECT_EQ(readFile(lib + "/Loop.wav"), loop);
    EXPECT_EQ(readFile(lib + "/Take.wav"), take);
    EXPECT_TRUE(QDir(lib + "/Sets").isEmpty());
    ASSERT_TRUE(undo.redo());
    EXPECT_EQ(readFile(lib + "/Groove.wav"), loop);
    ASSERT_TRUE(undo.redo());
    EXPECT_EQ(readFile(lib + "/Sets/Groove.wav"), loop);
    EXPECT_EQ(readFile(lib + "/Sets/Take.wav"), take);
    EXPECT_EQ(undo.undoText(), "Undo Move");

    // A new folder goes while empty and comes again; one that got a file stays, entry dropped.
    const QString folder = FileActions::createFolder(lib, "Fresh");
    undo.push(UndoStack::Action::NewFolder, {{QString(), folder}});
    ASSERT_TRUE(undo.undo());
    EXPECT_FALSE(exists(folder));
    ASSERT_TRUE(undo.redo());
    EXPECT_TRUE(QFileInfo(folder).isDir());
    ASSERT_TRUE(writeFile(folder + "/keep.txt", "kept"));
    EXPECT_FALSE(undo.undo());
    EXPECT_EQ(readFile(folder + "/keep.txt"), "kept");
    EXPECT_EQ(undo.undoText(), "Undo Move");
    EXPECT_TRUE(alerts.alerts().last().startsWith("Can't Undo New Folder|"));
}

TEST(UndoStack, ChangesFromOutsideNeverLoseOrOverwriteAFile)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    const QByteArray a = noise(4000);
    ASSERT_TRUE(writeFile(lib + "/A.wav", a));
    ASSERT_TRUE(writeFile(lib + "/B.wav", "b"));
    ASSERT_TRUE(writeFile(lib + "/C.wav", "c"));
    UndoStack undo;

    // Renamed from outside after the trash: the entry is dropped, the file stays where it went.
    const QString inTrash = trashed(lib + "/A.wav");
    undo.push(UndoStack::Action::Trash, {{lib + "/A.wav", inTrash}});
    const QString outside = QFileInfo(inTrash).path() + "/A renamed.wav";
    ASSERT_TRUE(QFile::rename(inTrash, outside));
    EXPECT_FALSE(undo.undo());
    EXPECT_FALSE(undo.canUndo());
    EXPECT_FALSE(exists(lib + "/A.wav"));
    EXPECT_EQ(readFile(outside), a);

    // Another file under the old name meanwhile: nothing moves, the entry waits.
    ASSERT_EQ(FileActions::renameItem(lib + "/B.wav", "B2.wav"), lib + "/B2.wav");
    undo.push(UndoStack::Action::Rename, {{lib + "/B.wav", lib + "/B2.wav"}});
    ASSERT_TRUE(writeFile(lib + "/B.wav", "someone else's"));
    EXPECT_FALSE(undo.undo());
    EXPECT_EQ(readFile(lib + "/B.wav"), "someone else's");
    EXPECT_EQ(readFile(lib + "/B2.wav"), "b");
    EXPECT_EQ(undo.undoText(), "Undo Rename");
    ASSERT_TRUE(QFile::remove(lib + "/B.wav"));
    ASSERT_TRUE(undo.undo());
    EXPECT_EQ(readFile(lib + "/B.wav"), "b");

    // Replaced by another file under the same name, or written to: not the item any more.
    ASSERT_EQ(FileActions::renameItem(lib + "/C.wav", "C2.wav"), lib + "/C2.wav");
    undo.push(UndoStack::Action::Rename, {{lib + "/C.wav", lib + "/C2.wav"}});
    ASSERT_TRUE(QFile::remove(lib + "/C2.wav"));
    ASSERT_TRUE(writeFile(lib + "/C2.wav", "c"));
    EXPECT_FALSE(undo.undo());
    EXPECT_EQ(readFile(lib + "/C2.wav"), "c");
    EXPECT_FALSE(exists(lib + "/C.wav"));
    ASSERT_EQ(FileActions::renameItem(lib + "/B.wav", "B3.wav"), lib + "/B3.wav");
    undo.push(UndoStack::Action::Rename, {{lib + "/B.wav", lib + "/B3.wav"}});
    QFile grow(lib + "/B3.wav");
    ASSERT_TRUE(grow.open(QIODevice::Append) && grow.write("more") == 4);
    grow.close();
    EXPECT_FALSE(undo.undo());
    EXPECT_EQ(readFile(lib + "/B3.wav"), "bmore");

    // A name with a newline goes to the Trash and back like any other.
    const QString odd = lib + "/two\nlines.wav";
    ASSERT_TRUE(writeFile(odd, a));
    const QString oddTrashed = trashed(odd);
    undo.push(UndoStack::Action::Trash, {{odd, oddTrashed}});
    EXPECT_EQ(TrashOrigins::originOf(oddTrashed), odd);
    ASSERT_TRUE(undo.undo());
    EXPECT_EQ(readFile(odd), a);
}

TEST(UndoStack, PutBackFindsTheOriginAfterARestartAndNeverTakesAName)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    QDir().mkpath(lib + "/Sets/Live");
    const QByteArray take = noise(9000);
    ASSERT_TRUE(writeFile(lib + "/Sets/Live/Take.wav", take));
    ASSERT_TRUE(writeFile(lib + "/Sets/Live/Other.wav", "other"));

    // Kept on the item: a later process reads it back (nothing in memory is involved).
    FileActions::Moves trashedItems;
    ASSERT_EQ(FileActions::deleteMany({lib + "/Sets/Live/Take.wav", lib + "/Sets/Live/Other.wav"},
                                      QDateTime::currentDateTime(), &trashedItems),
              2);
    const QString take1 = trashedItems[0].second;
    ASSERT_TRUE(FileActions::canPutBack(take1));
    EXPECT_EQ(FileActions::putBack(take1), lib + "/Sets/Live/Take.wav");
    EXPECT_EQ(readFile(lib + "/Sets/Live/Take.wav"), take);
    EXPECT_TRUE(TrashOrigins::originOf(lib + "/Sets/Live/Take.wav").isEmpty());

    // The name is taken meanwhile: a free name beside it; the folder gone: made again.
    const QString take2 = trashed(lib + "/Sets/Live/Take.wav");
    ASSERT_TRUE(writeFile(lib + "/Sets/Live/Take.wav", "new take"));
    EXPECT_EQ(FileActions::putBack(take2), lib + "/Sets/Live/Take(1).wav");
    EXPECT_EQ(readFile(lib + "/Sets/Live/Take.wav"), "new take");
    EXPECT_EQ(readFile(lib + "/Sets/Live/Take(1).wav"), take);
    ASSERT_TRUE(QDir(lib + "/Sets").removeRecursively());
    EXPECT_EQ(FileActions::putBack(trashedItems[1].second), lib + "/Sets/Live/Other.wav");
    EXPECT_EQ(readFile(lib + "/Sets/Live/Other.wav"), "other");

    // Without a record (never trashed here) there is no Put Back, and nothing moves.
    const QString stray = Utils::trashcanURL() + "/stray.wav";
    ASSERT_TRUE(writeFile(stray, "stray"));
    EXPECT_FALSE(FileActions::canPutBack(stray));
    EXPECT_TRUE(FileActions::putBack(stray).isEmpty());
    EXPECT_EQ(readFile(stray), "stray");
    EXPECT_FALSE(FileActions::canPutBack(lib + "/Sets/Live/Other.wav"));
}

TEST(UndoStack, ALinkGoesToTheTrashAndBackAsALink)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(lib + "/Take.wav", "take"));
    ASSERT_TRUE(QFile::link("Take.wav", lib + "/Link.wav"));
    UndoStack undo;
    const QString inTrash = trashed(lib + "/Link.wav");
    undo.push(UndoStack::Action::Trash, {{lib + "/Link.wav", inTrash}});
    // A link keeps no attributes of its own: its origin is a record of its own.
    ASSERT_TRUE(FileActions::canPutBack(inTrash));
    EXPECT_EQ(TrashOrigins::originOf(inTrash), lib + "/Link.wav");
    ASSERT_TRUE(undo.undo());
    EXPECT_EQ(QFileInfo(lib + "/Link.wav").symLinkTarget(), lib + "/Take.wav");
    EXPECT_EQ(readFile(lib + "/Take.wav"), "take");

    // Put Back after the batch folder was renamed, as a link to the same target; the record
    // goes with it.
    QDir().mkpath(lib + "/Sets");
    ASSERT_TRUE(QFile::link("../Take.wav", lib + "/Sets/Link.wav"));
    const QString again = trashed(lib + "/Sets/Link.wav");
    const QString batch = QFileInfo(again).path();
    ASSERT_TRUE(QDir().rename(batch, batch + " renamed"));
    const QString moved = batch + " renamed/Link.wav";
    const QString records = platform::Locations::appLibrary() + "/TrashLinkOrigins";
    EXPECT_EQ(QDir(records).entryList(QDir::Files).size(), 1);
    ASSERT_TRUE(FileActions::canPutBack(moved));
    EXPECT_EQ(FileActions::putBack(moved), lib + "/Sets/Link.wav");
    EXPECT_EQ(QFileInfo(lib + "/Sets/Link.wav").symLinkTarget(), lib + "/Take.wav");
    EXPECT_TRUE(QDir(records).entryList(QDir::Files).isEmpty());

    // A record never speaks for another link, nor when damaged.
    const QString third = trashed(lib + "/Sets/Link.wav");
    ASSERT_TRUE(QFile::remove(third));
    ASSERT_TRUE(QFile::link("Elsewhere.wav", third));
    EXPECT_FALSE(FileActions::canPutBack(third));
    ASSERT_TRUE(QFile::remove(third));
    const QString fourth = trashed(lib + "/Link.wav");
    ASSERT_TRUE(FileActions::canPutBack(fourth));
    for (const QString& name : QDir(records).entryList(QDir::Files))
        ASSERT_TRUE(QFile(records + "/" + name).resize(5));
    EXPECT_FALSE(FileActions::canPutBack(fourth));
    EXPECT_TRUE(FileActions::putBack(fourth).isEmpty());
    EXPECT_TRUE(QFileInfo(fourth).isSymLink());
}

#include <sys/mount.h>

// The Trash on a file system of its own (a mount over it): items cross by a checked copy, keep
// their record there, and come back byte for byte. Mounting needs the privilege to; without it
// this case has nothing to try.
TEST(UndoStack, TrashOnAnotherFileSystem)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    QDir().mkpath(Utils::trashcanURL());
    const QByteArray trashDir = QFile::encodeName(Utils::trashcanURL());
    if (::mount("wavelocker-test", trashDir.constData(), "tmpfs", 0, "size=8m") != 0)
        GTEST_SKIP() << "no permission to mount a tmpfs";
    struct Unmount {
        QByteArray dir;
        ~Unmount() { ::umount2(dir.constData(), MNT_DETACH); }
    } unmount{trashDir};

    const QByteArray take = noise(200000);
    QDir().mkpath(lib + "/Sets");
    ASSERT_TRUE(writeFile(lib + "/Sets/Take.wav", take));
    UndoStack undo;
    const QString inTrash = trashed(lib + "/Sets/Take.wav");
    ASSERT_FALSE(inTrash.isEmpty());
    EXPECT_EQ(readFile(inTrash), take);
    EXPECT_FALSE(exists(lib + "/Sets/Take.wav"));
    undo.push(UndoStack::Action::Trash, {{lib + "/Sets/Take.wav", inTrash}});
    ASSERT_TRUE(undo.undo());
    EXPECT_EQ(readFile(lib + "/Sets/Take.wav"), take);
    ASSERT_TRUE(undo.redo());
    EXPECT_EQ(readFile(inTrash), take);
    EXPECT_EQ(FileActions::putBack(inTrash), lib + "/Sets/Take.wav");
    EXPECT_EQ(readFile(lib + "/Sets/Take.wav"), take);
    // A full Trash: the item stays where it was, whole.
    const QByteArray big = noise(9 * 1024 * 1024);
    ASSERT_TRUE(writeFile(lib + "/Big.wav", big));
    QString place;
    EXPECT_FALSE(FileActions::deleteItem(lib + "/Big.wav", &place));
    EXPECT_EQ(readFile(lib + "/Big.wav"), big);
    EXPECT_TRUE(QDir(Utils::trashcanURL()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty());
}
