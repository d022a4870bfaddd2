#include "platform/Background.h"

namespace platform {

namespace {
// Transfers at once before one waits for another: Dropbox's own limits make more pointless.
constexpr int kWaitingThreads = 8;

Q_GLOBAL_STATIC(QThreadPool, gWaitingPool)
}  // namespace

QThreadPool* waitingPool()
{
    QThreadPool* pool = gWaitingPool();
    pool->setMaxThreadCount(kWaitingThreads);
    return pool;
}

}  // namespace platform
