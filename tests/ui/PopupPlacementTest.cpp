#include "ui/PopupPlacement.h"

#include <gtest/gtest.h>

// Above the control where it fits, below where it doesn't, and never past an edge of the screen.
TEST(PopupPlacement, StaysOnTheScreen)
{
    const QRect screen(0, 0, 1280, 800);
    const QSize panel(280, 160);
    // Room above: above, starting at the control's left edge.
    EXPECT_EQ(PopupPlacement::positionNear(panel, QRect(100, 500, 80, 30), screen), QPoint(100, 340));
    // Near the top: below the control instead.
    EXPECT_EQ(PopupPlacement::positionNear(panel, QRect(100, 40, 80, 30), screen), QPoint(100, 70));
    // Near the right edge: pulled left so that all of it shows.
    EXPECT_EQ(PopupPlacement::positionNear(panel, QRect(1230, 500, 50, 30), screen), QPoint(1000, 340));
    // A control partly off the left edge of a second screen.
    const QRect right(1280, 100, 1920, 1080);
    EXPECT_EQ(PopupPlacement::positionNear(panel, QRect(1260, 900, 60, 30), right), QPoint(1280, 740));
    // Neither above nor below has room (a low screen): kept inside, top first.
    const QRect low(0, 0, 800, 200);
    const QPoint p = PopupPlacement::positionNear(panel, QRect(10, 90, 60, 30), low);
    EXPECT_EQ(p, QPoint(10, 0));
    EXPECT_TRUE(low.contains(QRect(p, panel)));
    // Larger than the screen: its top-left corner stays on it.
    EXPECT_EQ(PopupPlacement::positionNear(QSize(900, 300), QRect(700, 150, 60, 30), low), QPoint(0, 0));
}

TEST(PopupPlacement, KeepOnScreenMovesOnlyWhatSticksOut)
{
    const QRect screen(0, 0, 1280, 800);
    EXPECT_EQ(PopupPlacement::keepOnScreen(QRect(100, 100, 240, 200), screen), QPoint(100, 100));
    EXPECT_EQ(PopupPlacement::keepOnScreen(QRect(1200, 700, 240, 200), screen), QPoint(1040, 600));
    EXPECT_EQ(PopupPlacement::keepOnScreen(QRect(-50, -20, 240, 200), screen), QPoint(0, 0));
}
