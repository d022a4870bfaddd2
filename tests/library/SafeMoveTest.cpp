#include "library/FileActions.h"
#include "library/ItemMenu.h"
#include "library/Utils.h"
#include "support/TempTree.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QMap>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <thread>
#include <unistd.h>

using namespace testsupport;

namespace {

// Every item below folder: relative path → bytes (files), "->target" (links) or "/" (folders).
QMap<QString, QByteArray> snapshot(const QString& folder)
{
    QMap<QString, QByteArray> items;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QFileInfo info = it.fileInfo();
        const QString relative = QDir(folder).relativeFilePath(info.filePath());
        if (info.isSymLink())
            items[relative] = "->" + QByteArray::fromStdString(std::filesystem::read_symlink(info.filePath().toStdString()).string());
        else if (info.isDir())
            items[relative] = "/";
        else
            items[relative] = readFile(info.filePath());
    }
    return items;
}

void makeTree(const QString& folder)
{
    writeFile(folder + "/take.wav", QByteArray(300000, 'w'));
    writeFile(folder + "/Sub/notes.txt", "line one\nline two");
    writeFile(folder + "/Sub/Deeper/.hidden", "h");
    QDir().mkpath(folder + "/Empty");
    QFile::link(QStringLiteral("Sub/notes.txt"), folder + "/link to notes");
}

QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

// A small tmpfs, so the library and another folder lie on different file systems.
class TmpfsMount {
public:
    TmpfsMount(const QString& path, const char* size) : mPath(QFile::encodeName(path))
    {
        QDir().mkpath(path);
        const QByteArray options = QByteArray("size=") + size;
        mMounted = ::mount("tmpfs", mPath.constData(), "tmpfs", 0, options.constData()) == 0;
    }
    ~TmpfsMount()
    {
        if (mMounted)
            ::umount2(mPath.constData(), MNT_DETACH);
    }
    bool mounted() const { return mMounted; }

private:
    QByteArray mPath;
    bool mMounted = false;
};

}  // namespace

TEST(SafeMove, StartUpMovesARealFileSharingFolderAsideWithEverythingInIt)
{
    TempTree tree;
    const QString lib = tree.library();
    const QString link = Utils::localDocumentsLinkURL();
    makeTree(link);
    writeFile(lib + "/Desktop File Sharing(1)", "an older clash");  // the free name is the next one
    const auto before = snapshot(link);
    writeFile(Utils::localDocumentsURL() + "/Local.wav", "local");

    LogCapture log;
    const auto moved = Utils::prepareSystemItems();
    ASSERT_EQ(moved.size(), 1);
    EXPECT_EQ(moved[0].second, lib + "/Desktop File Sharing(2)");
    EXPECT_EQ(snapshot(lib + "/Desktop File Sharing(2)"), before);
    EXPECT_EQ(readFile(lib + "/Desktop File Sharing(1)"), "an older clash");
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_EQ(readFile(link + "/Local.wav"), "local");
    EXPECT_EQ(log.lines().filter("aside").size(), 1);

    // A link to the Trash made by the user is moved aside too: trashing through it would leave
    // the library. The next start has nothing left to do; the Trash is made when first used.
    ASSERT_TRUE(QFile::link(tree.path("outside"), Utils::trashcanURL()));
    const auto second = Utils::prepareSystemItems();
    ASSERT_EQ(second.size(), 1);
    EXPECT_TRUE(QFileInfo(second[0].second).isSymLink());
    EXPECT_TRUE(Utils::prepareSystemItems().isEmpty());
    writeFile(lib + "/x.wav", "x");
    EXPECT_TRUE(Utils::trashItemAtPath(lib + "/x.wav"));
    EXPECT_TRUE(QFileInfo(Utils::trashcanURL()).isDir() && !QFileInfo(Utils::trashcanURL()).isSymLink());
    EXPECT_FALSE(QFileInfo::exists(tree.path("outside")));
}

