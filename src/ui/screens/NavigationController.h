#pragma once
#include <QHash>
#include <QList>
#include <QPointer>
#include <QWidget>

class QStackedWidget;
class QToolButton;
class QHBoxLayout;
class NavigationTitleLabel;

// A stack of screens under a navigation bar: the top screen's window title in the middle,
// a back button (or the screen's own left item) on the left. Screens on the stack are owned
// by it; a popped screen is deleted.
class NavigationController : public QWidget {
    Q_OBJECT
public:
    explicit NavigationController(QWidget* rootViewController, QWidget* parent = nullptr);

    void pushViewController(QWidget* viewController, bool animated);
    // Pops every screen above viewController (which stays).
    void popToViewController(QWidget* viewController, bool animated);
    void popViewController(bool animated);
    const QList<QWidget*>& viewControllers() const { return mStack; }
    QWidget* topViewController() const { return mStack.isEmpty() ? nullptr : mStack.last(); }
    // Shown instead of the back button while viewController is on top; owned by this bar.
    void setLeftItem(QWidget* viewController, QWidget* item);
    // Extra items at the right end of the bar while viewController is on top.
    void setRightItem(QWidget* viewController, QWidget* item);
    void setNavigationBarEnabled(bool enabled);
    // With only the root screen on the stack the bar is hidden: a root that carries its own
    // title and buttons keeps the room.
    void setBarHiddenAtRoot(bool hidden);
    bool isBarVisible() const;
    QString titleText() const;

signals:
    void titleTapped(QWidget* topViewController);
    void titleLongPressed(QWidget* topViewController);
    void topViewControllerChanged(QWidget* topViewController);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showTop(bool animated, bool forward);
    void updateBar();

    QList<QWidget*> mStack;
    QWidget* mBar;
    QHBoxLayout* mLeftSlot;
    QHBoxLayout* mRightSlot;
    QToolButton* mBack;
    NavigationTitleLabel* mTitle;
    QStackedWidget* mPages;
    QHash<QWidget*, QWidget*> mLeftItems;
    QHash<QWidget*, QWidget*> mRightItems;
    bool mBarHiddenAtRoot = false;
};
