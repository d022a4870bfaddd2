#pragma once
#include <QByteArray>
#include <QString>
#include <sys/stat.h>

// The JSON of listed items, written directly: a thousand small objects through QJsonArray
// cost more than reading the disk.
namespace WebListingJson {

void appendString(QByteArray& out, const QString& text);
// {"path": relative (with "/" after a folder), "name", "date": seconds since 1970, "size" for files}
void appendItem(QByteArray& out, const QString& relativePath, const QString& name, const struct stat& item);

}  // namespace WebListingJson
