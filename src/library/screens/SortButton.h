#pragma once
#include <QWidget>

class QLabel;

// "SORTED BY NAME": the browser's button that steps through the sort modes.
class SortButton : public QWidget {
    Q_OBJECT
public:
    explicit SortButton(QWidget* parent = nullptr);

    // The label for a mode; animated, the new text flips in from the top.
    void setMode(int mode, bool animated);
    QString text() const;  // the label without colours

    QSize sizeHint() const override;

signals:
    void clicked();

protected:
    void mouseReleaseEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QLabel* mLabel;
    QString mPlainText;
};
