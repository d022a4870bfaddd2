#include "audiofiles/editor/OutputNames.h"

#include "audiofiles/RecFormats.h"
#include "library/Utils.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace OutputNames {
namespace {

// The folder and name without extension, and the extension, of a path.
struct Parts {
    QString base;
    QString extension;
};

Parts split(const QString& path)
{
    const QFileInfo info(path);
    const QString suffix = info.suffix();
    const QString folder = info.path() + QLatin1Char('/');
    if (suffix.isEmpty() || info.fileName() == QLatin1Char('.') + suffix)
        return {folder + info.fileName(), QString()};
    return {folder + info.fileName().chopped(suffix.size() + 1), suffix};
}

QString joined(const QString& base, const QString& extension)
{
    return extension.isEmpty() ? base : base + QLatin1Char('.') + extension;
}

QString taggedPath(const QString& source, const QString& tag, const QString& extension)
{
    const QRegularExpression ending(QStringLiteral("%1(\\([0-9]+\\))?$").arg(QRegularExpression::escape(tag)));
    QString base = split(source).base;
    const QRegularExpressionMatch match = ending.match(base);
    if (match.hasMatch())
        base.truncate(match.capturedStart());
    return Utils::uniquePath(joined(base + tag, extension));
}

}  // namespace

QString trimmedPath(const QString& source)
{
    return taggedPath(source, QStringLiteral("-trimmed"), split(source).extension);
}

QString convertedPath(const QString& source, int recFormat)
{
    return taggedPath(source, QStringLiteral("-converted"), Utils::fileExtensionForRecFormat(recFormat));
}

QString normalizedPath(const QString& source)
{
    const Parts parts = split(source);
    return joined(parts.base + QStringLiteral("-normalized"), parts.extension);
}

}  // namespace OutputNames
