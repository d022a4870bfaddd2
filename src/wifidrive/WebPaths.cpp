#include "wifidrive/WebPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>
#include <sys/stat.h>

namespace WebPaths {
namespace {

bool taken(const QString& path)
{
    struct stat st {};
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0;
}

// realpath(3) of the longest existing head of path, with the rest appended unchanged.
std::optional<QString> resolveExisting(const QString& path)
{
    QString head = path;
    QString tail;
    while (!taken(head)) {
        const qsizetype slash = head.lastIndexOf(QLatin1Char('/'));
        if (slash <= 0)
            return std::nullopt;
        tail = head.mid(slash) + tail;
        head.truncate(slash);
    }
    std::unique_ptr<char, decltype(&std::free)> real(::realpath(QFile::encodeName(head).constData(), nullptr),
                                                     &std::free);
    if (!real)
        return std::nullopt;
    return QFile::decodeName(real.get()) + tail;
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

QStringList resolvedFolders(const QStringList& folders)
{
    QStringList resolved;
    for (const QString& folder : folders) {
        const QString real = QFileInfo(folder).canonicalFilePath();
        if (!real.isEmpty())
            resolved << real;
    }
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
