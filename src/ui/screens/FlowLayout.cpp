#include "ui/screens/FlowLayout.h"

#include <QWidget>
#include <QWidgetItem>
#include <algorithm>

FlowLayout::FlowLayout(QWidget* parent, int spacing) : QLayout(parent), mSpacing(spacing) {}

FlowLayout::~FlowLayout()
{
    while (QLayoutItem* item = takeAt(0))
        delete item;
}

void FlowLayout::addItem(QLayoutItem* item) { mItems.append(item); }

void FlowLayout::addRightAlignedWidget(QWidget* widget)
{
    addChildWidget(widget);
    auto* item = new QWidgetItem(widget);
    item->setAlignment(Qt::AlignRight);
    addItem(item);
}

int FlowLayout::count() const { return int(mItems.size()); }

QLayoutItem* FlowLayout::itemAt(int index) const { return mItems.value(index); }

QLayoutItem* FlowLayout::takeAt(int index)
{
    return index >= 0 && index < mItems.size() ? mItems.takeAt(index) : nullptr;
}

int FlowLayout::heightForWidth(int width) const { return doLayout(QRect(0, 0, width, 0), false); }

// As narrow as the widest item: everything else wraps.
QSize FlowLayout::minimumSize() const
{
    QSize size;
    for (const QLayoutItem* item : mItems)
        if (!item->isEmpty())
            size = size.expandedTo(item->minimumSize());
    const QMargins m = contentsMargins();
    return size + QSize(m.left() + m.right(), m.top() + m.bottom());
}

QSize FlowLayout::sizeHint() const
{
    int width = 0;
    int height = 0;
    for (const QLayoutItem* item : mItems) {
        if (item->isEmpty())
            continue;
        width += item->sizeHint().width() + (width > 0 ? mSpacing : 0);
        height = std::max(height, item->sizeHint().height());
    }
    const QMargins m = contentsMargins();
    return {width + m.left() + m.right(), height + m.top() + m.bottom()};
}

void FlowLayout::setGeometry(const QRect& rect)
{
    QLayout::setGeometry(rect);
    doLayout(rect, true);
}

int FlowLayout::doLayout(const QRect& rect, bool apply) const
{
    const QRect area = rect.marginsRemoved(contentsMargins());
    // Rows first, then each row placed: a right-aligned item needs to know its row's end.
    struct Row {
        QList<QLayoutItem*> items;
        int height = 0;
    };
    QList<Row> rows(1);
    int x = 0;
    for (QLayoutItem* item : mItems) {
        if (item->isEmpty())
            continue;
        const QSize hint = item->sizeHint().boundedTo(QSize(area.width(), QWIDGETSIZE_MAX)).expandedTo(item->minimumSize());
        if (x > 0 && x + hint.width() > area.width()) {
            rows.append(Row());
            x = 0;
        }
        rows.last().items.append(item);
        rows.last().height = std::max(rows.last().height, hint.height());
        x += hint.width() + mSpacing;
    }
    int y = area.top();
    for (const Row& row : rows) {
        if (row.items.isEmpty())
            continue;
        if (apply) {
            int left = area.left();
            int right = area.right() + 1;
            // Right-aligned items from the end, the others from the start.
            for (auto it = row.items.crbegin(); it != row.items.crend() && ((*it)->alignment() & Qt::AlignRight); ++it) {
                const QSize hint = (*it)->sizeHint().boundedTo(QSize(area.width(), QWIDGETSIZE_MAX));
                right -= hint.width();
                (*it)->setGeometry(QRect(QPoint(right, y + (row.height - hint.height()) / 2), hint));
                right -= mSpacing;
            }
            for (QLayoutItem* item : row.items) {
                if (item->alignment() & Qt::AlignRight)
                    break;
                const QSize hint = item->sizeHint().boundedTo(QSize(area.width(), QWIDGETSIZE_MAX)).expandedTo(item->minimumSize());
                item->setGeometry(QRect(QPoint(left, y + (row.height - hint.height()) / 2), hint));
                left += hint.width() + mSpacing;
            }
        }
        y += row.height + mSpacing;
    }
    const QMargins m = contentsMargins();
    return y - mSpacing - area.top() + m.top() + m.bottom();
}
