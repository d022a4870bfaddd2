#include "platform/SpareFiles.h"

#include "platform/PartFile.h"

#include <QFile>
#include <chrono>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

bool folderIdentity(const QString& folder, dev_t* device, ino_t* inode)
{
    struct stat st {};
    if (::stat(QFile::encodeName(folder).constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return false;
    *device = st.st_dev;
    *inode = st.st_ino;
    return true;
}

}  // namespace

SpareFiles::SpareFiles(QString folder) : mFolder(std::move(folder)), mThread([this] { run(); }) {}

SpareFiles::~SpareFiles()
{
    {
        std::lock_guard lock(mMutex);
        mStopping = true;
    }
    mWake.notify_all();
    mThread.join();
    std::lock_guard lock(mMutex);
    dropAll();
}

int SpareFiles::take()
{
    dev_t device = 0;
    ino_t inode = 0;
    const bool known = folderIdentity(mFolder, &device, &inode);
    int fd = -1;
    {
        std::lock_guard lock(mMutex);
        mWanted = true;
        // Made in a folder that has since been replaced: none of them will do.
        if (!mReady.empty() && (!known || device != mDevice || inode != mInode))
            dropAll();
        if (!mReady.empty()) {
            fd = mReady.front();
            mReady.pop_front();
        }
    }
    return fd;
}

void SpareFiles::refill()
{
    {
        std::lock_guard lock(mMutex);
        if (!mWanted || int(mReady.size()) >= kAhead)
            return;
    }
    mWake.notify_one();
}

void SpareFiles::dropAll()
{
    for (const int fd : mReady)
        ::close(fd);
    mReady.clear();
}

void SpareFiles::run()
{
    std::unique_lock lock(mMutex);
    while (!mStopping) {
        if (!mWanted || int(mReady.size()) >= kAhead) {
            // Uploads stopped asking: what is ready goes.
            if (!mWake.wait_for(lock, std::chrono::seconds(kIdleSeconds), [this] {
                    return mStopping || (mWanted && int(mReady.size()) < kAhead);
                })) {
                dropAll();
                mWanted = false;
            }
            continue;
        }
        lock.unlock();
        dev_t device = 0;
        ino_t inode = 0;
        // The folder's identity before the file: a folder swapped in between fails take()'s check.
        const bool known = folderIdentity(mFolder, &device, &inode);
        const int fd = known ? PartFile::createUnnamed(mFolder) : -1;
        lock.lock();
        if (fd < 0) {
            mWanted = false;  // no such files here (or no folder): the requests make their own
            continue;
        }
        if (mReady.empty() || device != mDevice || inode != mInode) {
            dropAll();
            mDevice = device;
            mInode = inode;
        }
        mReady.push_back(fd);
    }
}

}  // namespace platform
