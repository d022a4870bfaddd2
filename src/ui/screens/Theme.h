#pragma once

class QWidget;
class QColor;

// The program's dark appearance.
namespace Theme {

// Forces the dark palette and style on a window and everything inside it, and on the
// application's other windows (dialogs, menus, message boxes).
void applyDarkAppearance(QWidget* window);
// White at the given opacity over the dark background (0.5 = 50 % white).
QColor white(double alpha);

}  // namespace Theme
