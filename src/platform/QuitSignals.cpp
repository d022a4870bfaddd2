#include "platform/QuitSignals.h"

#include <QSocketNotifier>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM};
int gPipe[2] = {-1, -1};
struct sigaction gPrevious[std::size(kSignals)];

void onSignal(int signal)
{
    const int saved = errno;
    const unsigned char byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] const ssize_t n = ::write(gPipe[1], &byte, 1);
    errno = saved;
}

}  // namespace

QuitSignals::QuitSignals(std::function<void(int)> onSignal_, QObject* parent)
    : QObject(parent), mOnSignal(std::move(onSignal_))
{
    if (gPipe[0] >= 0 || ::pipe2(gPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (size_t i = 0; i < std::size(kSignals); ++i)
        sigaction(kSignals[i], &action, &gPrevious[i]);
    mNotifier = std::make_unique<QSocketNotifier>(gPipe[0], QSocketNotifier::Read);
    connect(mNotifier.get(), &QSocketNotifier::activated, this, &QuitSignals::drain);
}

QuitSignals::~QuitSignals()
{
    if (!mNotifier)
        return;
    mNotifier.reset();
    for (size_t i = 0; i < std::size(kSignals); ++i)
        sigaction(kSignals[i], &gPrevious[i], nullptr);
    ::close(gPipe[0]);
    ::close(gPipe[1]);
    gPipe[0] = gPipe[1] = -1;
}

void QuitSignals::drain()
{
    unsigned char byte = 0;
    while (::read(gPipe[0], &byte, 1) == 1)
        if (mOnSignal)
            mOnSignal(byte);
}

}  // namespace platform
