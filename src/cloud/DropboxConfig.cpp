#include "cloud/DropboxConfig.h"

#include "platform/Settings.h"

namespace cloud::DropboxConfig {
namespace {
const QString kAppKeySetting = QStringLiteral("DropboxAppKey");

QString fromEnvironment(const char* name, const char* fallback)
{
    const QString value = qEnvironmentVariable(name);
    QString url = value.isEmpty() ? QString::fromLatin1(fallback) : value;
    while (url.endsWith(QLatin1Char('/')))
        url.chop(1);
    return url;
}
}  // namespace

QString apiUrl() { return fromEnvironment("WAVELOCKER_DROPBOX_API_URL", "https://api.dropboxapi.com"); }
QString contentUrl() { return fromEnvironment("WAVELOCKER_DROPBOX_CONTENT_URL", "https://content.dropboxapi.com"); }
QString authUrl() { return fromEnvironment("WAVELOCKER_DROPBOX_AUTH_URL", "https://www.dropbox.com"); }

QString appKey()
{
    const QString env = qEnvironmentVariable("WAVELOCKER_DROPBOX_APP_KEY").trimmed();
    if (!env.isEmpty())
        return env;
    const QString stored = platform::Settings::value(kAppKeySetting).toString().trimmed();
    if (!stored.isEmpty())
        return stored;
#ifdef WL_DROPBOX_APP_KEY
    return QStringLiteral(WL_DROPBOX_APP_KEY);
#else
    return {};
#endif
}

QString missingAppKeyMessage()
{
    return QStringLiteral("This build has no Dropbox app key. Create an app in Dropbox's App Console "
                          "(scoped access, with files.content.read and files.content.write, and the redirect "
                          "URI http://127.0.0.1), then set its key in the environment variable "
                          "WAVELOCKER_DROPBOX_APP_KEY or as DropboxAppKey in the settings file.");
}

QString environmentToken() { return qEnvironmentVariable("WAVELOCKER_DROPBOX_TOKEN"); }

}  // namespace cloud::DropboxConfig
