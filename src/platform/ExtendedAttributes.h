#pragma once
#include <QByteArray>
#include <QString>
#include <optional>

// Small named values kept by the file system on a file or folder itself ("user." attributes),
// so they travel with it through renames. Links are never followed: the value belongs to the
// item at path. File systems (and links) that keep no such values answer false / nullopt.
namespace platform::ExtendedAttributes {

bool set(const QString& path, const QString& name, const QByteArray& value);
std::optional<QByteArray> get(const QString& path, const QString& name);
// True when the value is gone afterwards (also when there was none).
bool remove(const QString& path, const QString& name);

}  // namespace platform::ExtendedAttributes
