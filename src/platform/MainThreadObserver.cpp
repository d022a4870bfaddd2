#include "platform/MainThreadObserver.h"

#include "platform/Dispatch.h"

#include <QPointer>

namespace platform {

ScopedObserver observeOnMain(const QString& name, QObject* context, NotificationCenter::Handler handler)
{
    return ScopedObserver(name, [context = QPointer(context), handler = std::move(handler)](const Notification& n) {
        if (isMainThread()) {
            if (context)
                handler(n);
            return;
        }
        runOnMain([context, handler, n] {
            if (context)
                handler(n);
        });
    });
}

}  // namespace platform
