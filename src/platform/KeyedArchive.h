#pragma once
#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <optional>

// Keyed archives (the NSKeyedArchiver layout: a binary property list with "$archiver",
// "$version", "$top" and an object table) whose top-level values are arrays of entries, each
// either null or bytes. Nothing else is needed of the format here, and anything else met
// when reading makes the archive unreadable rather than half-read.
namespace platform::KeyedArchive {

using Entry = std::optional<QByteArray>;  // nullopt: the archive's null marker
using Entries = QList<Entry>;

// Each key of `top` ("root" and any others) holds one array.
QByteArray write(const QMap<QString, Entries>& top);
// The array under one top-level key; nothing when the bytes are not such an archive or the
// key is absent.
std::optional<Entries> read(const QByteArray& archive, const QString& key = QStringLiteral("root"));

}  // namespace platform::KeyedArchive
