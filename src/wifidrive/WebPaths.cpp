#include "wifidrive/WebPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <sys/stat.h>

namespace WebPaths {

struct RequestScope::Memo {
    QHash<QString, std::optional<QString>> real;  // realpath of existing paths
    QHash<QString, bool> exists;
    QHash<QStringList, QStringList> folders;
    QList<std::pair<QString, QString>> roots;  // folders checked by this request: name, resolved
};

namespace {

bool taken(const QString& path)
{
    struct stat st {};
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0;
}

using Memo = RequestScope::Memo;
// What the request this thread serves has resolved so far; null outside a request.
thread_local Memo* tMemo = nullptr;
// A request that walks a whole tree (a search) starts over past this many paths.
constexpr qsizetype kMemoPaths = 4096;

bool existsMemo(const QString& path)
{
    if (!tMemo)
        return taken(path);
    const auto it = tMemo->exists.constFind(path);
    if (it != tMemo->exists.cend())
        return *it;
    const bool found = taken(path);
    if (tMemo->exists.size() >= kMemoPaths)
        tMemo->exists.clear();
    tMemo->exists.insert(path, found);
    return found;
}

// Below a folder this request has checked, only the parts under it need looking at: when
// none of them is a link, the resolved path is the folder's resolved path and the same parts.
std::optional<QString> resolveBelowRoot(const QString& path)
{
    for (const auto& [name, resolved] : tMemo->roots) {
        if (path == name)
            return resolved;
        if (!path.startsWith(name) || path.at(name.size()) != QLatin1Char('/'))
            continue;
        QString at = resolved;
        for (const QStringView part : QStringView(path).mid(name.size() + 1).split(QLatin1Char('/'))) {
            if (part.isEmpty() || part == QLatin1String(".") || part == QLatin1String(".."))
                return std::nullopt;
            at += QLatin1Char('/');
            at += part;
            struct stat st {};
            if (::lstat(QFile::encodeName(at).constData(), &st) != 0 || S_ISLNK(st.st_mode))
                return std::nullopt;
        }
        return at;
    }
    return std::nullopt;
}

std::optional<QString> realPath(const QString& path)
{
    if (tMemo) {
        const auto it = tMemo->real.constFind(path);
        if (it != tMemo->real.cend())
            return *it;
        if (std::optional<QString> below = resolveBelowRoot(path)) {
            tMemo->real.insert(path, below);
            return below;
        }
    }
    std::unique_ptr<char, decltype(&std::free)> real(::realpath(QFile::encodeName(path).constData(), nullptr),
                                                     &std::free);
    const std::optional<QString> found = real ? std::optional<QString>(QFile::decodeName(real.get())) : std::nullopt;
    if (tMemo) {
        if (tMemo->real.size() >= kMemoPaths)
            tMemo->real.clear();
        tMemo->real.insert(path, found);
    }
    return found;
}

// realpath(3) of the longest existing head of path, with the rest appended unchanged.
std::optional<QString> resolveExisting(const QString& path)
{
    QString head = path;
    QString tail;
    while (!existsMemo(head)) {
        const qsizetype slash = head.lastIndexOf(QLatin1Char('/'));
        if (slash <= 0)
            return std::nullopt;
        tail = head.mid(slash) + tail;
        head.truncate(slash);
    }
    const std::optional<QString> real = realPath(head);
    if (!real)
        return std::nullopt;
    return *real + tail;
}

// A folder as resolved before, kept while its name and its resolved path both still lead to
// the folder that was resolved: a link swapped since then, above it or in its place, shows as
// another folder and the name is resolved again.
struct KnownFolder {
    QString resolved;
    dev_t device = 0;
    ino_t inode = 0;
};
std::mutex gKnownMutex;
QHash<QString, KnownFolder> gKnown;

bool leadsTo(const QString& path, const KnownFolder& folder)
{
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_dev == folder.device
           && st.st_ino == folder.inode;
}

QString resolvedFolder(const QString& folder)
{
    {
        std::lock_guard lock(gKnownMutex);
        const auto it = gKnown.constFind(folder);
        if (it != gKnown.cend() && leadsTo(folder, *it) && (it->resolved == folder || leadsTo(it->resolved, *it)))
            return it->resolved;
    }
    KnownFolder known;
    known.resolved = QFileInfo(folder).canonicalFilePath();
    struct stat st {};
    if (known.resolved.isEmpty() || ::stat(QFile::encodeName(known.resolved).constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return known.resolved;
    known.device = st.st_dev;
    known.inode = st.st_ino;
    std::lock_guard lock(gKnownMutex);
    if (gKnown.size() > 64)
        gKnown.clear();
    gKnown.insert(folder, known);
    return known.resolved;
}

}  // namespace

std::optional<QString> join(const QString& root, const QString& relative)
{
    if (relative.contains(QChar(0)))
        return std::nullopt;
    QStringList parts;
    for (const QString& part : relative.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String(".."))
            return std::nullopt;
        if (part == QLatin1String("."))
            continue;
        if (QFile::encodeName(part).size() > NAME_MAX)
            return std::nullopt;
        parts << part;
    }
    const QString path = parts.isEmpty() ? root : root + QLatin1Char('/') + parts.join(QLatin1Char('/'));
    if (QFile::encodeName(path).size() >= PATH_MAX)
        return std::nullopt;
    return path;
}

RequestScope::RequestScope()
{
    // An inner scope leaves the outer one's memo in place.
    if (!tMemo) {
        mMemo = std::make_unique<Memo>();
        tMemo = mMemo.get();
    }
}

RequestScope::~RequestScope()
{
    if (mMemo)
        tMemo = nullptr;
}

QStringList resolvedFolders(const QStringList& folders)
{
    if (tMemo) {
        const auto it = tMemo->folders.constFind(folders);
        if (it != tMemo->folders.cend())
            return *it;
    }
    QStringList resolved;
    for (const QString& folder : folders) {
        const QString real = resolvedFolder(folder);
        if (real.isEmpty())
            continue;
        resolved << real;
        if (tMemo)
            tMemo->roots.append({QDir::cleanPath(folder), real});
    }
    if (tMemo)
        tMemo->folders.insert(folders, resolved);
    return resolved;
}

bool staysInside(const QString& path, const QStringList& resolvedAllowedFolders)
{
    const std::optional<QString> real = resolveExisting(path);
    return real && isInside(*real, resolvedAllowedFolders);
}

bool isInside(const QString& resolvedPath, const QStringList& resolvedAllowedFolders)
{
    return std::any_of(resolvedAllowedFolders.begin(), resolvedAllowedFolders.end(), [&](const QString& folder) {
        return resolvedPath == folder || resolvedPath.startsWith(folder + QLatin1Char('/'));
    });
}

std::optional<QString> resolveFully(const QString& path) { return resolveExisting(path); }

std::optional<QString> resolveItem(const QString& path, const QString& topFolder)
{
    const QString top = QDir::cleanPath(topFolder);
    if (QDir::cleanPath(path) == top)
        return resolveExisting(top);
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return std::nullopt;
    const std::optional<QString> folder = resolveExisting(slash == 0 ? QStringLiteral("/") : path.left(slash));
    if (!folder)
        return std::nullopt;
    return (folder->endsWith(QLatin1Char('/')) ? *folder : *folder + QLatin1Char('/')) + path.mid(slash + 1);
}

bool hasHiddenPart(const QString& resolvedPath, const QStringList& resolvedAllowedFolders)
{
    // Below the innermost allowed folder that holds it.
    QString below = resolvedPath;
    for (const QString& folder : resolvedAllowedFolders) {
        if (resolvedPath == folder)
            return false;
        if (resolvedPath.startsWith(folder + QLatin1Char('/')) && resolvedPath.size() - folder.size() - 1 < below.size())
            below = resolvedPath.mid(folder.size() + 1);
    }
    const QStringList parts = below.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    return std::any_of(parts.begin(), parts.end(), [](const QString& part) { return part.startsWith(QLatin1Char('.')); });
}

QString formFileName(const QString& sent)
{
    QString name;
    name.reserve(sent.size());
    for (qsizetype i = 0; i < sent.size(); ++i) {
        const QStringView code = QStringView(sent).mid(i + 1, 2);
        const QChar decoded = code.compare(u"22", Qt::CaseInsensitive) == 0   ? QLatin1Char('"')
                              : code.compare(u"0D", Qt::CaseInsensitive) == 0 ? QLatin1Char('\r')
                              : code.compare(u"0A", Qt::CaseInsensitive) == 0 ? QLatin1Char('\n')
                                                                              : QChar();
        if (sent.at(i) == QLatin1Char('%') && !decoded.isNull()) {
            name += decoded;
            i += 2;
        } else {
            name += sent.at(i);
        }
    }
    return name;
}

bool isValidName(const QString& name)
{
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && !name.contains(QChar(0))
           && name != QLatin1String(".") && name != QLatin1String("..")
           && QFile::encodeName(name).size() <= NAME_MAX;
}

QString appendComponent(const QString& relative, const QString& name)
{
    if (relative.isEmpty())
        return name;
    QString base = relative;
    while (base.size() > 1 && base.endsWith(QLatin1Char('/')))
        base.chop(1);
    return base.endsWith(QLatin1Char('/')) ? base + name : base + QLatin1Char('/') + name;
}

QString uniquePathForPath(const QString& path)
{
    if (!taken(path))
        return path;
    const QFileInfo info(path);
    const QString name = info.fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    // A leading point starts a hidden name, not an extension.
    const QString stem = dot > 0 ? name.left(dot) : name;
    const QString extension = dot > 0 ? name.mid(dot) : QString();
    const QString folder = path.left(path.size() - name.size());
    for (int i = 1;; ++i) {
        const QString candidate = folder + stem + QStringLiteral(" (%1)").arg(i) + extension;
        if (!taken(candidate))
            return candidate;
    }
}

QString uploadFolderFor(const QString& uploadDirectory)
{
    // Received files are renamed into the library, so they wait on its file system: beside
    // the library when its folder shares the file system with the one above, else inside it
    // (a library that is a mount point of its own).
    const QString library = QFileInfo(uploadDirectory).canonicalFilePath();
    struct stat top {}, above {};
    if (library.isEmpty() || ::stat(QFile::encodeName(library).constData(), &top) != 0)
        return {};
    const QString parent = QFileInfo(library).path();
    const bool shared = library != parent && ::stat(QFile::encodeName(parent).constData(), &above) == 0
                        && above.st_dev == top.st_dev;
    return (shared ? parent : library) + QStringLiteral("/.wavelocker-uploads");
}

}  // namespace WebPaths
