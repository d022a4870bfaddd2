#pragma once
#include <QString>
#include <QStringList>
#include <optional>

// How request paths map onto the served folder. Every path from a request goes through here
// before anything touches the disk.
namespace WebPaths {

// root + the request's relative path, "." parts dropped. Empty when the path is not one we
// serve: a NUL byte, a ".." part, a part longer than the file system allows, or too long overall.
std::optional<QString> join(const QString& root, const QString& relative);

// The folders with their symbolic links resolved; those that do not exist are left out.
QStringList resolvedFolders(const QStringList& folders);
// True when the path, with symbolic links resolved as far as it exists, lies in one of the
// resolved folders. A link whose target is missing is not inside.
bool staysInside(const QString& path, const QStringList& resolvedAllowedFolders);

// A single name (an uploaded file's): not empty, no '/', no NUL, not "." or "..", not too long.
bool isValidName(const QString& name);

// "a/b" + "c" the way listings and messages show it: "/" + "c" is "/c", "" + "c" is "c".
QString appendComponent(const QString& relative, const QString& name);

// " (%i)": the path itself when free, else "name (1).ext", "name (2).ext", ...
QString uniquePathForPath(const QString& path);

}  // namespace WebPaths
