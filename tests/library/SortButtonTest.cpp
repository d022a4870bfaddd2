#include "audiofiles/screens/DetailViewController.h"
#include "library/FileListModel.h"
#include "library/FileSort.h"
#include "library/screens/MasterViewController.h"
#include "library/screens/SortButton.h"
#include "platform/Settings.h"
#include "support/TempTree.h"
#include "ui/screens/NavigationController.h"

#include <QDateTime>
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