TEST(SafeMove, MovesNeverReplaceAndRefuseMovingAFolderIntoItself)
{
    TempTree tree;
    const QString lib = tree.library();
    makeTree(lib + "/Folder");
    writeFile(lib + "/a.wav", "mine");
    writeFile(lib + "/Folder/a.wav", "theirs");

    QString error;
    bool taken = false;
    EXPECT_FALSE(Utils::moveItemNoReplace(lib + "/a.wav", lib + "/Folder/a.wav", &error, &taken));
    EXPECT_TRUE(taken);
    EXPECT_EQ(readFile(lib + "/a.wav"), "mine");
    EXPECT_EQ(readFile(lib + "/Folder/a.wav"), "theirs");
    EXPECT_EQ(Utils::renameNoReplace(lib + "/a.wav", lib + "/Folder/a.wav"), EEXIST);

    // A folder never replaces an empty folder either (plain rename(2) would).
    QDir().mkpath(lib + "/Target/Folder");
    EXPECT_FALSE(Utils::moveItemNoReplace(lib + "/Folder", lib + "/Target/Folder", &error));
    EXPECT_TRUE(QFileInfo(lib + "/Folder/take.wav").isFile());

    const auto before = snapshot(lib);
    EXPECT_FALSE(Utils::moveItemNoReplace(lib + "/Folder", lib + "/Folder/Sub/Folder", &error));
    EXPECT_FALSE(Utils::moveItemNoReplace(lib + "/Folder", lib + "/Folder/Sub/../Inside", &error));
    EXPECT_EQ(snapshot(lib), before);

    // Through the file actions, a file appearing at the target between the check and the move
    // is reported, never replaced; the racer checks its own file is still its own.
    AlertCapture alerts;
    const QString raced = lib + "/Target/a.wav";
    std::atomic<bool> stop{false};
    std::atomic<int> created{0};
    std::atomic<int> clobbered{0};
    std::thread racer([&] {
        while (!stop) {
            QFile file(raced);
            if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
                continue;
            file.write("raced in");
            file.close();
            ++created;
            if (readFile(raced) != "raced in")
                ++clobbered;
            else
                QFile::remove(raced);
        }
    });
    int movedCount = 0;
    int tries = 0;
    for (; tries < 300 || (created < 20 && tries < 100000); ++tries) {
        if (FileActions::moveItems({lib + "/a.wav"}, lib + "/Target", lib).isEmpty())
            continue;
        ++movedCount;
        ASSERT_EQ(FileActions::moveItems({raced}, lib, lib + "/Target").size(), 1);
    }
    stop = true;
    racer.join();
    EXPECT_EQ(clobbered, 0);
    EXPECT_GT(created, 0);
    EXPECT_EQ(readFile(lib + "/a.wav"), "mine");
    EXPECT_EQ(alerts.alerts().size(), tries - movedCount);
}

