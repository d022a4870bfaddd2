#include "library/ZipEntryTarget.h"

#include <QDir>
#include <QFileInfo>

namespace {

bool isInside(const QString& path, const QString& root)
{
    return path == root || path.startsWith(root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/'));
}

// The deepest part of path that exists, with every symbolic link in it resolved.
QString resolvedExistingPart(QString path)
{
    while (true) {
        const QString canonical = QFileInfo(path).canonicalFilePath();
        if (!canonical.isEmpty())
            return canonical;
        const QString parent = QFileInfo(path).path();
        if (parent == path)
            return {};
        path = parent;
    }
}

}  // namespace

ZipEntryTarget zipEntryTarget(const QString& folder, const QString& name, const QStringList& allowedRoots)
{
    QString normalized = name;
    normalized.replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (normalized.isEmpty() || normalized.startsWith(QLatin1Char('/')))
        return {};
    QStringList parts;
    for (const QString& part : normalized.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String(".."))
            return {};
        if (part != QLatin1String("."))
            parts << part;
    }
    if (parts.isEmpty())
        return {};

    const QString target = folder + QLatin1Char('/') + parts.join(QLatin1Char('/'));
    const QString resolved = resolvedExistingPart(target);
    const QString root = QFileInfo(folder).canonicalFilePath();
    if (resolved.isEmpty() || root.isEmpty())
        return {};
    bool inside = isInside(resolved, root);
    for (const QString& extra : allowedRoots) {
        const QString canonicalExtra = QFileInfo(extra).canonicalFilePath();
        inside = inside || (!canonicalExtra.isEmpty() && isInside(resolved, canonicalExtra));
    }
    if (!inside)
        return {};
    return {target, normalized.endsWith(QLatin1Char('/'))};
}
