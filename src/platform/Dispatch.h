#pragma once
#include <QString>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace platform {

// Queues fn on the Qt event loop's thread (the main queue).
void runOnMain(std::function<void()> fn);
// Runs fn on the main thread and waits for it; runs inline when already there.
void runOnMainSync(const std::function<void()>& fn);
bool isMainThread();

// One worker thread running blocks in FIFO order.
class SerialQueue {
public:
    explicit SerialQueue(QString label);
    ~SerialQueue();  // finishes queued blocks, then joins
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void async(std::function<void()> fn);
    // Waits until fn has run after everything queued before it; inline on the queue itself.
    void sync(const std::function<void()>& fn);
    const QString& label() const { return mLabel; }

    // The label of the queue running the caller: a serial queue's, "main-thread", or "".
    static QString currentLabel();

private:
    void run();

    QString mLabel;
    std::mutex mMutex;
    std::condition_variable mWake;
    std::deque<std::function<void()>> mBlocks;
    bool mStopping = false;
    std::thread mThread;
};

}  // namespace platform
