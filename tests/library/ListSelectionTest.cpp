#include "library/DetailScreen.h"
#include "library/FileListModel.h"
#include "library/FileSort.h"
#include "library/ItemSelection.h"
#include "library/Utils.h"
#include "library/screens/FileListView.h"
#include "library/screens/FolderViewController.h"
#include "library/screens/ItemActionsController.h"
#include "library/screens/MasterViewController.h"
#include "support/TempTree.h"

#include <QApplication>
#include <QDir>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

using namespace testsupport;

// Paths as one readable line, for comparisons that print well.
std::string names(const QStringList& paths)
{
    QStringList out;
    for (const QString& path : paths)
        out << QFileInfo(path).fileName();
    return out.join(QLatin1Char('|')).toStdString();
}

namespace {

// The editor beside the list, reduced to the file it shows.
struct ShownFile : DetailScreen {
    QString shown;
    QStringList history;
    void setDetailItem(const QString& path) override
    {
        shown = path;
        history << path;
    }
    QString detailItem() const override { return shown; }
    void maybeSaveText() override {}
    void waveformDeleted(const QString&) override {}
    void waveformRenamed(const QString&, const QString&) override {}
};

struct Window {
    ShownFile detail;
    QWidget window;
    MasterViewController* browser = new MasterViewController(&window);

    explicit Window(const QString& folder)
    {
        window.resize(420, 640);
        browser->resize(420, 640);
        browser->setDetailViewController(&detail);
        window.show();
        browser->setFolder(folder);
    }
    QPoint rowCenter(const QString& path) const
    {
        const int row = browser->rowForItemWithPath(path);
        return browser->tableView()->visualRect(browser->model()->index(row)).center();
    }
    void click(const QString& path, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::mouseClick(browser->tableView()->viewport(), Qt::LeftButton, modifiers, rowCenter(path));
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(browser->tableView(), key, modifiers);
    }
};

}  // namespace

TEST(ListSelection, CtrlAndShiftClicksPickRowsAndMoveTakesThePick)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    for (const char* name : {"a.wav", "b.wav", "c.wav", "d.wav"})
        ASSERT_TRUE(writeFile(lib + '/' + name, name));
    QDir().mkpath(lib + "/Dest");
    FileSort::setSortMode(FileSort::kByName);
    Window w(lib);
    ASSERT_TRUE(waitUntil([&] { return w.browser->model()->isLoaded() && w.browser->model()->rowCount() == 5; }));
    ItemSelection* selection = w.browser->selection();

    // A plain click opens; Shift and Ctrl only change the pick, whatever the mode.
    w.click(lib + "/a.wav");
    EXPECT_EQ(w.detail.shown, lib + "/a.wav");
    w.click(lib + "/c.wav", Qt::ShiftModifier);
    EXPECT_EQ(selection->selectedPaths(), (QStringList{lib + "/a.wav", lib + "/b.wav", lib + "/c.wav"}));
    w.click(lib + "/b.wav", Qt::ControlModifier);
    w.click(lib + "/d.wav", Qt::ControlModifier);
    EXPECT_EQ(selection->selectedPaths(), (QStringList{lib + "/a.wav", lib + "/c.wav", lib + "/d.wav"}));
    EXPECT_EQ(w.detail.history, QStringList{lib + "/a.wav"});

    // A right-click on one of the picked rows keeps the pick when its menu closes.
    emit w.browser->tableView()->customContextMenuRequested(w.rowCenter(lib + "/c.wav"));
    QMenu* menu = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) != nullptr; }));
    menu->hide();
    EXPECT_EQ(selection->selectedPaths(), (QStringList{lib + "/a.wav", lib + "/c.wav", lib + "/d.wav"}));

    // Move acts on the pick; the editor follows its file to the new place.
    w.browser->actions()->moveAction(w.browser->actions()->actionList());
    auto* picker = w.window.findChild<FolderViewController*>();
    ASSERT_TRUE(picker);
    ASSERT_TRUE(picker->selectPath(lib + "/Dest"));
    picker->confirmButton()->click();
    for (const char* name : {"a.wav", "c.wav", "d.wav"}) {
        EXPECT_FALSE(QFileInfo::exists(lib + '/' + name)) << name;
        EXPECT_EQ(readFile(lib + "/Dest/" + name), QByteArray(name));
    }
    EXPECT_TRUE(QFileInfo::exists(lib + "/b.wav"));
    EXPECT_EQ(w.detail.shown, lib + "/Dest/a.wav");
    ASSERT_TRUE(waitUntil([&] { return w.browser->model()->rowCount() == 2; }));
    EXPECT_TRUE(selection->selectedPaths().isEmpty());

    // In editing mode a plain click picks and toggles rows, and nothing opens.
    for (const char* name : {"e.wav", "f.wav"})
        ASSERT_TRUE(writeFile(lib + '/' + name, name));
    ASSERT_TRUE(waitUntil([&] {
        return w.browser->model()->rowCount() == 4 && w.browser->model()->addingFileList().isEmpty();
    }, 10000));
    w.detail.history.clear();
    w.browser->actions()->setEditing(true);
    w.click(lib + "/b.wav");
    w.click(lib + "/f.wav");
    w.click(lib + "/e.wav");
    w.click(lib + "/b.wav");
    EXPECT_EQ(selection->selectedPaths(), (QStringList{lib + "/e.wav", lib + "/f.wav"}));
    EXPECT_TRUE(w.detail.history.isEmpty());
    w.browser->actions()->deleteManyPress();
    auto* question = w.window.findChild<QMessageBox*>();
    ASSERT_TRUE(question);
    EXPECT_EQ(question->windowTitle(), "Trash 2 items?");
    for (QAbstractButton* b : question->buttons())
        if (b->text() == "Trash")
            b->click();
    EXPECT_FALSE(QFileInfo::exists(lib + "/e.wav"));
    EXPECT_FALSE(QFileInfo::exists(lib + "/f.wav"));
    EXPECT_TRUE(QFileInfo::exists(lib + "/b.wav"));
    EXPECT_FALSE(w.browser->actions()->isEditing());
}

