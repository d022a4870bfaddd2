#pragma once
#include <QString>
#include <optional>

// File-system changes of the web routes. Each one lands on a free name atomically, so two
// requests racing for one name both succeed under two names and nothing is replaced.
namespace WebFileOps {

// Renames from to the unique path for wanted; the path it got, or empty with error set.
std::optional<QString> moveToFreePath(const QString& from, const QString& wanted, QString* error);
// Creates the folders above wanted, then wanted's unique path.
std::optional<QString> createFreeDirectory(const QString& wanted, QString* error);
// Removes a file or link, or a folder with everything in it (links inside are not followed).
bool removeItem(const QString& path, QString* error);

}  // namespace WebFileOps
