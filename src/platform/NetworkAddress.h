#pragma once
#include <QString>

namespace platform {

// The IPv4 address under which other machines on the local network reach this one: the first
// of an interface that is up, running and not loopback. Empty when there is no such network.
QString primaryIPv4Address();
// The name this machine shows to its local network.
QString deviceName();

}  // namespace platform
