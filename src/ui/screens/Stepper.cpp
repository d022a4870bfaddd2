#include "ui/screens/Stepper.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QToolButton>
#include <algorithm>
#include <cmath>

Stepper::Stepper(QWidget* parent)
    : QWidget(parent), mLabel(new QLabel(this)), mMinus(new QToolButton(this)), mPlus(new QToolButton(this))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    mMinus->setText(QStringLiteral("−"));
    mPlus->setText(QStringLiteral("+"));
    mMinus->setAutoRepeat(true);
    mPlus->setAutoRepeat(true);
    mLabel->setAlignment(Qt::AlignCenter);
    mLabel->setMinimumWidth(mLabel->fontMetrics().horizontalAdvance(QStringLiteral("♩= 888.8")) + 8);
    mLabel->setCursor(Qt::SizeHorCursor);
    mMinus->setToolTip(QStringLiteral("Decrease"));
    mPlus->setToolTip(QStringLiteral("Increase"));
    mLabel->setToolTip(QStringLiteral("Drag sideways to change"));
    mLabel->installEventFilter(this);
    layout->addWidget(mMinus);
    layout->addWidget(mLabel, 1);
    layout->addWidget(mPlus);
    connect(mMinus, &QToolButton::clicked, this, [this] { setValue(mValue - mStep); });
    connect(mPlus, &QToolButton::clicked, this, [this] { setValue(mValue + mStep); });
    refresh();
}

void Stepper::setValue(double value)
{
    const double scale = std::pow(10.0, mDecimals);
    value = std::round(std::clamp(value, mMinimum, mMaximum) * scale) / scale;
    if (value == mValue)
        return;
    mValue = value;
    refresh();
    emit valueChanged(mValue);
}

void Stepper::setRange(double minimum, double maximum)
{
    mMinimum = minimum;
    mMaximum = maximum;
    setValue(mValue);
}

void Stepper::setDecimals(int decimals)
{
    mDecimals = decimals;
    refresh();
}

void Stepper::setPrefix(const QString& prefix)
{
    mPrefix = prefix;
    refresh();
}

void Stepper::setFormatter(Formatter formatter)
{
    mFormatter = std::move(formatter);
    refresh();
}

QString Stepper::text() const
{
    return mLabel->text();
}

void Stepper::refresh()
{
    mLabel->setText(mPrefix + (mFormatter ? mFormatter(mValue) : QString::number(mValue, 'f', mDecimals)));
    mMinus->setEnabled(mValue > mMinimum);
    mPlus->setEnabled(mValue < mMaximum);
}

bool Stepper::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != mLabel)
        return false;
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        mDragging = true;
        mDragOriginX = static_cast<QMouseEvent*>(event)->position().x();
        mDragOriginValue = mValue;
        return true;
    case QEvent::MouseMove:
        if (mDragging) {
            const double dx = static_cast<QMouseEvent*>(event)->position().x() - mDragOriginX;
            setValue(mDragOriginValue + std::round(dx * mSensitivity / 100) * mStep);
        }
        return true;
    case QEvent::MouseButtonRelease:
        mDragging = false;
        return true;
    default:
        return false;
    }
}
