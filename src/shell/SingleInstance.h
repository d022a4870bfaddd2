#pragma once
#include "shell/HandOver.h"

#include <QList>
#include <QString>
#include <optional>

// One running Wavelocker per user. The first process takes a lock in the runtime folder and
// keeps it while it lives (the kernel drops it when the process dies, however it dies), so a
// socket file left by a crashed instance is known to be stale. Later processes find the lock
// taken and hand their URLs over the socket beside it (HandOverServer), then end. Nothing
// here needs an application object: a process decides before it makes one.
class SingleInstance {
public:
    SingleInstance() = default;
    ~SingleInstance();
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    // True when this process is now the one instance (the lock is held until it ends).
    bool claim();
    // The process holding the lock, as it wrote itself in (0 when unknown).
    static qint64 ownerPid();

    // A later process: sends request to the running instance and waits for its answers,
    // which may take as long as the instance needs (a download). Empty, with error set, when
    // no instance took it within connectTimeoutMs or it went away before answering.
    static std::optional<QList<bool>> handOver(const HandOver& request, QString* error, int connectTimeoutMs = 10000);

    static QString socketPath();
    static QString lockPath();

private:
    int mLockFd = -1;
};
