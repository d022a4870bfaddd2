#include "platform/NetworkAddress.h"

#include <QHostAddress>
#include <QNetworkInterface>
#include <QSysInfo>

namespace platform {

QString primaryIPv4Address()
{
    for (const QNetworkInterface& iface : QNetworkInterface::allInterfaces()) {
        const auto flags = iface.flags();
        if (!(flags & QNetworkInterface::IsUp) || !(flags & QNetworkInterface::IsRunning)
            || (flags & QNetworkInterface::IsLoopBack))
            continue;
        for (const QNetworkAddressEntry& entry : iface.addressEntries()) {
            const QHostAddress ip = entry.ip();
            if (ip.protocol() == QAbstractSocket::IPv4Protocol && !ip.isLoopback())
                return ip.toString();
        }
    }
    return {};
}

QString deviceName() { return QSysInfo::machineHostName(); }

}  // namespace platform
