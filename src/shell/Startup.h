#pragma once
#include <QDateTime>
#include <QString>
#include <QStringList>

// Process start shared by the window, the headless mode and the tool.
namespace Startup {

// The user-defaults of every subsystem, registered before anything reads them.
void registerDefaults();
// The keys of the settings table, each with its default and its check.
QStringList settingKeys();
// Where to look for the part files of killed operations: the whole library and the web
// drive's upload folder (the window and the server, which start once), or only the folders
// the killed processes noted (each command of the tool, which must start at once).
enum class Sweep { Library, Recorded };
// Removes what killed operations left: their part files, and every file of the temporary
// folder not touched since processStart whose lock nobody holds. The unfinished recording
// stays for the recovery.
void removeLeftovers(const QDateTime& processStart, Sweep sweep = Sweep::Library);
// `--library DIR`: the library root for this process.
void setLibraryOverride(const QString& dir);

}  // namespace Startup
