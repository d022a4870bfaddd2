#pragma once
#include <QString>

class QLabel;
class QVBoxLayout;
class QWidget;

// The rows of the two recording settings screens: a title at the left, the control at the
// right, and an optional subtitle below.
namespace SettingsRows {

struct Row {
    QWidget* row = nullptr;
    QLabel* title = nullptr;
    QLabel* subtitle = nullptr;  // null when the row was made without one
};

Row add(QVBoxLayout* rows, const QString& title, QWidget* control, const QString& subtitle = {});
// A row whose wide control goes under its title.
Row addStacked(QVBoxLayout* rows, const QString& title, QWidget* control);
// The screens' dark background; rows go into the returned layout, which scrolls when tall.
QVBoxLayout* makeScreen(QWidget* screen);
// Pushes screen on the navigation stack of from, or shows it as a dialog over from's window.
void show(QWidget* from, QWidget* screen);

}  // namespace SettingsRows
