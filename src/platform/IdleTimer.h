#pragma once

// Keeps the desktop from blanking or sleeping while audio runs, through the session's
// screen-saver service on D-Bus. Without a session bus or the service it does nothing.
namespace platform::IdleTimer {

void setDisabled(bool disabled);
bool isDisabled();

}  // namespace platform::IdleTimer
