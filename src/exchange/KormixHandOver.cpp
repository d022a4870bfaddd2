#include "exchange/KormixHandOver.h"

#include "platform/UrlHandlers.h"

namespace KormixHandOver {

// "App Store" becomes the Linux user's software centre; the no-break space stays between its words.
QString notInstalledMessage()
{
    return QStringLiteral("Kormix is the flexible audio mixer, plugin host, recorder, and connection hub. "
                          "Multi-channel interface support, busses, fx sends, built-in EQs, and much more.\n\n"
                          "Would you like to view it in the Software\u00a0Center?");
}

QString outdatedMessage()
{
    return QStringLiteral("Your installed version of Kormix is outdated. Would you like to view it in the "
                          "Software\u00a0Center so you can update it?");
}

bool isInstalled() { return platform::UrlHandlers::hasHandler(QStringLiteral("kormix.audiobus")); }

bool canAddPlayer() { return platform::UrlHandlers::hasHandler(QStringLiteral("kormix.addplayer")); }

QUrl addPlayerUrl(const QString& path)
{
    return QUrl(QStringLiteral("kormix.addplayer:") + QString::fromLatin1(QUrl::toPercentEncoding(path, "/")));
}

QUrl downloadPage()
{
    return QUrl(platform::UrlHandlers::hasHandler(QStringLiteral("appstream")) ? kStoreUrl : kWebPage);
}

}  // namespace KormixHandOver
