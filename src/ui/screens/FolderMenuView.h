#pragma once
#include <QStringList>
#include <QWidget>

class NavigationController;

// The folder path menu: one row per screen of a navigation stack, root first, indented by
// depth; choosing a row returns the stack to that screen.
class FolderMenuView : public QWidget {
    Q_OBJECT
public:
    // Opens under the navigation bar when the stack holds two screens or more; answers the
    // menu or nullptr.
    static FolderMenuView* showMenuForNavigationController(NavigationController* navigation);

    FolderMenuView(const QStringList& titles, QWidget* parent);
    const QStringList& titles() const { return mTitles; }
    // Closes with a short fade, then emits chosen.
    void choose(int row);

signals:
    void chosen(int row);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    int rowAt(int y) const;

    QStringList mTitles;
    bool mClosing = false;
    qreal mOpacity = 1.0;
};
