#pragma once
#include <QString>

// Where the Dropbox client connects and as which app. Every value follows the environment at
// the moment it is asked, so tests and scripts point the client at a server of their own.
namespace cloud::DropboxConfig {

QString apiUrl();      // WAVELOCKER_DROPBOX_API_URL, else https://api.dropboxapi.com
QString contentUrl();  // WAVELOCKER_DROPBOX_CONTENT_URL, else https://content.dropboxapi.com
QString authUrl();     // WAVELOCKER_DROPBOX_AUTH_URL, else https://www.dropbox.com

// WAVELOCKER_DROPBOX_APP_KEY, else the settings key "DropboxAppKey", else the key built in
// (-DWL_DROPBOX_APP_KEY=...); empty when none is set.
QString appKey();
// What to tell the user when appKey() is empty.
QString missingAppKeyMessage();

// WAVELOCKER_DROPBOX_TOKEN: an access token that takes the place of the linked account.
QString environmentToken();

}  // namespace cloud::DropboxConfig
