// The window's menu bar and keys, driven as a person would with the keyboard.
#include "audiofiles/screens/DetailViewController.h"
#include "library/FileListModel.h"
#include "library/FileSort.h"
#include "library/ItemSelection.h"
#include "library/UndoStack.h"
#include "library/Utils.h"
#include "library/screens/EditNameViewController.h"
#include "library/screens/FileListView.h"
#include "library/screens/MasterViewController.h"
#include "shell/screens/AppWindow.h"
#include "shell/screens/MainMenu.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"
#include "ui/screens/NavigationController.h"

#include <QAction>
#include <QDir>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

struct Window {
    AppWindow app;
    explicit Window()
    {
        qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
        app.didFinishLaunching();
        app.window()->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(app.window()));
    }
    MasterViewController* browser() const
    {
        return qobject_cast<MasterViewController*>(app.libraryNavigationController()->topViewController());
    }
    MainMenu* menu() const { return app.mainMenu(); }
    // A key as the focused widget gets it, shortcuts first.
    void key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QWidget* focus = QApplication::focusWidget() ? QApplication::focusWidget() : app.window();
        QTest::keyClick(focus, Qt::Key(key), modifiers);
    }
    void focusList()
    {
        app.window()->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(app.window()));
        browser()->tableView()->setFocus();
        ASSERT_TRUE(waitUntil([&] { return browser()->tableView()->hasFocus(); }));
    }
    bool listed(const QString& path) const
    {
        return browser()->rowForItemWithPath(path) >= 0 && !browser()->model()->isArriving(path);
    }
};

QString topMessageTitle()
{
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* box = qobject_cast<QMessageBox*>(w); box && box->isVisible())
            return box->windowTitle();
    return {};
}

bool clickInMessage(const QString& text)
{
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* box = qobject_cast<QMessageBox*>(w); box && box->isVisible())
            for (QAbstractButton* b : box->buttons())
                if (b->text() == text) {
                    b->click();
                    return true;
                }
    return false;
}

}  // namespace

TEST(MainMenu, EveryCommandIsThereWithItsKeys)
{
    TempTree tree;
    tree.library();
    Window w;
    QStringList titles;
    for (QAction* a : w.menu()->menuBar()->actions())
        titles << a->text().remove('&');
    EXPECT_EQ(titles, QStringList({"File", "Edit", "View", "Play", "Tools", "Window", "Help"}));

    const QList<std::pair<const char*, const char*>> expected = {
        {"New Folder", "Ctrl+Shift+N"}, {"New Notes", "Ctrl+N"}, {"Import Files", "Ctrl+I"}, {"Import Folder", ""},
        {"Import Music", ""}, {"Import from Dropbox", ""}, {"Make Zip Archive", ""}, {"Unzip Archive", ""},
        {"Export / Share", ""}, {"Copy to Dropbox", ""}, {"Quit", "Ctrl+Q"},
        {"Undo", "Ctrl+Z"}, {"Redo", "Ctrl+Shift+Z"}, {"Cut", "Ctrl+X"}, {"Copy", "Ctrl+C"}, {"Paste", "Ctrl+V"}, {"AudioCopy", ""},
        {"Rename", "F2"}, {"Move", "Ctrl+Shift+M"}, {"Move to Trash", "Del"}, {"Delete", "Shift+Del"}, {"Put Back", ""},
        {"Select All", "Ctrl+A"}, {"Select Files", ""}, {"Select Folders", ""}, {"Select None", "Ctrl+Shift+A"},
        {"Edit Mode", ""}, {"Show Size", ""}, {"Note", ""}, {"Find", "Ctrl+F"},
        {"Open", "Return"}, {"Back", "Alt+Left"}, {"Enclosing Folder", "Alt+Up"}, {"Folder Path", ""},
        {"Sort by Name", ""}, {"Sort by Date", ""}, {"Sort by Size", ""}, {"Refresh", "F5"},
        {"Play", "Space"}, {"Rewind", "Ctrl+Home"}, {"Loop", "Ctrl+L"}, {"Preview", "Ctrl+Shift+Space"},
        {"Stop Preview", ""}, {"Auto-Play Next", ""}, {"Recorder", "Ctrl+R"}, {"Record", "Ctrl+Shift+R"},
        {"Trim & Fade", "Ctrl+T"}, {"Normalize", ""}, {"Convert", ""}, {"Copy to AudioCopy", ""},
        {"AudioCopy Pasteboards", ""}, {"Add as FilePlayer in Kormix", ""}, {"WiFi Drive", ""}, {"Link Dropbox", ""},
        {"Unlink Dropbox", ""}, {"Settings", "Ctrl+,"},
        {"Minimize", "Ctrl+M"}, {"Full Screen", "F11"}, {"Library", "Ctrl+1"}, {"Editor", "Ctrl+2"},
        {"Keyboard Shortcuts", "F1"}, {"About Wavelocker", ""}};
    QStringList names;
    for (QAction* a : w.menu()->commands())
        names << a->objectName();
    QStringList expectedNames;
    for (const auto& [name, keys] : expected) {
        expectedNames << QString::fromUtf8(name);
        QAction* a = w.menu()->action(QString::fromUtf8(name));
        ASSERT_TRUE(a) << name;
        EXPECT_EQ(a->shortcut().toString(QKeySequence::PortableText), QString::fromUtf8(keys)) << name;
    }
    EXPECT_EQ(names, expectedNames);
    // No two entries share keys.
    QStringList keys;
    for (QAction* a : w.menu()->commands())
        if (!a->shortcut().isEmpty())
            keys << a->shortcut().toString();
    EXPECT_EQ(keys.size(), QSet<QString>(keys.begin(), keys.end()).size());
}

