#pragma once

#include <QIcon>
#include <QStringList>

class QWidget;
class QColor;

// The program's dark appearance.
namespace Theme {

// Forces the dark palette and style on a window and everything inside it, and on the
// application's other windows (dialogs, menus, message boxes).
void applyDarkAppearance(QWidget* window);
// A push button as wide as its text, not the style's wide minimum: rows of them fit narrow
// columns. Works through the style that applyDarkAppearance sets.
void setCompact(QWidget* button);

// The first of names that the desktop's icon theme has, else fallback. A desktop without a
// theme of its own (a bare window manager) gets the one the program installs with it.
QIcon themeIcon(const QStringList& names, const QIcon& fallback = {});
// Makes sure a full icon theme is in use (idempotent); themeIcon calls it.
void useDesktopIconTheme();

// White at the given opacity over the dark background (0.5 = 50 % white).
QColor white(double alpha);

}  // namespace Theme
