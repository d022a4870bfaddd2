// The window's layout from a small laptop screen to a large one, checked by the geometry of
// what it shows: every control inside the window, no two controls on top of each other, the
// window keeping the size it was given whatever the editor shows.
#include "audiofiles/screens/BatchToolsController.h"
#include "audiofiles/screens/DetailViewController.h"
#include "audiofiles/screens/WaveView.h"
#include "library/FileListModel.h"
#include "library/screens/ItemActionsController.h"
#include "library/screens/MasterViewController.h"
#include "platform/Settings.h"
#include "shell/screens/AppWindow.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QAbstractSlider>
#include <QLabel>
#include <QFileInfo>
#include <QLineEdit>
#include <QMenu>
#include <QSignalSpy>
#include <QListView>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QTabBar>
#include <QTest>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

// What a person reads or operates; containers and decoration are left out.
bool isControl(const QWidget* w)
{
    if (qobject_cast<const QAbstractButton*>(w) || qobject_cast<const QLineEdit*>(w) ||
        qobject_cast<const QAbstractSlider*>(w) || qobject_cast<const QTabBar*>(w) ||
        qobject_cast<const QAbstractScrollArea*>(w))
        return !qobject_cast<const QAbstractSlider*>(w) || !qobject_cast<const QAbstractScrollArea*>(w->parentWidget());
    if (const auto* label = qobject_cast<const QLabel*>(w))
        return !label->text().isEmpty() || !label->pixmap().isNull();
    return QByteArray(w->metaObject()->className()) == "WaveView" ||
           QByteArray(w->metaObject()->className()) == "MidiPlotter";
}

// Inside a scroll area's viewport a control may lie outside by design: it scrolls.
const QWidget* scrollViewport(const QWidget* w, const QWidget* window)
{
    for (const QWidget* p = w->parentWidget(); p && p != window; p = p->parentWidget())
        if (const auto* area = qobject_cast<const QAbstractScrollArea*>(p->parentWidget()); area && area->viewport() == p)
            return p;
    return nullptr;
}

QString nameOf(const QWidget* w)
{
    QString text;
    if (const auto* b = qobject_cast<const QAbstractButton*>(w))
        text = b->text();
    else if (const auto* l = qobject_cast<const QLabel*>(w))
        text = l->text().left(30);
    return QStringLiteral("%1 '%2'").arg(QString::fromLatin1(w->metaObject()->className()), text);
}

QString rectText(const QRect& r)
{
    return QStringLiteral("%1,%2 %3x%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

struct Shown {
    const QWidget* widget;
    QRect rect;  // in the window, cut to what its scroll area shows
};

// The problems of the window as it is laid out now, one line each.
QStringList layoutProblems(QWidget* window)
{
    QStringList problems;
    const QRect bounds = window->rect();
    QList<Shown> shown;
    for (const QWidget* w : window->findChildren<QWidget*>()) {
        if (!w->isVisible() || w->isWindow() || !isControl(w))
            continue;
        QRect rect(w->mapTo(window, QPoint(0, 0)), w->size());
        if (const QWidget* viewport = scrollViewport(w, window)) {
            rect &= QRect(viewport->mapTo(window, QPoint(0, 0)), viewport->size());
            if (rect.isEmpty())
                continue;  // scrolled out of view
        }
        if (rect.width() <= 0 || rect.height() <= 0)
            problems << QStringLiteral("%1 has no room (%2x%3)").arg(nameOf(w)).arg(w->width()).arg(w->height());
        else if (!bounds.contains(rect))
            problems << QStringLiteral("%1 at %2,%3 %4x%5 lies outside the window %6x%7")
                            .arg(nameOf(w)).arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height())
                            .arg(bounds.width()).arg(bounds.height());
        shown.append({w, rect});
    }
    for (qsizetype i = 0; i < shown.size(); ++i)
        for (qsizetype j = i + 1; j < shown.size(); ++j) {
            const Shown& a = shown[i];
            const Shown& b = shown[j];
            // A control inside another (a list's scroll bar, a scroll area's page) is no overlap.
            if (a.widget->isAncestorOf(b.widget) || b.widget->isAncestorOf(a.widget))
                continue;
            if (a.rect.intersects(b.rect))
                problems << QStringLiteral("%1 (%2) and %3 (%4) overlap")
                                .arg(nameOf(a.widget), rectText(a.rect), nameOf(b.widget), rectText(b.rect));
        }
    return problems;
}

QStringList controlsWithoutTooltip(QWidget* window)
{
    QStringList missing;
    for (const QWidget* w : window->findChildren<QWidget*>()) {
        if (!w->isVisible() || w->isWindow())
            continue;
        if ((qobject_cast<const QAbstractButton*>(w) || qobject_cast<const QLineEdit*>(w) ||
             qobject_cast<const QTabBar*>(w)) && w->toolTip().isEmpty())
            missing << nameOf(w);
    }
    return missing;
}

struct Window {
    TempTree tree;
    AppWindow app;
    QWidget* window = nullptr;

    Window()
    {
        const QString lib = tree.library();
        writeToneWav(lib + "/Take with a rather long name for a narrow column.wav", 2, 44100, 44100);
        writeFile(lib + "/notes.txt", "first line\nsecond line\n");
        qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
        app.didFinishLaunching();
        window = app.window();
        waitUntil([&] { return app.masterViewController()->model()->isLoaded(); });
    }

    void resize(int width, int height)
    {
        window->showNormal();
        window->resize(width, height);
        QTest::qWait(50);
        waitUntil([&] { return window->size() == QSize(width, height); }, 2000);
    }
    void open(const QString& name)
    {
        app.masterViewController()->openFile(tree.library() + QLatin1Char('/') + name);
        QTest::qWait(50);
    }
};

}  // namespace

