#include "library/screens/SortButton.h"

#include "library/FileSort.h"

#include <QLabel>
#include <QPainter>
#include <QPropertyAnimation>
#include <QStyle>
#include <QStyleOptionFocusRect>

namespace {
constexpr int kFlipMs = 200;
constexpr int kHeight = 36;
constexpr int kSidePadding = 12;
const QString kPrefix = QStringLiteral("SORTED BY ");
// 50 % and 80 % white over the dark bar.
const QString kRichText =
    QStringLiteral("<span style=\"color:#808080\">%1</span><span style=\"color:#cccccc\">%2</span>");
const QString kToolTip = QStringLiteral("Sort by name, date or size");
}  // namespace

SortButton::SortButton(QWidget* parent) : QAbstractButton(parent), mLabel(new QLabel(this))
{
    mLabel->setAlignment(Qt::AlignCenter);
    mLabel->setTextFormat(Qt::RichText);
    // A rich-text label takes the mouse for its links: the presses belong to the button.
    mLabel->setAttribute(Qt::WA_TransparentForMouseEvents);
    mLabel->setTextInteractionFlags(Qt::NoTextInteraction);
    QFont f = mLabel->font();
    f.setPointSizeF(f.pointSizeF() * 0.9);
    f.setLetterSpacing(QFont::PercentageSpacing, 105);
    mLabel->setFont(f);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus);
    setAccessibleName(QStringLiteral("Sort"));
    setToolTip(kToolTip);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void SortButton::setMode(int mode, bool animated)
{
    const QString name = FileSort::modeName(mode);
    setText(kPrefix + name);
    mLabel->setText(kRichText.arg(kPrefix, name));
    setAccessibleDescription(text());
    if (!animated || !isVisible())
        return;
    auto* flip = new QPropertyAnimation(mLabel, "pos", mLabel);
    flip->setDuration(kFlipMs);
    flip->setStartValue(QPoint(0, -height()));
    flip->setEndValue(QPoint(0, 0));
    flip->setEasingCurve(QEasingCurve::OutQuad);
    flip->start(QAbstractAnimation::DeleteWhenStopped);
}

QSize SortButton::sizeHint() const { return {mLabel->sizeHint().width() + 2 * kSidePadding, kHeight}; }

// Narrow columns elide nothing here: the label is short, the button only keeps its height.
QSize SortButton::minimumSizeHint() const { return {0, kHeight}; }

void SortButton::paintEvent(QPaintEvent*)
{
    if (!hasFocus() && !isDown())
        return;
    QPainter painter(this);
    if (isDown())
        painter.fillRect(rect(), QColor(255, 255, 255, 20));
    if (hasFocus()) {
        QStyleOptionFocusRect option;
        option.initFrom(this);
        option.rect = rect().adjusted(2, 2, -2, -2);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
    }
}

void SortButton::resizeEvent(QResizeEvent*) { mLabel->setGeometry(rect()); }
