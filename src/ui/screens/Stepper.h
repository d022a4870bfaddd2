#pragma once
#include <QWidget>
#include <functional>

class QLabel;
class QToolButton;

// A number with "−" and "+" buttons; dragging across the number changes it too.
class Stepper : public QWidget {
    Q_OBJECT
public:
    using Formatter = std::function<QString(double)>;

    explicit Stepper(QWidget* parent = nullptr);

    double value() const { return mValue; }
    // Clamped to the range and rounded to the decimals; emits valueChanged when it changes.
    void setValue(double value);
    void setRange(double minimum, double maximum);
    void setStepValue(double step) { mStep = step; }
    void setDecimals(int decimals);
    // Steps moved per 100 points of horizontal drag.
    void setDragSensitivity(double sensitivity) { mSensitivity = sensitivity; }
    void setPrefix(const QString& prefix);
    // Replaces the plain number (after the prefix) with a text of one's own.
    void setFormatter(Formatter formatter);
    QString text() const;

signals:
    void valueChanged(double value);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refresh();

    QLabel* mLabel;
    QToolButton* mMinus;
    QToolButton* mPlus;
    double mValue = 0;
    double mMinimum = 0;
    double mMaximum = 100;
    double mStep = 1;
    int mDecimals = 0;
    double mSensitivity = 10;
    QString mPrefix;
    Formatter mFormatter;
    double mDragOriginX = 0;
    double mDragOriginValue = 0;
    bool mDragging = false;
};
