#include "ui/screens/FolderMenuView.h"

#include "ui/PopupPlacement.h"
#include "ui/screens/NavigationController.h"
#include "ui/screens/Theme.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QVariantAnimation>

namespace {
constexpr int kMinimumScreens = 2;
constexpr int kRowHeight = 36;
constexpr int kIndentWidth = 5;
constexpr int kMargin = 12;
constexpr int kMenuWidth = 280;
constexpr int kCloseMs = 400;
const QString kIndentMark = QStringLiteral("\u2514 ");
}  // namespace

FolderMenuView* FolderMenuView::showMenuForNavigationController(NavigationController* navigation)
{
    const QList<QWidget*>& stack = navigation->viewControllers();
    if (stack.size() < kMinimumScreens)
        return nullptr;
    QStringList titles;
    for (const QWidget* vc : stack)
        titles << vc->windowTitle();
    auto* menu = new FolderMenuView(titles, navigation);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    connect(menu, &FolderMenuView::chosen, navigation, [navigation](int row) {
        navigation->setNavigationBarEnabled(true);
        if (row < navigation->viewControllers().size())
            navigation->popToViewController(navigation->viewControllers()[row], true);
    });
    connect(menu, &QObject::destroyed, navigation, [navigation] { navigation->setNavigationBarEnabled(true); });
    navigation->setNavigationBarEnabled(false);
    // Under the title, and wholly on the screen when the window is partly off it.
    const QRect wanted(navigation->mapToGlobal(QPoint((navigation->width() - menu->width()) / 2, 44)), menu->size());
    const QScreen* screen = navigation->screen();
    menu->move(screen ? PopupPlacement::keepOnScreen(wanted, screen->availableGeometry()) : wanted.topLeft());
    menu->show();
    return menu;
}

FolderMenuView::FolderMenuView(const QStringList& titles, QWidget* parent)
    : QWidget(parent, Qt::Popup | Qt::FramelessWindowHint), mTitles(titles)
{
    setFixedSize(kMenuWidth, int(titles.size()) * kRowHeight + kMargin);
}

void FolderMenuView::choose(int row)
{
    if (mClosing || row < 0 || row >= mTitles.size())
        return;
    mClosing = true;
    auto* fade = new QVariantAnimation(this);
    fade->setDuration(kCloseMs);
    fade->setStartValue(1.0);
    fade->setEndValue(0.0);
    connect(fade, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        mOpacity = value.toReal();
        update();
    });
    connect(fade, &QVariantAnimation::finished, this, [this, row] {
        emit chosen(row);
        close();
    });
    fade->start();
}

int FolderMenuView::rowAt(int y) const
{
    const int row = (y - kMargin / 2) / kRowHeight;
    return row >= 0 && row < mTitles.size() ? row : -1;
}

void FolderMenuView::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setOpacity(mOpacity);
    p.fillRect(rect(), palette().color(QPalette::Window).darker(130));
    const int current = int(mTitles.size()) - 1;
    for (int row = 0; row < mTitles.size(); ++row) {
        const QRect r(kMargin + row * kIndentWidth, kMargin / 2 + row * kRowHeight,
                      width() - 2 * kMargin - row * kIndentWidth, kRowHeight);
        p.setPen(Theme::white(row == current ? 0.6 : 0.8));
        const QString text = (row > 0 ? kIndentMark : QString()) + mTitles[row];
        p.drawText(r, Qt::AlignVCenter | Qt::AlignLeft, p.fontMetrics().elidedText(text, Qt::ElideMiddle, r.width()));
    }
}

void FolderMenuView::mouseReleaseEvent(QMouseEvent* event)
{
    choose(rowAt(int(event->position().y())));
}
