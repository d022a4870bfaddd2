#include "platform/Settings.h"

#include "platform/Locations.h"
#include "platform/Log.h"

#include <QHash>
#include <QSettings>
#include <utility>
#include <memory>
#include <mutex>

namespace platform::Settings {
namespace {

std::recursive_mutex gMutex;
std::unique_ptr<QSettings> gStore;
QVariantMap gDefaults;
QHash<QString, Check> gChecks;
QHash<QString, bool> gReported;

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

void registerCheck(const QString& key, Check check)
{
    std::lock_guard lock(gMutex);
    gChecks.insert(key, std::move(check));
}

QVariant value(const QString& key)
{
    std::lock_guard lock(gMutex);
    QSettings& s = store();
    if (!s.contains(key))
        return gDefaults.value(key);
    QVariant stored = s.value(key);
    const auto check = gChecks.constFind(key);
    if (check == gChecks.constEnd() || (*check)(stored))
        return stored;
    if (!std::exchange(gReported[key], true))
        log(QStringLiteral("Ignoring the stored setting %1: using its default").arg(key));
    return gDefaults.value(key);
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
    gReported.clear();
}

}  // namespace platform::Settings
