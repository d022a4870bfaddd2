#include "library/KeepExtensionName.h"

#include <QFileInfo>
#include <QStringList>

namespace KeepExtensionName {

QString extension(const QString& name)
{
    const QFileInfo info(name);
    const QString suffix = info.suffix();
    return info.fileName() == QLatin1Char('.') + suffix ? QString() : suffix;
}

QString fieldText(const QString& text, const QString& originalName, bool keep)
{
    const QString ext = extension(originalName);
    if (ext.isEmpty())
        return text;
    const QString dotted = QLatin1Char('.') + ext;
    if (keep)
        return extension(text) == ext ? text.left(text.size() - dotted.size()) : text;
    return extension(text) == ext ? text : text + dotted;
}

QString finalName(const QString& typed, const QString& originalName, bool keep)
{
    const QString ext = extension(originalName);
    QString name = keep && !ext.isEmpty() ? typed + QLatin1Char('.') + ext : typed;
    name.replace(QLatin1Char('/'), QLatin1Char('_'));
    return name;
}

QString hint(const QString& typed, const QString& originalName, bool keep)
{
    if (typed.trimmed().isEmpty())
        return {};
    QStringList lines;
    if (typed.contains(QLatin1Char('/')))
        lines << QStringLiteral("\u201c/\u201d can't be part of a name: it becomes \u201c_\u201d.");
    // The WiFi drive and the folder picker leave such names out, as file managers hide them.
    if (finalName(typed, originalName, keep).startsWith(QLatin1Char('.')))
        lines << QStringLiteral("Names that start with \u201c.\u201d are hidden from the WiFi drive and the folder picker.");
    return lines.join(QLatin1Char('\n'));
}

}  // namespace KeepExtensionName
