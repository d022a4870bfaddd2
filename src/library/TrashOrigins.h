#pragma once
#include <QString>

// Where each item in the Trash came from, kept on the item itself (an extended attribute), so
// that it survives restarts and renames of the batch folder; a symbolic link, which can't
// carry one, by a record of its own among the program's files. Origins inside the library are
// kept relative to its root, so a moved library still puts items back in their folders.
namespace TrashOrigins {

bool remember(const QString& trashedPath, const QString& origin);
// The absolute origin, or empty when the item carries none.
QString originOf(const QString& trashedPath);
void forget(const QString& trashedPath);

}  // namespace TrashOrigins
