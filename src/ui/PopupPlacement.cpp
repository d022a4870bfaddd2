#include "ui/PopupPlacement.h"

#include <algorithm>

namespace PopupPlacement {

QPoint positionNear(const QSize& popup, const QRect& anchor, const QRect& screen)
{
    int y = anchor.top() - popup.height();
    if (y < screen.top() && anchor.bottom() + 1 + popup.height() <= screen.bottom() + 1)
        y = anchor.bottom() + 1;
    return keepOnScreen(QRect(QPoint(anchor.left(), y), popup), screen);
}

QPoint keepOnScreen(const QRect& wanted, const QRect& screen)
{
    // A popup larger than the screen keeps its top-left corner on it.
    const int x = std::max(screen.left(), std::min(wanted.left(), screen.right() + 1 - wanted.width()));
    const int y = std::max(screen.top(), std::min(wanted.top(), screen.bottom() + 1 - wanted.height()));
    return {x, y};
}

}  // namespace PopupPlacement