TEST(SafeMove, MovesAndTrashAcrossFileSystemsCopyWholeOrLeaveEverything)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "mounting a tmpfs needs root";
    TempTree tree;
    const QString lib = tree.library();
    TmpfsMount other(tree.path("other"), "2m");
    ASSERT_TRUE(other.mounted());
    const QString far = tree.path("other");

    makeTree(lib + "/Folder");
    const auto before = snapshot(lib + "/Folder");
    QString error;
    ASSERT_TRUE(Utils::moveItemNoReplace(lib + "/Folder", far + "/Folder", &error)) << error.toStdString();
    EXPECT_EQ(snapshot(far + "/Folder"), before);
    EXPECT_FALSE(QFileInfo::exists(lib + "/Folder"));
    EXPECT_EQ(QFileInfo(far + "/Folder/take.wav").size(), 300000);

    // Back through the file actions, which the menu's Move uses.
    const auto moved = FileActions::moveItems({far + "/Folder"}, lib, far);
    ASSERT_EQ(moved.size(), 1);
    EXPECT_EQ(snapshot(lib + "/Folder"), before);
    EXPECT_EQ(entries(far), QStringList());

    // Names as long as the file system allows, or with a newline, move across too.
    for (const QString& name : {QString(250, QLatin1Char('n')) + ".wav", QStringLiteral("two\nlines.wav")}) {
        writeFile(lib + "/" + name, "odd name");
        ASSERT_TRUE(Utils::moveItemNoReplace(lib + "/" + name, far + "/" + name, &error)) << error.toStdString();
        EXPECT_EQ(readFile(far + "/" + name), "odd name");
        ASSERT_TRUE(QFile::remove(far + "/" + name));
    }

    // A file that appeared at the target meanwhile stays; the copy is cleaned away.
    writeFile(far + "/take.wav", "already here");
    EXPECT_FALSE(Utils::moveItemNoReplace(lib + "/Folder/take.wav", far + "/take.wav", &error));
    EXPECT_EQ(readFile(far + "/take.wav"), "already here");
    EXPECT_EQ(entries(far), QStringList({"take.wav"}));
    EXPECT_EQ(QFileInfo(lib + "/Folder/take.wav").size(), 300000);

    // The other disk fills up half-way: the source stays whole and no part is left there.
    writeFile(lib + "/big.wav", QByteArray(3 * 1024 * 1024, 'b'));
    EXPECT_FALSE(Utils::moveItemNoReplace(lib + "/big.wav", far + "/big.wav", &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(QFileInfo(lib + "/big.wav").size(), 3 * 1024 * 1024);
    EXPECT_EQ(entries(far), QStringList({"take.wav"}));

    // A folder copy (import, export) that does not fit leaves neither the copy nor its part;
    // one into itself is refused before it starts.
    ASSERT_TRUE(QFile::rename(lib + "/big.wav", lib + "/Folder/Sub/big.wav"));
    EXPECT_FALSE(FileActions::copyItem(lib + "/Folder", far + "/Copy", &error));
    EXPECT_EQ(entries(far), QStringList({"take.wav"}));
    EXPECT_FALSE(FileActions::copyItem(lib + "/Folder", lib + "/Folder/Sub/Copy", &error));
    EXPECT_EQ(entries(lib + "/Folder/Sub"), QStringList({"Deeper", "big.wav", "notes.txt"}));
}

TEST(SafeMove, TrashWorksFromAnotherFileSystemAndTwiceInOneSecond)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "mounting a tmpfs needs root";
    TempTree tree;
    const QString lib = tree.library();
    // The library on its own file system; the private documents behind the link stay apart.
    TmpfsMount libraryDisk(lib, "4m");
    ASSERT_TRUE(libraryDisk.mounted());
    Utils::resetCachedLocations();
    Utils::prepareSystemItems();
    const QString link = Utils::localDocumentsLinkURL();
    writeFile(link + "/Local.wav", "local take");
    makeTree(link + "/Takes");
    const auto takes = snapshot(link + "/Takes");

    AlertCapture alerts;
    EXPECT_TRUE(FileActions::deleteItem(link + "/Local.wav"));
    EXPECT_TRUE(FileActions::deleteItem(link + "/Takes"));
    EXPECT_FALSE(QFileInfo::exists(Utils::localDocumentsURL() + "/Local.wav"));
    EXPECT_FALSE(QFileInfo::exists(Utils::localDocumentsURL() + "/Takes"));
    const QStringList batches = entries(Utils::trashcanURL());
    ASSERT_EQ(batches.size(), 2);  // two trashes in one second: a batch each
    const QString second = Utils::trashcanURL() + "/" + batches[1];
    EXPECT_EQ(snapshot(second + "/Takes"), takes);
    EXPECT_TRUE(alerts.alerts().isEmpty());

    // Same names, same second, from two folders: neither is lost or left behind.
    writeFile(lib + "/A/Take.wav", "a");
    writeFile(lib + "/B/Take.wav", "b");
    const QDateTime now = QDateTime::currentDateTime();
    EXPECT_EQ(FileActions::deleteMany({lib + "/A/Take.wav"}, now), 1);
    EXPECT_EQ(FileActions::deleteMany({lib + "/B/Take.wav"}, now), 1);
    EXPECT_EQ(entries(lib + "/A") + entries(lib + "/B"), QStringList());
    QStringList contents;
    QDirIterator it(Utils::trashcanURL(), {"Take.wav"}, QDir::Files | QDir::CaseSensitive, QDirIterator::Subdirectories);
    while (it.hasNext())
        contents << readFile(it.next());
    contents.sort();
    EXPECT_EQ(contents, QStringList({"a", "b"}));

    // A trash that cannot happen says so: here the file is gone already.
    EXPECT_FALSE(FileActions::deleteItem(lib + "/A/Take.wav"));
    ASSERT_EQ(alerts.alerts().size(), 1);
    EXPECT_TRUE(alerts.alerts()[0].startsWith("Trash|Could not move 'Take.wav' to the Trash"));
}

