#pragma once
#include <QPoint>
#include <QRect>
#include <QSize>

// Where a popup of a control goes: above the control (below when there is no room above),
// starting at its left edge, and always wholly on the screen.
namespace PopupPlacement {

// All rectangles in screen coordinates; screen is the available area (without panels).
QPoint positionNear(const QSize& popup, const QRect& anchor, const QRect& screen);
// Where a popup meant for wanted goes so that all of it is on the screen (its top-left corner
// first when it is larger).
QPoint keepOnScreen(const QRect& wanted, const QRect& screen);

}  // namespace PopupPlacement
