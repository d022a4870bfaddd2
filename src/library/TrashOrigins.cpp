#include "library/TrashOrigins.h"

#include "library/Utils.h"
#include "platform/ExtendedAttributes.h"

#include <QDir>

namespace TrashOrigins {
namespace {
const QString kOriginAttribute = QStringLiteral("user.wavelocker.origin");
}

bool remember(const QString& trashedPath, const QString& origin)
{
    const QString root = QDir::cleanPath(Utils::documentsURL());
    const QString clean = QDir::cleanPath(origin);
    const QString kept = clean.startsWith(root + QLatin1Char('/')) ? clean.mid(root.size() + 1) : clean;
    return platform::ExtendedAttributes::set(trashedPath, kOriginAttribute, QFile::encodeName(kept));
}

QString originOf(const QString& trashedPath)
{
    const std::optional<QByteArray> kept = platform::ExtendedAttributes::get(trashedPath, kOriginAttribute);
    if (!kept || kept->isEmpty())
        return {};
    const QString path = QFile::decodeName(*kept);
    return QDir::cleanPath(path.startsWith(QLatin1Char('/')) ? path : Utils::documentsURL() + QLatin1Char('/') + path);
}

void forget(const QString& trashedPath) { platform::ExtendedAttributes::remove(trashedPath, kOriginAttribute); }

}  // namespace TrashOrigins
