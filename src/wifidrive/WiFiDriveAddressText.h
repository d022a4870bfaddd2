#pragma once
#include <QString>

// The WiFi drive screen's address label: "Not running", "No local network", the address alone
// while Bonjour is not (yet) registered, or both addresses on three lines.
QString wifiDriveAddressText(bool running, const QString& serverURL, const QString& bonjourURL);
