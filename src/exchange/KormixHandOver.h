#pragma once
#include <QString>
#include <QUrl>

// Handing a file to the maker's mixer app through its URL schemes: "kormix.audiobus:" says it
// is installed, "kormix.addplayer:PATH" adds the file as a player in it.
namespace KormixHandOver {

inline const QString kTitle = QStringLiteral("Kormix");
// Where the mixer is found: the desktop's software centre, else the maker's page.
inline const QString kStoreUrl = QStringLiteral("appstream://com.orvenic.Kormix");
inline const QString kWebPage = QStringLiteral("https://www.orvenic.com/kormix/");

QString notInstalledMessage();
QString outdatedMessage();

bool isInstalled();
// Whether the installed mixer takes files (older ones have no such command).
bool canAddPlayer();
QUrl addPlayerUrl(const QString& path);
// The page to offer: the software centre's when one is installed.
QUrl downloadPage();

}  // namespace KormixHandOver
