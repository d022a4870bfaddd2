#pragma once
#include <QString>
#include <functional>

namespace platform {

// One line per event on stderr, no levels.
void log(const QString& line);

// Redirects log lines (tests read them); an empty function restores stderr.
using LogSink = std::function<void(const QString&)>;
void setLogSink(LogSink sink);

}  // namespace platform
