#pragma once
#include <QString>
#include <QStringList>
#include <atomic>
#include <functional>

class ZipArchiveDelegate;

// The menu's "Make Zip Archive" and "Unzip Archive" without screens. Both may run on a
// worker thread; the browser shows an overlay through the hooks and the tool a progress bar.
namespace ItemZipper {

struct Hooks {
    // The work has begun: the overlay's message and the bar's first value.
    std::function<void(const QString& message, float progress)> started;
    std::function<void(float progress)> progress;
    // Stops the work: a cancelled zip leaves no archive, a cancelled unzip no half-written
    // file (the entries already out stay).
    const std::atomic<bool>* cancel = nullptr;
};

// NAME.zip beside the item, NAME being the item's name without its extension.
QString archivePathForItem(const QString& item, const QString& folder);
// Adds the files under path (path itself when it is a file) to set; folders are not added.
void scanFilesRecurse(const QString& path, QStringList& set);

// Packs item, which lies in folder, into an archive beside it with names relative to folder.
// False when refused (the archive exists: alert) or when the archive could not be made.
bool zipItem(const QString& item, const QString& folder, ZipArchiveDelegate* delegate, const Hooks& hooks = {});
// Extracts archive into folder, replacing existing files. False when the archive cannot be
// opened (alert); entry failures go to the delegate and do not make it false.
bool unzip(const QString& archive, const QString& folder, ZipArchiveDelegate* delegate, const Hooks& hooks = {});

}  // namespace ItemZipper