TEST(MainMenu, KeysTrashRenameUndoRedoAndPutBackByteForByte)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    ASSERT_TRUE(writeToneWav(lib + "/a.wav", 1, 44100, 4410));
    ASSERT_TRUE(writeToneWav(lib + "/b.wav", 2, 44100, 8820));
    QDir().mkpath(lib + "/Sub");
    const QByteArray a = readFile(lib + "/a.wav");
    const QByteArray b = readFile(lib + "/b.wav");
    FileSort::setSortMode(FileSort::kByName);
    Window w;
    ASSERT_TRUE(waitUntil([&] { return w.listed(lib + "/a.wav") && w.listed(lib + "/b.wav"); }));
    w.browser()->openFile(lib + "/a.wav");
    w.focusList();

    // Arrow keys: the editor follows.
    w.key(Qt::Key_Down);
    EXPECT_EQ(w.app.detailViewController()->detailItem(), lib + "/b.wav");
    w.key(Qt::Key_Up);
    EXPECT_EQ(w.app.detailViewController()->detailItem(), lib + "/a.wav");
    EXPECT_TRUE(w.menu()->action("Undo") && !w.menu()->action("Undo")->isEnabled());

    // Delete trashes at once; Ctrl+Z brings it back, Ctrl+Shift+Z trashes it again.
    w.key(Qt::Key_Delete);
    ASSERT_FALSE(QFileInfo::exists(lib + "/a.wav"));
    EXPECT_EQ(w.menu()->action("Undo")->text(), "Undo Trash");
    w.key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(readFile(lib + "/a.wav"), a);
    EXPECT_EQ(w.menu()->action("Redo")->text(), "Redo Trash");
    w.key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_FALSE(QFileInfo::exists(lib + "/a.wav"));
    w.key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(readFile(lib + "/a.wav"), a);

    // Ctrl+F searches; a name that matches nothing says so; Escape ends the search.
    const int rows = w.browser()->model()->rowCount();
    w.key(Qt::Key_F, Qt::ControlModifier);
    ASSERT_TRUE(waitUntil([&] { return QApplication::focusWidget() && qobject_cast<QLineEdit*>(QApplication::focusWidget()); }));
    QTest::keyClicks(QApplication::focusWidget(), "zzz");
    EXPECT_EQ(w.browser()->emptyText(), "No results");
    w.key(Qt::Key_Escape);
    EXPECT_EQ(w.browser()->emptyText(), "");
    EXPECT_EQ(w.browser()->model()->rowCount(), rows);
    EXPECT_TRUE(w.browser()->tableView()->hasFocus());

    // F2 renames the current row; undo and redo follow it, and so does the editor.
    ASSERT_TRUE(waitUntil([&] { return w.listed(lib + "/a.wav"); }));
    w.browser()->openFile(lib + "/b.wav");
    w.focusList();
    w.key(Qt::Key_F2);
    EditNameViewController* editor = nullptr;
    ASSERT_TRUE(waitUntil([&] {
        editor = w.app.window()->findChild<EditNameViewController*>();
        return editor && editor->isVisible();
    }));
    editor->textField()->setText("Bass");
    editor->confirmButton()->click();
    EXPECT_EQ(readFile(lib + "/Bass.wav"), b);
    EXPECT_EQ(w.app.detailViewController()->detailItem(), lib + "/Bass.wav");
    // The pick follows the new name: what Delete would trash is the renamed file, not the row
    // that took its place for a moment.
    ASSERT_TRUE(waitUntil([&] { return w.listed(lib + "/Bass.wav"); }));
    EXPECT_EQ(w.browser()->selection()->targetPaths(), QStringList{lib + "/Bass.wav"});
    w.focusList();
    w.key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(readFile(lib + "/b.wav"), b);
    EXPECT_FALSE(QFileInfo::exists(lib + "/Bass.wav"));
    EXPECT_EQ(w.app.detailViewController()->detailItem(), lib + "/b.wav");
    ASSERT_TRUE(waitUntil([&] { return w.listed(lib + "/b.wav"); }));
    EXPECT_EQ(w.browser()->selection()->targetPaths(), QStringList{lib + "/b.wav"});
    w.key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(readFile(lib + "/Bass.wav"), b);

    // Ctrl+A picks every row; Delete asks for several; Shift+Delete asks and Cancel keeps all.
    ASSERT_TRUE(waitUntil([&] { return w.listed(lib + "/Bass.wav"); }));
    w.focusList();
    w.key(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(w.browser()->selection()->count(), w.browser()->model()->rowCount());
    w.browser()->selection()->selectPaths({lib + "/a.wav", lib + "/Bass.wav"});
    w.key(Qt::Key_Delete, Qt::ShiftModifier);
    EXPECT_EQ(topMessageTitle(), "Delete 2 items?");
    ASSERT_TRUE(clickInMessage("Cancel"));
    EXPECT_TRUE(QFileInfo::exists(lib + "/a.wav") && QFileInfo::exists(lib + "/Bass.wav"));
    w.key(Qt::Key_Delete);
    EXPECT_EQ(topMessageTitle(), "Trash 2 items?");
    ASSERT_TRUE(clickInMessage("Trash"));
    EXPECT_FALSE(QFileInfo::exists(lib + "/a.wav") || QFileInfo::exists(lib + "/Bass.wav"));

    // In the Trash, Put Back (from the menu) returns both; the Trash's own row has none.
    ASSERT_TRUE(waitUntil([&] { return w.listed(Utils::trashcanURL()); }));
    w.browser()->selection()->selectPaths({Utils::trashcanURL()});
    w.menu()->refresh();
    EXPECT_FALSE(w.menu()->action("Put Back")->isEnabled());
    EXPECT_FALSE(w.menu()->action("Move to Trash")->isEnabled());
    w.key(Qt::Key_Return);
    ASSERT_TRUE(waitUntil([&] { return w.browser()->folder() == Utils::trashcanURL() && w.browser()->model()->rowCount() == 1; }));
    const QString batch = w.browser()->model()->itemAt(0).path;
    w.browser()->enterFolder(batch, false);
    ASSERT_TRUE(waitUntil([&] { return w.browser()->folder() == batch && w.browser()->model()->rowCount() == 2; }));
    w.browser()->selection()->selectKind(ItemSelection::Kind::Both);
    w.menu()->refresh();
    ASSERT_TRUE(w.menu()->action("Put Back")->isEnabled());
    EXPECT_EQ(w.menu()->action("Move to Trash")->isEnabled(), false);
    w.menu()->action("Put Back")->trigger();
    EXPECT_EQ(readFile(lib + "/a.wav"), a);
    EXPECT_EQ(readFile(lib + "/Bass.wav"), b);
    EXPECT_EQ(w.menu()->action("Undo")->text(), "Undo Put Back");
    // The emptied batch folder goes, and the list with it, back to the Trash.
    ASSERT_TRUE(waitUntil([&] { return w.browser()->folder() == Utils::trashcanURL(); }));
    EXPECT_FALSE(QFileInfo::exists(batch));

    // A folder removed outside while shown, its parent too: back to the nearest one that is.
    QDir().mkpath(lib + "/Sub/Deeper");
    w.app.libraryNavigationController()->popToViewController(w.app.masterViewController(), false);
    w.browser()->enterFolder(lib + "/Sub", false)->enterFolder(lib + "/Sub/Deeper", false);
    ASSERT_EQ(w.browser()->folder(), lib + "/Sub/Deeper");
    ASSERT_TRUE(QDir(lib + "/Sub").removeRecursively());
    EXPECT_TRUE(waitUntil([&] { return w.browser() == w.app.masterViewController(); }));
    EXPECT_TRUE(alerts.alerts().isEmpty()) << alerts.alerts().join('\n').toStdString();
}
