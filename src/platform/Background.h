#pragma once
#include "platform/Dispatch.h"

#include <QObject>
#include <QPointer>
#include <QThreadPool>
#include <type_traits>

namespace platform {

// Threads for work that mostly waits on the network: a transfer that runs for minutes there
// never holds up the short jobs of the shared pool (waveforms, imports, hashes).
QThreadPool* waitingPool();

// Runs job on the background pool (or the one given) and hands its result to done on the
// main thread, unless context (an object of the main thread) is gone by then. The result is
// moved across.
template <typename Job, typename Done>
void runInBackground(QObject* context, Job job, Done done, QThreadPool* pool = QThreadPool::globalInstance())
{
    pool->start(
        [context = QPointer<QObject>(context), job = std::move(job), done = std::move(done)]() mutable {
            // The context is looked at on the main thread only, where it is deleted.
            if constexpr (std::is_void_v<std::invoke_result_t<Job&>>) {
                job();
                runOnMain([context, done = std::move(done)]() mutable {
                    if (context)
                        done();
                });
            } else {
                auto result = job();
                runOnMain([context, done = std::move(done), result = std::move(result)]() mutable {
                    if (context)
                        done(result);
                });
            }
        });
}

}  // namespace platform
