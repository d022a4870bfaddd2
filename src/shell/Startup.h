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
// Removes what killed operations left: their part files in the library and in the web
// drive's upload folder, and every file of the temporary folder not touched since
// processStart whose lock nobody holds. The unfinished recording stays for the recovery.
void removeLeftovers(const QDateTime& processStart);
// `--library DIR`: the library root for this process.
void setLibraryOverride(const QString& dir);

}  // namespace Startup
