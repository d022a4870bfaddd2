#include "library/KeepExtensionName.h"

#include <QFileInfo>

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

}  // namespace KeepExtensionName
