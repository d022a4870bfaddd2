#pragma once
#include "platform/lv2/Lv2PluginInfo.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace platform::lv2 {

// The installed LV2 plugins (the standard search path, or LV2_PATH) and the URI <-> number
// map every hosted plugin shares. The scan reads descriptions only; no plugin code is loaded.
//
// A plugin whose code took the program down while it was being loaded is skipped from then
// on: loading marks it in the settings first and clears the mark afterwards, and a scan that
// finds a mark left over adds that plugin to the skipped list.
class World {
public:
    static World& shared();
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // Scans again (plugins installed or removed since).
    void refresh();
    const std::vector<PluginInfo>& plugins() const { return mPlugins; }
    const PluginInfo* find(const QString& uri) const;
    // Plugins left out because they crashed the program once.
    QStringList skippedPlugins() const;
    double lastScanSeconds() const { return mScanSeconds; }

    // Thread-safe; never called on the audio thread (every number it needs is mapped before).
    uint32_t map(const char* uri);
    const char* unmap(uint32_t id);

    // For the plugin host beside this file: the lilv world and one plugin of it.
    void* lilvWorld() const { return mWorld; }
    const void* lilvPlugin(const QString& uri) const;

    // The crash guard around loading a plugin's code.
    static void markLoading(const QString& uri);
    static void clearLoading();
    // Leaves a plugin out from now on (it crashed or hung while a child process loaded it),
    // with the reason logged.
    void skip(const QString& uri, const QString& why);

private:
    World();
    void scan();

    void* mWorld = nullptr;  // LilvWorld
    std::vector<PluginInfo> mPlugins;
    QHash<QString, const void*> mLilvPlugins;
    double mScanSeconds = 0;

    std::mutex mMapMutex;
    QHash<QByteArray, uint32_t> mIds;
    std::vector<std::unique_ptr<QByteArray>> mUris;  // stable storage for unmap
};

}  // namespace platform::lv2
