#include "ui/screens/NavigationTitleLabel.h"

#include <QMouseEvent>

namespace {
constexpr int kLongPressMs = 500;
}

NavigationTitleLabel::NavigationTitleLabel(QWidget* parent) : QLabel(parent)
{
    setAlignment(Qt::AlignCenter);
    QFont f = font();
    f.setBold(true);
    setFont(f);
    mLongPress.setSingleShot(true);
    mLongPress.setInterval(kLongPressMs);
    connect(&mLongPress, &QTimer::timeout, this, [this] {
        mLongPressFired = true;
        emit longPressed();
    });
}

void NavigationTitleLabel::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return QLabel::mousePressEvent(event);
    mLongPressFired = false;
    mLongPress.start();
}

void NavigationTitleLabel::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return QLabel::mouseReleaseEvent(event);
    const bool wasPending = mLongPress.isActive();
    mLongPress.stop();
    if (wasPending && !mLongPressFired && rect().contains(event->position().toPoint()))
        emit tapped();
}
