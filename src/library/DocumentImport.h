#pragma once
#include <QString>
#include <QStringList>

// Files and folders chosen in the document picker, brought into a library folder.
namespace DocumentImport {

// Where a picked item lands in folder: its own name, or "name(1).ext" when taken.
QString targetFor(const QString& source, const QString& folder);
// Copies each file in under a free name (the picked originals stay where they are); the last
// one becomes the new file that the browser opens. Answers the targets that arrived.
QStringList importFiles(const QStringList& files, const QString& folder);
// Copies a folder with everything in it; the target, or empty on failure (logged).
QString importFolder(const QString& source, const QString& folder);

}  // namespace DocumentImport
