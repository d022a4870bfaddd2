#include "cloud/DropboxEntry.h"

namespace cloud {

std::optional<DropboxEntry> DropboxEntry::fromJson(const QJsonObject& json)
{
    const QString tag = json.value(QStringLiteral(".tag")).toString();
    if (tag != QLatin1String("file") && tag != QLatin1String("folder"))
        return std::nullopt;
    DropboxEntry entry;
    entry.isFolder = tag == QLatin1String("folder");
    entry.name = json.value(QStringLiteral("name")).toString();
    entry.pathDisplay = json.value(QStringLiteral("path_display")).toString();
    entry.pathLower = json.value(QStringLiteral("path_lower")).toString();
    if (entry.name.isEmpty() || entry.pathDisplay.isEmpty())
        return std::nullopt;
    entry.size = json.value(QStringLiteral("size")).toInteger();
    entry.contentHash = json.value(QStringLiteral("content_hash")).toString();
    entry.modified = QDateTime::fromString(json.value(QStringLiteral("server_modified")).toString(), Qt::ISODate);
    return entry;
}

}  // namespace cloud
