#pragma once

// Shows alerts as dialogs with one "OK" button, over the screen that asked or the active window.
namespace MessageBoxAlerts {

void install();

}  // namespace MessageBoxAlerts
