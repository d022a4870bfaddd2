#pragma once
#include <QString>

// Process start shared by the window, the headless mode and the tool.
namespace Startup {

// The user-defaults of every subsystem, registered before anything reads them.
void registerDefaults();
// `--library DIR`: the library root for this process.
void setLibraryOverride(const QString& dir);

}  // namespace Startup
