#pragma once
#include <QAbstractButton>

class QLabel;

// "SORTED BY NAME": the browser's button that steps through the sort modes. A real button
// (mouse, Space and Enter, focus, accessibility); the two-coloured label inside only draws.
class SortButton : public QAbstractButton {
    Q_OBJECT
public:
    explicit SortButton(QWidget* parent = nullptr);

    // The label for a mode; animated, the new text flips in from the top.
    void setMode(int mode, bool animated);
    // The label without colours.
    QString plainText() const { return text(); }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QLabel* mLabel;
};
