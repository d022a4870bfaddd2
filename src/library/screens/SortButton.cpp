#include "library/screens/SortButton.h"

#include "library/FileSort.h"

#include <QLabel>
#include <QMouseEvent>
#include <QPropertyAnimation>

namespace {
constexpr int kFlipMs = 200;
constexpr int kHeight = 36;
const QString kPrefix = QStringLiteral("SORTED BY ");
// 50 % and 80 % white over the dark bar.
const QString kRichText =
    QStringLiteral("<span style=\"color:#808080\">%1</span><span style=\"color:#cccccc\">%2</span>");
}  // namespace

SortButton::SortButton(QWidget* parent) : QWidget(parent), mLabel(new QLabel(this))
{
    mLabel->setAlignment(Qt::AlignCenter);
    mLabel->setTextFormat(Qt::RichText);
    QFont f = mLabel->font();
    f.setPointSizeF(f.pointSizeF() * 0.9);
    f.setLetterSpacing(QFont::PercentageSpacing, 105);
    mLabel->setFont(f);
    setCursor(Qt::PointingHandCursor);
    setAccessibleName(QStringLiteral("Sort"));
}

void SortButton::setMode(int mode, bool animated)
{
    const QString name = FileSort::modeName(mode);
    mPlainText = kPrefix + name;
    mLabel->setText(kRichText.arg(kPrefix, name));
    setAccessibleDescription(mPlainText);
    if (!animated || !isVisible())
        return;
    auto* flip = new QPropertyAnimation(mLabel, "pos", mLabel);
    flip->setDuration(kFlipMs);
    flip->setStartValue(QPoint(0, -height()));
    flip->setEndValue(QPoint(0, 0));
    flip->setEasingCurve(QEasingCurve::OutQuad);
    flip->start(QAbstractAnimation::DeleteWhenStopped);
}

QString SortButton::text() const { return mPlainText; }

QSize SortButton::sizeHint() const { return {mLabel->sizeHint().width() + 24, kHeight}; }

void SortButton::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
        emit clicked();
}

void SortButton::resizeEvent(QResizeEvent*) { mLabel->setGeometry(rect()); }
