#pragma once
#include <QLayout>
#include <QList>

// A row of controls that wraps onto further rows when the width runs out, so that a narrow
// column never grows the window. Items keep their size hints; each row is left-aligned, and
// an item added with alignRight() goes to the end of the last row.
class FlowLayout : public QLayout {
public:
    explicit FlowLayout(QWidget* parent = nullptr, int spacing = 6);
    ~FlowLayout() override;

    void addItem(QLayoutItem* item) override;
    // The widget sits at the right end of its row (the row's remaining space before it).
    void addRightAlignedWidget(QWidget* widget);
    int count() const override;
    QLayoutItem* itemAt(int index) const override;
    QLayoutItem* takeAt(int index) override;

    Qt::Orientations expandingDirections() const override { return {}; }
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize minimumSize() const override;
    QSize sizeHint() const override;
    void setGeometry(const QRect& rect) override;

private:
    int doLayout(const QRect& rect, bool apply) const;

    QList<QLayoutItem*> mItems;
    int mSpacing;
};
