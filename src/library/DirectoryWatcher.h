#pragma once
#include <QObject>
#include <QString>
#include <memory>

namespace platform {
class FolderWatcher;
}

class DirectoryWatcher;

class DirectoryWatcherDelegate {
public:
    virtual void directoryDidChange(DirectoryWatcher* watcher) = 0;

protected:
    ~DirectoryWatcherDelegate() = default;
};

// Tells its delegate, on the main thread, when a folder's entry list changes.
class DirectoryWatcher : public QObject {
    Q_OBJECT
public:
    explicit DirectoryWatcher(DirectoryWatcherDelegate* delegate, QObject* parent = nullptr);
    ~DirectoryWatcher() override;

    // A watcher already watching path; empty when the folder can't be watched.
    static std::unique_ptr<DirectoryWatcher> watchFolderWithPath(const QString& path,
                                                                 DirectoryWatcherDelegate* delegate);
    // True when watching (already or now).
    bool startMonitoringDirectory(const QString& path);
    void invalidate();
    const QString& path() const { return mPath; }

private:
    DirectoryWatcherDelegate* mDelegate;
    QString mPath;
    std::unique_ptr<platform::FolderWatcher> mWatcher;
};
