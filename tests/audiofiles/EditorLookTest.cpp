#include "audiofiles/screens/DetailViewController.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <gtest/gtest.h>

using namespace testsupport;

// With nothing chosen the editor says so; a chosen file names the editor; the volume panel
// opens wholly on the screen even from a button at the screen's bottom-right corner.
TEST(EditorLook, EmptyTextTitleAndVolumePanelOnScreen)
{
    TempTree tree;
    const QString lib = tree.library();
    DetailViewController detail;
    EXPECT_EQ(detail.emptyText(), "Select a file");
    EXPECT_EQ(detail.title(), "Wavelocker");
    EXPECT_EQ(detail.windowTitle(), "");

    const QString take = lib + "/Take 7.wav";
    ASSERT_TRUE(writeToneWav(take, 1, 44100, 4410));
    detail.setDetailItem(take);
    EXPECT_EQ(detail.emptyText(), "");
    EXPECT_EQ(detail.title(), "Take 7.wav");
    EXPECT_EQ(detail.windowTitle(), "Take 7.wav");
    writeFile(lib + "/pack.zip", "PK");
    detail.setDetailItem(lib + "/pack.zip");
    EXPECT_EQ(detail.emptyText(), "No preview for this kind of file");
    detail.setDetailItem(take);

    // The window pushed into the screen's bottom-right corner.
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    detail.resize(420, 300);
    detail.move(screen.right() - 420 + 1, screen.bottom() - 300 + 1);
    detail.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&detail));
    ASSERT_TRUE(detail.volumeButton()->isVisible());
    detail.volumeButton()->click();
    ASSERT_TRUE(waitUntil([&] { return detail.volumePanel() && detail.volumePanel()->isVisible(); }));
    const QRect panel = detail.volumePanel()->frameGeometry();
    EXPECT_TRUE(screen.contains(panel)) << panel.x() << "," << panel.y() << " " << panel.width() << "x" << panel.height();
    detail.volumePanel()->close();
}
