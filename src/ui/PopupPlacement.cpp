#include "ui/PopupPlacement.h"

#include <algorithm>

namespace PopupPlacement {

QPoint positionNear(const QSize& popup, const QRect& anchor, const QRect& screen)
{
    int y = anchor.top() - popup.height();
    if (y < screen.top() && anchor.bottom() + 1 + popup.height() <= screen.bottom() + 1)
        y = anchor.bottom() + 1;
    // A popup larger than the screen keeps its top-left corner on it.
    const int x = std::max(screen.left(), std::min(anchor.left(), screen.right() + 1 - popup.width()));
    y = std::max(screen.top(), std::min(y, screen.bottom() + 1 - popup.height()));
    return {x, y};
}

}  // namespace PopupPlacement
