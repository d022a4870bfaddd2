#pragma once
#include <QString>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <sys/types.h>
#include <thread>

namespace platform {

// Files of no name made ahead in one folder, on a thread of their own, while uploads come in.
// Creating a file is the slowest step of a small upload on some file systems (ext4 without
// a journal walks past every recently deleted inode for each one); made beside the requests,
// it delays none of them. Made only once an upload asked for one, and closed (so gone, never
// having had a name) when no upload asked for a while.
class SpareFiles {
public:
    static constexpr int kAhead = 2;
    static constexpr int kIdleSeconds = 10;

    explicit SpareFiles(QString folder);
    ~SpareFiles();  // closes every spare
    SpareFiles(const SpareFiles&) = delete;
    SpareFiles& operator=(const SpareFiles&) = delete;

    // A descriptor of a file of no name in the folder, now the caller's; -1 when none is
    // ready (or the folder is no longer the one they were made in).
    int take();
    // Has the thread make up for what was taken: called once the request's answer has left,
    // so that waking the thread does not delay it.
    void refill();

private:
    void run();
    void dropAll();  // with mMutex held

    const QString mFolder;
    std::mutex mMutex;
    std::condition_variable mWake;
    std::deque<int> mReady;
    dev_t mDevice = 0;  // the folder the ready ones were made in
    ino_t mInode = 0;
    bool mWanted = false;
    bool mStopping = false;
    std::thread mThread;
};

}  // namespace platform
