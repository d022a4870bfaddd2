#include "library/screens/EditNameViewController.h"
#include "library/FileListModel.h"
#include "library/screens/ItemActionsController.h"
#include "library/DropboxScreen.h"
#include "library/screens/MasterViewController.h"
#include "library/Utils.h"
#include "support/TempTree.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {
// Clicks the button of the open question that reads text.
bool answer(QWidget* window, const QString& title, const QString& text)
{
    for (QMessageBox* box : window->findChildren<QMessageBox*>()) {
        if (box->windowTitle() != title || !box->isVisible())
            continue;
        for (QAbstractButton* b : box->buttons())
            if (b->text() == text) {
                b->click();
                return true;
            }
    }
    return false;
}

QStringList menuTitles(QMenu* menu)
{
    QStringList titles;
    for (QAction* a : menu->actions())
        if (!a->isSeparator())
            titles << a->text();
    return titles;
}
}  // namespace

TEST(ItemActionsController, MenuEditingModeTrashAndRenameInTheBrowser)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Loop.wav"), "loop"));
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Kick.wav"), "kick"));
    QDir().mkpath(lib + QStringLiteral("/Takes"));
    QDir().mkpath(Utils::trashcanURL());

    QWidget window;
    window.resize(400, 600);
    auto* browser = new MasterViewController(&window);
    browser->resize(400, 600);
    window.show();
    browser->setFolder(lib);
    ASSERT_TRUE(waitUntil([&] { return browser->model()->isLoaded() && browser->model()->rowCount() == 4; }));
    ItemActionsController* actions = browser->actions();

    const int loopRow = browser->rowForItemWithPath(lib + QStringLiteral("/Loop.wav"));
    std::unique_ptr<QMenu> menu(actions->menuForItem(browser->model()->itemAt(loopRow)));
    ASSERT_TRUE(menu);
    EXPECT_EQ(menuTitles(menu.get()),
              (QStringList{"Add as FilePlayer in Kormix", "Rename", "Move", "Make Zip Archive",
                           "Copy to Dropbox", "Export / Share", "Copy", "AudioCopy", "Note", "Move to Trash"}));
    EXPECT_EQ(menu->title(), QStringLiteral("Loop.wav"));

    // Rename through the editor: the extension is kept.
    actions->renameAction(browser->model()->itemAt(loopRow));
    auto* editor = window.findChild<EditNameViewController*>();
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->textField()->text(), QStringLiteral("Loop"));
    editor->textField()->setText(QStringLiteral("Groove"));
    editor->confirmButton()->click();
    EXPECT_TRUE(QFileInfo::exists(lib + QStringLiteral("/Groove.wav")));
    ASSERT_TRUE(waitUntil([&] {
        return browser->rowForItemWithPath(lib + QStringLiteral("/Groove.wav")) >= 0
               && !browser->model()->isArriving(lib + QStringLiteral("/Groove.wav"));
    }));

    // Editing mode: select every file, trash them in one batch; the menu stays shut meanwhile.
    actions->setEditing(true);
    EXPECT_FALSE(actions->menuForItem(browser->model()->itemAt(0)));
    const QList<QAction*> kinds = actions->selectMenu()->actions();
    ASSERT_EQ(kinds.size(), 4);
    EXPECT_EQ(kinds[0]->text(), QStringLiteral("Files"));
    kinds[0]->trigger();
    EXPECT_EQ(actions->actionList(), (QStringList{lib + "/Groove.wav", lib + "/Kick.wav"}));
    actions->deleteManyPress();
    ASSERT_TRUE(answer(&window, QStringLiteral("Trash 2 items?"), QStringLiteral("Trash")));
    EXPECT_FALSE(actions->isEditing());
    const QStringList batches = QDir(Utils::trashcanURL()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    ASSERT_EQ(batches.size(), 1);
    EXPECT_EQ(QDir(Utils::trashcanURL() + '/' + batches.first()).entryList(QDir::Files),
              (QStringList{"Groove.wav", "Kick.wav"}));

    // A folder asks first, and "Cancel" keeps it.
    ASSERT_TRUE(waitUntil([&] { return browser->model()->rowCount() == 2; }));
    const LibraryItem takes = browser->model()->itemAt(browser->rowForItemWithPath(lib + QStringLiteral("/Takes")));
    actions->deleteItem(takes);
    ASSERT_TRUE(answer(&window, QStringLiteral("Trash folder?"), QStringLiteral("Cancel")));
    EXPECT_TRUE(QFileInfo(lib + QStringLiteral("/Takes")).isDir());
    actions->deleteItem(takes);
    ASSERT_TRUE(answer(&window, QStringLiteral("Trash folder?"), QStringLiteral("Trash")));
    EXPECT_FALSE(QFileInfo::exists(lib + QStringLiteral("/Takes")));

    // Inside the Trash a file goes for good, so it asks once; "Cancel" keeps it.
    LibraryItem kick;
    kick.path = Utils::trashcanURL() + '/' + batches.first() + QStringLiteral("/Kick.wav");
    actions->deleteItem(kick);
    ASSERT_TRUE(answer(&window, QStringLiteral("Delete file?"), QStringLiteral("Cancel")));
    EXPECT_TRUE(QFileInfo::exists(kick.path));
    actions->deleteItem(kick);
    ASSERT_TRUE(answer(&window, QStringLiteral("Delete file?"), QStringLiteral("Delete")));
    EXPECT_FALSE(QFileInfo::exists(kick.path));

    // Seen from a folder's "..", the Trash keeps its protection.
    QDir().mkpath(lib + QStringLiteral("/Sub"));
    browser->setFolder(lib + QStringLiteral("/Sub/.."));
    const QString trashViaDots = lib + QStringLiteral("/Sub/../Trash");
    ASSERT_TRUE(waitUntil([&] { return browser->model()->isLoaded() && browser->rowForItemWithPath(trashViaDots) >= 0; }));
    std::unique_ptr<QMenu> trashMenu(
        actions->menuForItem(browser->model()->itemAt(browser->rowForItemWithPath(trashViaDots))));
    ASSERT_TRUE(trashMenu);
    for (const char* refused : {"Rename", "Move", "Move to Trash", "Delete"})
        EXPECT_FALSE(menuTitles(trashMenu.get()).contains(QString::fromLatin1(refused)));

    // "Copy to Dropbox" hands the item to the Dropbox screens the window set, with its folder.
    struct RecordingDropbox : DropboxScreen {
        QStringList exported;
        void importFromDropbox(MasterViewController*) override {}
        void exportToDropbox(MasterViewController*, const QStringList& paths) override { exported += paths; }
    } dropbox;
    browser->setDropboxScreen(&dropbox);
    actions->perform(ItemMenuEntry::CopyToDropbox, takes);
    EXPECT_EQ(dropbox.exported, QStringList({takes.path}));
}

TEST(ItemActionsController, ZipAndUnzipFromTheMenuWithTheOverlay)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Takes/a.wav"), QByteArray(5000, 'a')));

    QWidget window;
    auto* browser = new MasterViewController(&window);
    window.show();
    browser->setFolder(lib);
    ASSERT_TRUE(waitUntil([&] { return browser->model()->isLoaded() && browser->model()->rowCount() == 1; }));
    browser->actions()->zipItem(browser->model()->itemAt(0));
    ASSERT_TRUE(waitUntil([&] { return browser->rowForItemWithPath(lib + QStringLiteral("/Takes.zip")) >= 0; }));

    QDir(lib + QStringLiteral("/Takes")).removeRecursively();
    browser->actions()->unzipQuestion(lib + QStringLiteral("/Takes.zip"));
    ASSERT_TRUE(answer(&window, QStringLiteral("Unzip"), QStringLiteral("Yes")));
    ASSERT_TRUE(waitUntil([&] { return readFile(lib + QStringLiteral("/Takes/a.wav")) == QByteArray(5000, 'a'); }));
    EXPECT_TRUE(alerts.alerts().isEmpty()) << alerts.alerts().join('\n').toStdString();
}
