#pragma once
#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <functional>

// The user-defaults store: QSettings for organisation "Orvenic", application "Wavelocker",
// with defaults registered in code at start. Safe from any thread.
namespace platform::Settings {

// Registered defaults answer for keys that were never stored; they are not written.
void registerDefaults(const QVariantMap& defaults);
// Whether a value read from disk may be used for key; a stored value that fails it (wrong
// type, out of range, damaged file) answers as the registered default, logged once.
using Check = std::function<bool(const QVariant&)>;
void registerCheck(const QString& key, Check check);
QVariant value(const QString& key);
bool contains(const QString& key);  // stored, not merely defaulted
void setValue(const QString& key, const QVariant& value);
void remove(const QString& key);
void sync();
// Re-reads the backing file's location from the environment (tests switch XDG trees).
void reload();

}  // namespace platform::Settings
