#include "platform/Log.h"

#include <cstdio>
#include <mutex>

namespace platform {
namespace {
std::mutex gMutex;
LogSink gSink;
}  // namespace

void log(const QString& line)
{
    std::lock_guard lock(gMutex);
    if (gSink) {
        gSink(line);
        return;
    }
    const QByteArray bytes = line.toUtf8();
    std::fwrite(bytes.constData(), 1, bytes.size(), stderr);
    std::fputc('\n', stderr);
}

void setLogSink(LogSink sink)
{
    std::lock_guard lock(gMutex);
    gSink = std::move(sink);
}

}  // namespace platform
