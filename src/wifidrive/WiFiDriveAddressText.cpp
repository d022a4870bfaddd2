#include "wifidrive/WiFiDriveAddressText.h"

QString wifiDriveAddressText(bool running, const QString& serverURL, const QString& bonjourURL)
{
    if (!running)
        return QStringLiteral("Not running");
    if (serverURL.isEmpty())
        return QStringLiteral("No local network");
    if (bonjourURL.isEmpty())
        return serverURL;
    return QStringLiteral("%1\nor\n%2").arg(serverURL, bonjourURL);
}
