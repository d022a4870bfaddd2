#include "platform/Dispatch.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <future>

namespace platform {
namespace {
thread_local const QString* tCurrentQueueLabel = nullptr;
}

bool isMainThread()
{
    auto* app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

void runOnMain(std::function<void()> fn)
{
    auto* app = QCoreApplication::instance();
    if (!app)
        return;
    QMetaObject::invokeMethod(app, std::move(fn), Qt::QueuedConnection);
}

void runOnMainSync(const std::function<void()>& fn)
{
    if (isMainThread() || !QCoreApplication::instance()) {
        fn();
        return;
    }
    QMetaObject::invokeMethod(QCoreApplication::instance(), fn, Qt::BlockingQueuedConnection);
}

SerialQueue::SerialQueue(QString label) : mLabel(std::move(label)), mThread([this] { run(); }) {}

SerialQueue::~SerialQueue()
{
    {
        std::lock_guard lock(mMutex);
        mStopping = true;
    }
    mWake.notify_all();
    mThread.join();
}

void SerialQueue::async(std::function<void()> fn)
{
    {
        std::lock_guard lock(mMutex);
        mBlocks.push_back(std::move(fn));
    }
    mWake.notify_one();
}

void SerialQueue::sync(const std::function<void()>& fn)
{
    if (tCurrentQueueLabel == &mLabel) {
        fn();
        return;
    }
    std::promise<void> done;
    async([&] {
        fn();
        done.set_value();
    });
    done.get_future().wait();
}

QString SerialQueue::currentLabel()
{
    if (tCurrentQueueLabel)
        return *tCurrentQueueLabel;
    return isMainThread() ? QStringLiteral("main-thread") : QString();
}

void SerialQueue::run()
{
    tCurrentQueueLabel = &mLabel;
    for (;;) {
        std::function<void()> block;
        {
            std::unique_lock lock(mMutex);
            mWake.wait(lock, [this] { return mStopping || !mBlocks.empty(); });
            if (mBlocks.empty())
                return;
            block = std::move(mBlocks.front());
            mBlocks.pop_front();
        }
        block();
    }
}

}  // namespace platform
