#pragma once
#include <QByteArray>
#include <QVariantMap>
#include <optional>

// Property lists through libplist: the format other audio programs read for pasteboard
// metadata. Values map as QString ↔ string, bool ↔ boolean, integers ↔ integer, float and
// double ↔ real, QByteArray ↔ data, QVariantMap ↔ dict, QVariantList ↔ array.
namespace platform::PropertyList {

// The dictionary as an XML property list; empty when a value has no property-list form.
QByteArray xmlData(const QVariantMap& dictionary);
// A dictionary from XML or binary property-list bytes; nothing when the bytes are no
// property list or their root is not a dictionary.
std::optional<QVariantMap> dictionary(const QByteArray& data);

}  // namespace platform::PropertyList