TEST(SafeMove, SystemItemsAreKnownHoweverThePathIsSpelled)
{
    TempTree tree;
    const QString lib = tree.library();
    Utils::prepareSystemItems();
    QDir().mkpath(lib + "/Sub");
    ASSERT_TRUE(QFile::link(lib, tree.path("alias")));
    ASSERT_TRUE(QFile::link(Utils::trashcanURL(), lib + "/Shortcut"));
    writeFile(Utils::trashcanURL() + "/2020-01-01 00:00:00/old.wav", "old");

    const QString viaDots = lib + "/Sub/..";
    for (const QString& path : {viaDots + "/Trash", viaDots + "/Desktop File Sharing", viaDots, lib + "/Sub/../../"
                                    + QFileInfo(lib).fileName(),
                                tree.path("alias") + "/Trash", lib + "/Shortcut", lib + "/./Trash/", lib}) {
        SCOPED_TRACE(path.toStdString());
        EXPECT_TRUE(Utils::pathIsSystemItem(path));
        const QList<ItemMenuEntry> menu = itemMenuEntries(path, true, false);
        EXPECT_FALSE(menu.contains(ItemMenuEntry::Rename));
        EXPECT_FALSE(menu.contains(ItemMenuEntry::Move));
        EXPECT_FALSE(menu.contains(ItemMenuEntry::MoveToTrash));
        EXPECT_FALSE(menu.contains(ItemMenuEntry::Delete));
    }
    EXPECT_FALSE(Utils::pathIsSystemItem(viaDots + "/Sub"));
    EXPECT_TRUE(Utils::pathIsTrashcan(viaDots + "/Trash"));

    AlertCapture alerts;
    const auto before = snapshot(lib);
    EXPECT_TRUE(FileActions::renameItem(viaDots + "/Trash", "Bin").isEmpty());
    EXPECT_TRUE(FileActions::renameItem(tree.path("alias") + "/Trash", "Bin").isEmpty());
    EXPECT_TRUE(FileActions::moveItems({viaDots + "/Desktop File Sharing", viaDots + "/Trash"}, lib + "/Sub", viaDots)
                    .isEmpty());
    EXPECT_EQ(FileActions::deleteMany({viaDots + "/Trash", viaDots + "/Desktop File Sharing"}, QDateTime::currentDateTime()),
              0);
    EXPECT_FALSE(FileActions::deleteItem(lib + "/Sub/../Trash"));
    EXPECT_EQ(snapshot(lib), before);
    EXPECT_EQ(alerts.alerts().size(), 7);

    // Inside the Trash, however reached, removal is for good and asks once first.
    const QString old = viaDots + "/Trash/2020-01-01 00:00:00/old.wav";
    EXPECT_TRUE(Utils::pathIsInsideTrashcan(old));
    const auto question = FileActions::deleteQuestion(old, false);
    ASSERT_TRUE(question.has_value());
    EXPECT_EQ(question->title, "Delete file?");
    EXPECT_EQ(question->word, "Delete");
    EXPECT_FALSE(FileActions::deleteQuestion(lib + "/Sub/x.wav", false).has_value());
    EXPECT_EQ(FileActions::deleteQuestion(lib + "/Sub", true)->title, "Trash folder?");
    EXPECT_TRUE(FileActions::deleteItem(old));
    EXPECT_EQ(entries(Utils::trashcanURL()), QStringList());  // the emptied batch went too
}
