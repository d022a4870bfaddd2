#pragma once
#include <QObject>
#include <QString>
#include <functional>
#include <memory>

class QSocketNotifier;

namespace platform {

// Watches one folder's entry list with inotify (create, delete, rename in or out) and
// calls back on the thread that owns the watcher, which is the main thread for screens.
// File contents growing do not count: callers poll sizes themselves.
class FolderWatcher : public QObject {
    Q_OBJECT
public:
    explicit FolderWatcher(QObject* parent = nullptr);
    ~FolderWatcher() override;

    bool start(const QString& folder, std::function<void()> onChange);
    bool isWatching() const { return mFd >= 0; }
    void stop();

private:
    void readEvents();

    int mFd = -1;
    std::unique_ptr<QSocketNotifier> mNotifier;
    std::function<void()> mOnChange;
};

}  // namespace platform
