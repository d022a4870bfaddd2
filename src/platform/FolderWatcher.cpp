#include "platform/FolderWatcher.h"

#include <QFile>
#include <QSocketNotifier>
#include <sys/inotify.h>
#include <unistd.h>

namespace platform {

namespace {
constexpr uint32_t kEntryListEvents =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;
}

FolderWatcher::FolderWatcher(QObject* parent) : QObject(parent) {}

FolderWatcher::~FolderWatcher() { stop(); }

bool FolderWatcher::start(const QString& folder, std::function<void()> onChange)
{
    if (mFd >= 0)
        return true;
    const int fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd < 0)
        return false;
    if (inotify_add_watch(fd, QFile::encodeName(folder).constData(), kEntryListEvents | IN_ONLYDIR) < 0) {
        ::close(fd);
        return false;
    }
    mFd = fd;
    mOnChange = std::move(onChange);
    mNotifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
    connect(mNotifier.get(), &QSocketNotifier::activated, this, &FolderWatcher::readEvents);
    return true;
}

void FolderWatcher::stop()
{
    mNotifier.reset();
    if (mFd >= 0) {
        ::close(mFd);
        mFd = -1;
    }
}

void FolderWatcher::readEvents()
{
    // Drain everything pending: one callback per burst, since callers re-list the folder anyway.
    alignas(inotify_event) char buffer[8192];
    bool any = false;
    for (;;) {
        const ssize_t n = ::read(mFd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        any = true;
    }
    if (any && mOnChange)
        mOnChange();
}

}  // namespace platform
