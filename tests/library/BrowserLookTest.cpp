#include "audiofiles/screens/DetailViewController.h"
#include "library/FileListModel.h"
#include "library/FileSort.h"
#include "library/RowTexts.h"
#include "library/Utils.h"
#include "library/screens/FileRowDelegate.h"
#include "library/screens/MasterViewController.h"
#include "library/screens/SortButton.h"
#include "platform/Settings.h"
#include "support/TempTree.h"
#include "ui/screens/NavigationController.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QSet>
#include <QFile>
#include <QTest>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

QStringList titles(const FileListModel* model)
{
    QStringList out;
    for (int row = 0; row < model->rowCount(); ++row)
        out << model->index(row).data().toString();
    return out;
}

bool setDate(const QString& path, const QDateTime& date)
{
    QFile f(path);
    return f.open(QIODevice::ReadWrite) && f.setFileTime(date, QFileDevice::FileModificationTime);
}

}  // namespace

// Clicked with the mouse where a person clicks (the middle of its label) and pressed with the
// keyboard, the button steps name → date → size → name; the list's order follows.
TEST(SortButton, ClicksStepThroughEveryMode)
{
    TempTree tree;
    const QString lib = tree.library();
    // Names, dates and sizes each give another order.
    writeFile(lib + "/b.wav", QByteArray(10, 'x'));
    writeFile(lib + "/a.wav", QByteArray(3000, 'x'));
    writeFile(lib + "/c.wav", QByteArray(200, 'x'));
    const QDateTime now = QDateTime::currentDateTime();
    ASSERT_TRUE(setDate(lib + "/c.wav", now.addDays(-3)));
    ASSERT_TRUE(setDate(lib + "/a.wav", now.addDays(-2)));
    ASSERT_TRUE(setDate(lib + "/b.wav", now.addDays(-1)));
    FileSort::setSortMode(FileSort::kByName);

    DetailViewController detail;
    auto* master = new MasterViewController;
    master->setDetailViewController(&detail);
    NavigationController navigation(master);
    navigation.resize(400, 500);
    navigation.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&navigation));
    master->setFolder(lib);
    ASSERT_TRUE(waitUntil([&] { return master->model()->isLoaded(); }));
    auto* button = master->findChild<SortButton*>();
    ASSERT_NE(button, nullptr);
    ASSERT_TRUE(button->isVisible());
    EXPECT_FALSE(button->toolTip().isEmpty());
    EXPECT_EQ(master->sortButtonText(), "SORTED BY NAME");
    EXPECT_EQ(titles(master->model()), QStringList({"a.wav", "b.wav", "c.wav"}));

    const struct {
        const char* label;
        QStringList order;
        int mode;
    } steps[] = {
        {"SORTED BY DATE", {"b.wav", "a.wav", "c.wav"}, FileSort::kByDate},
        {"SORTED BY SIZE", {"a.wav", "c.wav", "b.wav"}, FileSort::kBySize},
        {"SORTED BY NAME", {"a.wav", "b.wav", "c.wav"}, FileSort::kByName},
    };
    for (const auto& step : steps) {
        // Through the window, as the pointer would: whatever child lies under it gets the press.
        QTest::mouseClick(button->window()->windowHandle(), Qt::LeftButton, {},
                          button->mapTo(button->window(), button->rect().center()));
        EXPECT_EQ(master->sortButtonText(), step.label);
        EXPECT_EQ(titles(master->model()), step.order) << step.label;
        EXPECT_EQ(FileSort::sortMode(), step.mode);
    }

    // The keyboard reaches it too, and the mode is what is stored.
    button->setFocus();
    QTest::keyClick(button, Qt::Key_Space);
    EXPECT_EQ(master->sortButtonText(), "SORTED BY DATE");
    MasterViewController::saveDefaults();
    EXPECT_EQ(platform::Settings::value("SortMode").toInt(), FileSort::kByDate);
    FileSort::setSortMode(FileSort::kByName);
}

