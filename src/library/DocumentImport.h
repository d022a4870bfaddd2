#pragma once
#include "library/FileActions.h"

#include <QString>
#include <QStringList>

// Files and folders chosen in the document picker, brought into a library folder. Both may
// run on a worker thread; a control stops them and hears their progress.
namespace DocumentImport {

// Where a picked item lands in folder: its own name, or "name(1).ext" when taken.
QString targetFor(const QString& source, const QString& folder);
// The bytes an import of these items copies, for its progress; nullopt when cancelled.
std::optional<quint64> bytesToImport(const QStringList& items, const std::atomic<bool>* cancel = nullptr);
// Copies each file in under a free name (the picked originals stay where they are); the last
// one becomes the new file that the browser opens. Answers the targets that arrived. A
// cancel takes back the files already in: the folder is left as it was.
QStringList importFiles(const QStringList& files, const QString& folder, FileActions::CopyControl* control = nullptr);
// Copies a folder with everything in it; the target, or empty on failure (logged) or cancel.
QString importFolder(const QString& source, const QString& folder, FileActions::CopyControl* control = nullptr);

}  // namespace DocumentImport