TEST(ListSelection, ArrowKeysMoveTheCurrentRowAndTheEditorFollows)
{
    TempTree tree;
    const QString lib = tree.library();
    for (const char* name : {"a.wav", "b.txt", "c.wav"})
        ASSERT_TRUE(writeFile(lib + '/' + name, name));
    QDir().mkpath(lib + "/Sub");
    ASSERT_TRUE(writeFile(lib + "/Sub/inner.wav", "inner"));
    FileSort::setSortMode(FileSort::kByName);
    Window w(lib);
    ASSERT_TRUE(waitUntil([&] { return w.browser->model()->isLoaded() && w.browser->model()->rowCount() == 4; }));
    w.browser->tableView()->setFocus();

    w.click(lib + "/a.wav");
    w.key(Qt::Key_Down);
    EXPECT_EQ(w.detail.shown, lib + "/b.txt");
    w.key(Qt::Key_Down);
    EXPECT_EQ(w.detail.shown, lib + "/c.wav");
    EXPECT_EQ(w.browser->selection()->selectedPaths(), QStringList{lib + "/c.wav"});
    // A folder row takes the keyboard's place without opening; Enter opens it as the next level.
    w.key(Qt::Key_Home);
    EXPECT_EQ(w.browser->selection()->currentItem()->path, lib + "/Sub");
    EXPECT_EQ(w.detail.shown, lib + "/c.wav");
    w.key(Qt::Key_End);
    EXPECT_EQ(w.detail.shown, lib + "/c.wav");
    w.key(Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(w.detail.shown, lib + "/b.txt");
    EXPECT_EQ(w.browser->selection()->selectedPaths(), (QStringList{lib + "/b.txt", lib + "/c.wav"}));
    w.key(Qt::Key_Home);
    w.key(Qt::Key_Return);
    ASSERT_TRUE(waitUntil([&] { return w.window.findChildren<MasterViewController*>().size() == 2; }));
}

TEST(ListSelection, PickSurvivesSortingAndOutsideChanges)
{
    TempTree tree;
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(lib + "/big.wav", QByteArray(3000, 'x')));
    ASSERT_TRUE(writeFile(lib + "/small.wav", QByteArray(10, 'x')));
    ASSERT_TRUE(writeFile(lib + "/mid.wav", QByteArray(500, 'x')));
    QDir().mkpath(lib + "/Folder");
    FileSort::setSortMode(FileSort::kByName);
    FileListModel model;
    ItemSelection selection(&model);
    model.setFolder(lib);
    model.update();
    ASSERT_TRUE(waitUntil([&] { return model.isLoaded() && model.rowCount() == 4; }));

    selection.selectKind(ItemSelection::Kind::Files);
    EXPECT_EQ(names(selection.selectedPaths()), "big.wav|mid.wav|small.wav");
    selection.selectKind(ItemSelection::Kind::Folders);
    EXPECT_EQ(names(selection.selectedPaths()), "Folder");
    EXPECT_TRUE(selection.targets().size() == 1);

    selection.selectPaths({lib + "/small.wav", lib + "/big.wav", lib + "/gone.wav"});
    FileSort::setSortMode(FileSort::kBySize);
    model.sortFileList();
    EXPECT_EQ(selection.count(), 2);
    EXPECT_TRUE(selection.isSelected(lib + "/small.wav") && selection.isSelected(lib + "/big.wav"));
    QFile::remove(lib + "/small.wav");
    model.updateDirExternal();
    EXPECT_EQ(names(selection.selectedPaths()), "big.wav");
    EXPECT_EQ(names(selection.targetPaths()), "big.wav");
    selection.clear();
    ASSERT_TRUE(selection.setCurrentPath(lib + "/mid.wav"));
    EXPECT_TRUE(selection.selectedPaths().isEmpty());
    EXPECT_EQ(names(selection.targetPaths()), "mid.wav");

    // The picked row goes: the row that takes its place is picked, not a hidden current one.
    selection.selectPaths({lib + "/mid.wav"});
    QFile::remove(lib + "/mid.wav");
    model.updateDirExternal();
    ASSERT_EQ(selection.count(), 1);
    EXPECT_EQ(selection.selectedPaths(), QStringList{selection.currentItem()->path});
    // An unpicked row going changes no pick.
    selection.clear();
    ASSERT_TRUE(writeFile(lib + "/other.wav", "x"));
    model.updateDirExternal();
    QFile::remove(lib + "/other.wav");
    model.updateDirExternal();
    EXPECT_EQ(selection.count(), 0);
    FileSort::setSortMode(FileSort::kByName);
}
