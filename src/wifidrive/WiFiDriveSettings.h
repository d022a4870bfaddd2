#pragma once
#include <QString>

class GCDWebUploader;

// The WiFi drive's choices the user keeps: a password (stored as its slow hash, never as
// text) and HTTPS. Both off by default.
namespace WiFiDriveSettings {

inline const QString kPasswordKey = QStringLiteral("WiFiDrivePassword");
inline const QString kHttpsKey = QStringLiteral("WiFiDriveHTTPS");

// Gives the uploader what the settings hold.
void apply(GCDWebUploader& uploader);
// Keeps password (empty: none) and gives it to the uploader at once.
void setPassword(GCDWebUploader& uploader, const QString& password);
bool hasPassword();
// Keeps the choice; it takes effect at the server's next start.
void setHttps(GCDWebUploader& uploader, bool on);
bool https();

}  // namespace WiFiDriveSettings
