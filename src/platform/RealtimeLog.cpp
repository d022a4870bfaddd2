#include "platform/RealtimeLog.h"

#include "platform/Log.h"
#include "platform/SpscRing.h"

#include <QString>
#include <mutex>

namespace platform::RealtimeLog {
namespace {

constexpr size_t kQueuedLines = 256;

struct Line {
    const char* format;
    int value;
};

// Built at load time, so the audio thread's first post does not run a guarded initialisation.
SpscRing<Line> gRing(kQueuedLines);
SpscRing<Line>& ring() { return gRing; }

std::mutex gDrainMutex;

}  // namespace

void post(const char* format, int value) { ring().push({format, value}); }

void drain()
{
    std::lock_guard lock(gDrainMutex);
    Line line{};
    while (ring().pop(line)) {
        QString text = QString::asprintf(line.format, line.value);
        while (text.endsWith(QLatin1Char('\n')))
            text.chop(1);
        log(text);
    }
}

}  // namespace platform::RealtimeLog
