#pragma once
#include <QString>

// The desktop's URL scheme handlers, as the freedesktop.org rules register them: an
// application's .desktop file lists "x-scheme-handler/SCHEME" among its MIME types.
namespace platform::UrlHandlers {

// Whether an installed application handles the scheme (searched in the applications folders
// of $XDG_DATA_HOME and $XDG_DATA_DIRS).
bool hasHandler(const QString& scheme);

}  // namespace platform::UrlHandlers
