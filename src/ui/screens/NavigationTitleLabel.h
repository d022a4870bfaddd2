#pragma once
#include <QLabel>
#include <QTimer>

// The navigation bar's title: a tap and a long press are two different commands.
class NavigationTitleLabel : public QLabel {
    Q_OBJECT
public:
    explicit NavigationTitleLabel(QWidget* parent = nullptr);

signals:
    void tapped();
    void longPressed();  // when the press has lasted long enough, before release

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QTimer mLongPress;
    bool mLongPressFired = false;
};
