#include "ui/screens/ElidedLabel.h"

#include <QFontMetrics>

namespace {
constexpr int kMinimumCharacters = 6;
}  // namespace

ElidedLabel::ElidedLabel(const QString& text, QWidget* parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    setFullText(text);
}

void ElidedLabel::setFullText(const QString& text)
{
    mFullText = text;
    setToolTip(text);
    elide();
    updateGeometry();
}

QSize ElidedLabel::minimumSizeHint() const
{
    return {fontMetrics().averageCharWidth() * kMinimumCharacters, QLabel::minimumSizeHint().height()};
}

QSize ElidedLabel::sizeHint() const
{
    return {fontMetrics().horizontalAdvance(mFullText) + 2 * margin() + 4, QLabel::sizeHint().height()};
}

void ElidedLabel::resizeEvent(QResizeEvent* event)
{
    QLabel::resizeEvent(event);
    elide();
}

void ElidedLabel::elide()
{
    const int room = contentsRect().width() - 2 * margin();
    setText(fontMetrics().elidedText(mFullText, Qt::ElideMiddle, std::max(room, 0)));
}
