#include "ui/screens/NavigationController.h"

#include "ui/screens/NavigationTitleLabel.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QPropertyAnimation>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
constexpr int kBarHeight = 44;
constexpr int kSideWidth = 90;
constexpr int kSlideMs = 250;
}  // namespace

NavigationController::NavigationController(QWidget* rootViewController, QWidget* parent) : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    mBar = new QWidget(this);
    mBar->setFixedHeight(kBarHeight);
    auto* bar = new QHBoxLayout(mBar);
    bar->setContentsMargins(8, 0, 8, 0);
    auto* left = new QWidget(mBar);
    left->setFixedWidth(kSideWidth);
    mLeftSlot = new QHBoxLayout(left);
    mLeftSlot->setContentsMargins(0, 0, 0, 0);
    mBack = new QToolButton(left);
    mBack->setText(QStringLiteral("\u2039 Back"));
    mBack->setAutoRaise(true);
    mLeftSlot->addWidget(mBack);
    mLeftSlot->addStretch();
    mTitle = new NavigationTitleLabel(mBar);
    auto* right = new QWidget(mBar);
    right->setFixedWidth(kSideWidth);
    mRightSlot = new QHBoxLayout(right);
    mRightSlot->setContentsMargins(0, 0, 0, 0);
    mRightSlot->addStretch();
    bar->addWidget(left);
    bar->addWidget(mTitle, 1);
    bar->addWidget(right);
    layout->addWidget(mBar);

    mPages = new QStackedWidget(this);
    layout->addWidget(mPages, 1);

    connect(mBack, &QToolButton::clicked, this, [this] { popViewController(true); });
    connect(mTitle, &NavigationTitleLabel::tapped, this, [this] { emit titleTapped(topViewController()); });
    connect(mTitle, &NavigationTitleLabel::longPressed, this, [this] { emit titleLongPressed(topViewController()); });
    pushViewController(rootViewController, false);
}

void NavigationController::pushViewController(QWidget* viewController, bool animated)
{
    mStack.append(viewController);
    mPages->addWidget(viewController);
    viewController->installEventFilter(this);
    showTop(animated, true);
}

void NavigationController::popToViewController(QWidget* viewController, bool animated)
{
    const qsizetype keep = mStack.indexOf(viewController);
    if (keep < 0 || keep == mStack.size() - 1)
        return;
    const QList<QWidget*> popped = mStack.mid(keep + 1);
    mStack.resize(keep + 1);
    showTop(animated, false);
    for (QWidget* vc : popped) {
        mPages->removeWidget(vc);
        delete mLeftItems.take(vc);
        delete mRightItems.take(vc);
        vc->deleteLater();
    }
}

void NavigationController::popViewController(bool animated)
{
    if (mStack.size() > 1)
        popToViewController(mStack[mStack.size() - 2], animated);
}

void NavigationController::setLeftItem(QWidget* viewController, QWidget* item)
{
    delete mLeftItems.take(viewController);
    mLeftSlot->insertWidget(0, item);
    mLeftItems.insert(viewController, item);
    updateBar();
}

void NavigationController::setRightItem(QWidget* viewController, QWidget* item)
{
    delete mRightItems.take(viewController);
    mRightSlot->addWidget(item);
    mRightItems.insert(viewController, item);
    updateBar();
}

void NavigationController::setNavigationBarEnabled(bool enabled) { mBar->setEnabled(enabled); }

void NavigationController::setBarHiddenAtRoot(bool hidden)
{
    mBarHiddenAtRoot = hidden;
    updateBar();
}

bool NavigationController::isBarVisible() const { return !mBar->isHidden(); }

QString NavigationController::titleText() const { return mTitle->text(); }

bool NavigationController::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::WindowTitleChange && watched == topViewController())
        updateBar();
    return QWidget::eventFilter(watched, event);
}

void NavigationController::showTop(bool animated, bool forward)
{
    QWidget* top = topViewController();
    mPages->setCurrentWidget(top);
    updateBar();
    if (animated && isVisible()) {
        // Slides in from the right when going deeper, from the left when going back.
        auto* slide = new QPropertyAnimation(top, "pos", top);
        const int width = mPages->width();
        slide->setDuration(kSlideMs);
        slide->setStartValue(QPoint(forward ? width : -width, 0));
        slide->setEndValue(QPoint(0, 0));
        slide->setEasingCurve(QEasingCurve::OutCubic);
        slide->start(QAbstractAnimation::DeleteWhenStopped);
    }
    emit topViewControllerChanged(top);
}

void NavigationController::updateBar()
{
    QWidget* top = topViewController();
    mTitle->setText(top ? top->windowTitle() : QString());
    QWidget* left = mLeftItems.value(top);
    for (QWidget* item : std::as_const(mLeftItems))
        item->setVisible(item == left);
    for (auto it = mRightItems.cbegin(); it != mRightItems.cend(); ++it)
        it.value()->setVisible(it.key() == top);
    mBack->setVisible(!left && mStack.size() > 1);
    if (mStack.size() > 1)
        mBack->setToolTip(QStringLiteral("Back to %1").arg(mStack[mStack.size() - 2]->windowTitle()));
    mBar->setHidden(mBarHiddenAtRoot && mStack.size() <= 1);
}
