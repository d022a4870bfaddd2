#pragma once
#include "platform/NotificationCenter.h"

#include <QObject>

namespace platform {

// An observation for an object of the main thread: the handler runs there, at once when the
// poster is on it too (so the order against what the poster does next holds), else queued;
// never after context is gone.
ScopedObserver observeOnMain(const QString& name, QObject* context, NotificationCenter::Handler handler);

}  // namespace platform
