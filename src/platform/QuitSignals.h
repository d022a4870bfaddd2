#pragma once
#include <QObject>
#include <functional>
#include <memory>

class QSocketNotifier;

namespace platform {

// Turns SIGINT and SIGTERM into a call on the thread that owns this object. The handler only
// writes the signal number into a pipe; everything else happens in the event loop.
// One instance at a time.
class QuitSignals : public QObject {
    Q_OBJECT
public:
    explicit QuitSignals(std::function<void(int signal)> onSignal, QObject* parent = nullptr);
    ~QuitSignals() override;  // restores the previous handlers

    bool isInstalled() const { return mNotifier != nullptr; }

private:
    void drain();

    std::function<void(int)> mOnSignal;
    std::unique_ptr<QSocketNotifier> mNotifier;
};

}  // namespace platform