// Each kind of row gets the desktop theme's icon for it, most specific name first, and the
// theme the program installs has one for every kind.
TEST(RowIcons, EachKindHasItsThemeIcon)
{
    TempTree tree;
    const QString lib = tree.library();
    auto file = [&](const QString& name) {
        LibraryItem item;
        item.path = lib + QLatin1Char('/') + name;
        return item;
    };
    auto folder = [&](const QString& path) {
        LibraryItem item;
        item.path = path;
        item.isDirectory = true;
        return item;
    };
    const QStringList wav = RowTexts::iconNamesForItem(file("take.wav"));
    EXPECT_EQ(wav.first(), "audio-x-wav");
    EXPECT_TRUE(wav.contains("audio-x-generic"));
    EXPECT_EQ(RowTexts::iconNamesForItem(file("song.mid")).mid(0, 2), QStringList({"audio-midi", "audio-x-midi"}));
    const QStringList font = RowTexts::iconNamesForItem(file("piano.sf2"));
    EXPECT_TRUE(font.indexOf("audio-x-soundfont") >= 0 && font.indexOf("audio-x-soundfont") < font.indexOf("audio-x-generic"));
    const QStringList zip = RowTexts::iconNamesForItem(file("pack.zip"));
    EXPECT_EQ(zip.first(), "application-zip");
    EXPECT_TRUE(zip.contains("package-x-generic"));
    EXPECT_EQ(RowTexts::iconNamesForItem(file("notes.txt")).first(), "text-plain");
    EXPECT_EQ(RowTexts::iconNamesForItem(file("mystery")), QStringList({"application-x-generic"}));
    EXPECT_EQ(RowTexts::iconNamesForItem(folder(lib + "/Sets")), QStringList({"folder"}));
    EXPECT_EQ(RowTexts::iconNamesForItem(folder(Utils::trashcanURL())).first(), "user-trash");
    // Every list ends in a name that any full theme has.
    for (const QString name : {"take.wav", "song.mid", "piano.sf2", "pack.zip", "notes.txt", "mystery"})
        EXPECT_EQ(RowTexts::iconNamesForItem(file(name)).last(), "application-x-generic");

    // Drawn: the icons come from the installed theme, not from the style's stand-ins.
    writeFile(lib + "/take.wav", "x");
    writeFile(lib + "/pack.zip", "x");
    writeFile(lib + "/notes.txt", "x");
    QDir().mkpath(lib + "/Sets");
    FileListModel model;
    model.setFolder(lib);
    model.update();
    ASSERT_TRUE(waitUntil([&] { return model.isLoaded(); }));
    FileRowDelegate delegate;
    QSet<qint64> distinct;
    for (const QString name : {"take.wav", "pack.zip", "notes.txt", "Sets"}) {
        const QIcon icon = delegate.iconForIndex(model.index(model.rowForItemWithPath(lib + "/" + name)), QApplication::style());
        EXPECT_FALSE(icon.name().isEmpty()) << name.toStdString();
        distinct.insert(icon.cacheKey());
    }
    EXPECT_EQ(distinct.size(), 4);
}

// A search that finds nothing says so over the empty list; clearing it brings the rows back.
TEST(BrowserLook, SearchWithoutResultsSaysSo)
{
    TempTree tree;
    const QString lib = tree.library();
    writeFile(lib + "/kick.wav", "x");
    writeFile(lib + "/snare.wav", "x");
    DetailViewController detail;
    auto* master = new MasterViewController;
    master->setDetailViewController(&detail);
    NavigationController navigation(master);
    navigation.resize(400, 500);
    navigation.show();
    master->setFolder(lib);
    ASSERT_TRUE(waitUntil([&] { return master->model()->isLoaded(); }));
    EXPECT_EQ(master->emptyText(), "");

    master->handleSearch("kick");
    EXPECT_EQ(master->model()->rowCount(), 1);
    EXPECT_EQ(master->emptyText(), "");
    master->handleSearch("hihat");
    EXPECT_EQ(master->model()->rowCount(), 0);
    EXPECT_EQ(master->emptyText(), "No results");
    master->cancelSearch();
    EXPECT_EQ(master->model()->rowCount(), 2);
    EXPECT_EQ(master->emptyText(), "");

    // An empty folder says how files get in, until one arrives.
    QDir().mkpath(lib + "/Empty");
    master->setFolder(lib + "/Empty");
    ASSERT_TRUE(waitUntil([&] { return master->model()->isLoaded() && !master->emptyText().isEmpty(); }));
    EXPECT_TRUE(master->emptyText().startsWith("Nothing here yet."));
    writeFile(lib + "/Empty/kick.wav", "x");
    ASSERT_TRUE(waitUntil([&] { return master->model()->rowCount() == 1; }));
    EXPECT_EQ(master->emptyText(), "");
}
