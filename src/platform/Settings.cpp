#include "platform/Settings.h"

#include "platform/Locations.h"

#include <QSettings>
#include <memory>
#include <mutex>

namespace platform::Settings {
namespace {

std::recursive_mutex gMutex;
std::unique_ptr<QSettings> gStore;
QVariantMap gDefaults;

QSettings& store()
{
    if (!gStore) {
        const QString path = Locations::configHome() + QStringLiteral("/Orvenic/Wavelocker.conf");
        gStore = std::make_unique<QSettings>(path, QSettings::IniFormat);
    }
    return *gStore;
}

}  // namespace

void registerDefaults(const QVariantMap& defaults)
{
    std::lock_guard lock(gMutex);
    for (auto it = defaults.begin(); it != defaults.end(); ++it)
        gDefaults.insert(it.key(), it.value());
}

QVariant value(const QString& key)
{
    std::lock_guard lock(gMutex);
    QSettings& s = store();
    return s.contains(key) ? s.value(key) : gDefaults.value(key);
}

bool contains(const QString& key)
{
    std::lock_guard lock(gMutex);
    return store().contains(key);
}

void setValue(const QString& key, const QVariant& value)
{
    std::lock_guard lock(gMutex);
    store().setValue(key, value);
}

void remove(const QString& key)
{
    std::lock_guard lock(gMutex);
    store().remove(key);
}

void sync()
{
    std::lock_guard lock(gMutex);
    store().sync();
}

void reload()
{
    std::lock_guard lock(gMutex);
    if (gStore)
        gStore->sync();
    gStore.reset();
}

}  // namespace platform::Settings
