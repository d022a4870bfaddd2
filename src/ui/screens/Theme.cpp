#include "ui/screens/Theme.h"

#include <QApplication>
#include <QColor>
#include <QPalette>
#include <QWidget>

namespace Theme {
namespace {
const QColor kWindow(0x1c, 0x1c, 0x1e);
const QColor kBase(0x12, 0x12, 0x14);
const QColor kButton(0x2c, 0x2c, 0x2e);
const QColor kHighlight(0x0a, 0x5c, 0xc4);
}  // namespace

QColor white(double alpha)
{
    QColor c(Qt::white);
    c.setAlphaF(float(alpha));
    return c;
}

void applyDarkAppearance(QWidget* window)
{
    // A widget's own style doesn't reach its children, so the style is the application's.
    QApplication::setStyle(QStringLiteral("Fusion"));
    QPalette p;
    p.setColor(QPalette::Window, kWindow);
    p.setColor(QPalette::WindowText, Qt::white);
    p.setColor(QPalette::Base, kBase);
    p.setColor(QPalette::AlternateBase, kWindow);
    p.setColor(QPalette::Text, Qt::white);
    p.setColor(QPalette::PlaceholderText, white(0.4));
    p.setColor(QPalette::Button, kButton);
    p.setColor(QPalette::ButtonText, Qt::white);
    p.setColor(QPalette::Highlight, kHighlight);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::ToolTipBase, kButton);
    p.setColor(QPalette::ToolTipText, Qt::white);
    p.setColor(QPalette::Disabled, QPalette::Text, white(0.4));
    p.setColor(QPalette::Disabled, QPalette::WindowText, white(0.4));
    p.setColor(QPalette::Disabled, QPalette::ButtonText, white(0.4));
    // The application's palette, so that dialogs, menus and message boxes are dark as well.
    QApplication::setPalette(p);
    window->setPalette(p);
    window->setAutoFillBackground(true);
}

}  // namespace Theme
