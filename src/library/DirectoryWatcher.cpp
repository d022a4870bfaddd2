#include "library/DirectoryWatcher.h"

#include "platform/FolderWatcher.h"

DirectoryWatcher::DirectoryWatcher(DirectoryWatcherDelegate* delegate, QObject* parent)
    : QObject(parent), mDelegate(delegate)
{
}

DirectoryWatcher::~DirectoryWatcher() { invalidate(); }

std::unique_ptr<DirectoryWatcher> DirectoryWatcher::watchFolderWithPath(const QString& path,
                                                                        DirectoryWatcherDelegate* delegate)
{
    auto watcher = std::make_unique<DirectoryWatcher>(delegate);
    if (!watcher->startMonitoringDirectory(path))
        return nullptr;
    return watcher;
}

bool DirectoryWatcher::startMonitoringDirectory(const QString& path)
{
    if (mWatcher && mWatcher->isWatching())
        return true;
    auto watcher = std::make_unique<platform::FolderWatcher>();
    if (!watcher->start(path, [this] {
            if (mDelegate)
                mDelegate->directoryDidChange(this);
        }))
        return false;
    mPath = path;
    mWatcher = std::move(watcher);
    return true;
}

void DirectoryWatcher::invalidate() { mWatcher.reset(); }