TEST(WindowLayout, EveryScreenFitsFromSmallToLargeWindows)
{
    Window w;
    const QSize sizes[] = {{700, 400}, {700, 360}, {1920, 1080}};
    for (const QSize size : sizes) {
        SCOPED_TRACE(QStringLiteral("%1x%2").arg(size.width()).arg(size.height()).toStdString());
        w.resize(size.width(), size.height());
        w.open(QString());
        EXPECT_EQ(layoutProblems(w.window).join(QStringLiteral("\n")).toStdString(), "") << "nothing chosen";

        const QString take = QStringLiteral("Take with a rather long name for a narrow column.wav");
        w.open(take);
        EXPECT_EQ(layoutProblems(w.window).join(QStringLiteral("\n")).toStdString(), "") << "a sound file";
        EXPECT_EQ(controlsWithoutTooltip(w.window).join(QStringLiteral("\n")).toStdString(), "");

        // Trimming shows the panel above the waveform: the window keeps its size.
        DetailViewController* detail = w.app.detailViewController();
        detail->waveView()->setTrimMode(true);
        detail->updateEditState(false);
        QTest::qWait(50);
        EXPECT_EQ(w.window->size(), size);
        EXPECT_EQ(layoutProblems(w.window).join(QStringLiteral("\n")).toStdString(), "") << "trimming";
        EXPECT_EQ(controlsWithoutTooltip(w.window).join(QStringLiteral("\n")).toStdString(), "");
        detail->toolCancelPress();

        w.open(QStringLiteral("notes.txt"));
        EXPECT_EQ(layoutProblems(w.window).join(QStringLiteral("\n")).toStdString(), "") << "notes";

        // The browser's editing buttons in a narrow column.
        MasterViewController* master = w.app.masterViewController();
        QList<QAbstractButton*> buttons = master->findChildren<QAbstractButton*>();
        for (QAbstractButton* b : buttons)
            if (b->text() == QLatin1String("Edit") && b->isVisible()) {
                b->click();
                QTest::qWait(50);
                EXPECT_EQ(w.window->size(), size);
                EXPECT_EQ(layoutProblems(w.window).join(QStringLiteral("\n")).toStdString(), "") << "editing";
                EXPECT_EQ(controlsWithoutTooltip(w.window).join(QStringLiteral("\n")).toStdString(), "");
                b->click();
                break;
            }
    }
}

// The window's title names the file shown; its size and the column widths come back at the
// next start.
TEST(WindowLayout, TitleFollowsTheFileAndSizesComeBack)
{
    TempTree tree;
    const QString lib = tree.library();
    writeToneWav(lib + "/Kick.wav", 1, 44100, 4410);
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    QList<int> columns;
    {
        AppWindow app;
        app.didFinishLaunching();
        QWidget* window = app.window();
        EXPECT_EQ(window->windowTitle(), "Wavelocker");
        ASSERT_TRUE(waitUntil([&] { return app.masterViewController()->model()->isLoaded(); }));
        app.masterViewController()->openFile(lib + "/Kick.wav");
        EXPECT_EQ(window->windowTitle(), "Kick.wav \u2014 Wavelocker");
        EXPECT_FALSE(app.detailNavigationController()->isBarVisible());
        app.detailViewController()->setDetailItem(QString());
        EXPECT_EQ(window->windowTitle(), "Wavelocker");

        window->showNormal();
        window->setGeometry(40, 30, 730, 450);
        waitUntil([&] { return window->size() == QSize(730, 450); }, 2000);
        app.splitViewController()->setSizes({250, 480});
        columns = app.splitViewController()->sizes();
        window->close();  // as the window manager's close button does
        ASSERT_TRUE(platform::Settings::contains("WindowGeometry"));
    }
    platform::Settings::sync();
    AppWindow again;
    again.didFinishLaunching();
    QWidget* window = again.window();
    EXPECT_FALSE(window->isMaximized());
    EXPECT_EQ(window->size(), QSize(730, 450));
    EXPECT_EQ(again.splitViewController()->sizes(), columns);
}

// The list's item menu carries the batch tools; chosen there they work on the row the menu
// was opened on (the list's highlight moves back when the menu closes).
TEST(WindowLayout, ItemMenuRunsTheBatchToolsOnItsRow)
{
    TempTree tree;
    const QString lib = tree.library();
    writeToneWav(lib + "/Kick.wav", 1, 44100, 4410);
    writeToneWav(lib + "/Snare.wav", 1, 44100, 4410);
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    AppWindow app;
    app.didFinishLaunching();
    MasterViewController* master = app.masterViewController();
    ASSERT_TRUE(waitUntil([&] { return master->model()->isLoaded(); }));
    master->openFile(lib + "/Kick.wav");
    EXPECT_EQ(app.selectedLibraryPaths(), QStringList{lib + "/Kick.wav"});

    QMenu* menu = master->actions()->menuForItem(master->model()->itemAt(master->rowForItemWithPath(lib + "/Snare.wav")));
    ASSERT_NE(menu, nullptr);
    QAction* normalize = nullptr;
    for (QAction* action : menu->actions())
        if (action->text() == "Normalize Selected Files")
            normalize = action;
    ASSERT_NE(normalize, nullptr);
    QSignalSpy finished(app.batchTools(), &BatchToolsController::finished);
    normalize->trigger();
    delete menu;
    ASSERT_TRUE(waitUntil([&] { return finished.size() == 1; }, 60000));
    EXPECT_TRUE(QFileInfo::exists(lib + "/Snare-normalized.wav"));
    EXPECT_FALSE(QFileInfo::exists(lib + "/Kick-normalized.wav"));
    // Outside a menu the action works on what the list has picked.
    EXPECT_FALSE(normalize->data().isValid());
}
