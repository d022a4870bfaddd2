#pragma once
#include <QString>

// Where the program keeps its files. Every location follows the XDG variables at the
// moment it is asked, so tests can point them at a temporary tree.
namespace platform::Locations {

QString dataHome();    // $XDG_DATA_HOME or ~/.local/share
QString cacheHome();   // $XDG_CACHE_HOME or ~/.cache
QString configHome();  // $XDG_CONFIG_HOME or ~/.config

// The settings key of the library folder the user chose (empty: the app-group folder).
inline constexpr const char* kLibraryFolderSetting = "LibraryFolder";

// `--library DIR` wins over WAVELOCKER_LIBRARY, which wins over the chosen library folder,
// which wins over the app-group folder.
void setLibraryOverride(const QString& dir);
QString libraryRoot();
// Whether --library or WAVELOCKER_LIBRARY decides the library for this process.
bool libraryIsOverridden();
// The shared container the library root lives in; empty when the root was overridden,
// since then there is no container of ours to migrate from.
QString appGroupContainer();
QString privateDocuments();
QString appLibrary();
QString pasteboards();
// Private temporary folder (mode 0700), created on demand.
QString tempDir();
// What was read about compressed audio files, kept between runs; not created.
QString fileInformationCache();
// Where each process notes the folders it writes part files in (see PartFile); not created.
QString partRecords();
// The packet indexes of frame-by-frame files (MP3 and the like) kept between runs; not created.
QString packetIndexes();
// Where the running instance's socket and lock live: $XDG_RUNTIME_DIR, or the temporary
// folder when the session has none (both private to the user).
QString runtimeDir();

}  // namespace platform::Locations
