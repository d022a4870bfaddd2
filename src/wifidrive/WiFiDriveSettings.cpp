#include "wifidrive/WiFiDriveSettings.h"

#include "platform/PasswordHash.h"
#include "platform/Settings.h"
#include "wifidrive/GCDWebUploader.h"

namespace WiFiDriveSettings {

void apply(GCDWebUploader& uploader)
{
    uploader.setPasswordHash(platform::Settings::value(kPasswordKey).toString());
    uploader.setUsesHttps(https());
}

void setPassword(GCDWebUploader& uploader, const QString& password)
{
    const QString hash = password.isEmpty() ? QString() : platform::PasswordHash::make(password.toUtf8());
    if (hash.isEmpty())
        platform::Settings::remove(kPasswordKey);
    else
        platform::Settings::setValue(kPasswordKey, hash);
    platform::Settings::sync();
    uploader.setPasswordHash(hash);
}

bool hasPassword() { return !platform::Settings::value(kPasswordKey).toString().isEmpty(); }

void setHttps(GCDWebUploader& uploader, bool on)
{
    platform::Settings::setValue(kHttpsKey, on);
    platform::Settings::sync();
    uploader.setUsesHttps(on);
}

bool https() { return platform::Settings::value(kHttpsKey).toBool(); }

}  // namespace WiFiDriveSettings
