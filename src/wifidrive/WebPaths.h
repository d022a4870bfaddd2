#pragma once
#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

// How request paths map onto the served folder. Every path from a request goes through here
// before anything touches the disk.
namespace WebPaths {

// root + the request's relative path, "." parts dropped. Empty when the path is not one we
// serve: a NUL byte, a ".." part, a part longer than the file system allows, or too long overall.
std::optional<QString> join(const QString& root, const QString& relative);

// While one lives on a thread, what that thread resolves is remembered: a request that checks
// the same folders and paths several times walks them once. Each request gets its own, so
// nothing resolved for one request is taken for the next.
class RequestScope {
public:
    RequestScope();
    ~RequestScope();
    RequestScope(const RequestScope&) = delete;
    RequestScope& operator=(const RequestScope&) = delete;
    struct Memo;

private:
    std::unique_ptr<Memo> mMemo;
};

// The folders with their symbolic links resolved; those that do not exist are left out.
QStringList resolvedFolders(const QStringList& folders);
// True when the path, with symbolic links resolved as far as it exists, lies in one of the
// resolved folders. A link whose target is missing is not inside.
bool staysInside(const QString& path, const QStringList& resolvedAllowedFolders);

// The path with the symbolic links of the folders above its last component resolved; the last
// component (the item itself, perhaps a link) stays as it is. The top folder is resolved whole.
// Parts that do not exist yet are kept as they are. Empty when nothing of it exists.
std::optional<QString> resolveItem(const QString& path, const QString& topFolder);
// The path with every symbolic link resolved, as far as it exists.
std::optional<QString> resolveFully(const QString& path);
// True when the resolved path lies in one of the resolved folders (or is one).
bool isInside(const QString& resolvedPath, const QStringList& resolvedAllowedFolders);
// True when a part of the path below the allowed folder that holds it starts with "."; a path
// in none of them is checked whole.
bool hasHiddenPart(const QString& resolvedPath, const QStringList& resolvedAllowedFolders);

// An uploaded file's name as browsers (and curl) write it into a form: '"', CR and LF arrive
// as "%22", "%0D" and "%0A", and nothing else is escaped.
QString formFileName(const QString& sent);

// A single name (an uploaded file's): not empty, no '/', no NUL, not "." or "..", not too long.
bool isValidName(const QString& name);

// "a/b" + "c" the way listings and messages show it: "/" + "c" is "/c", "" + "c" is "c".
QString appendComponent(const QString& relative, const QString& name);

// The folder where uploads to the library wait (empty when the library does not exist).
QString uploadFolderFor(const QString& library);

// " (%i)": the path itself when free, else "name (1).ext", "name (2).ext", ...
QString uniquePathForPath(const QString& path);

}  // namespace WebPaths
