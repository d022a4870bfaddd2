#include "platform/lv2/Lv2World.h"

#include "platform/Log.h"
#include "platform/Settings.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QUrl>
#include <algorithm>
#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/event/event.h>
#include <lv2/midi/midi.h>
#include <lv2/port-props/port-props.h>
#include <lv2/time/time.h>
#include <lv2/ui/ui.h>

namespace platform::lv2 {
namespace {

constexpr const char* kLoadingKey = "LV2PluginLoading";
constexpr const char* kSkippedKey = "LV2SkippedPlugins";

// A node made here and freed when it goes out of scope.
struct Node {
    LilvNode* node;
    Node(LilvWorld* world, const char* uri) : node(lilv_new_uri(world, uri)) {}
    explicit Node(LilvNode* n) : node(n) {}
    ~Node() { lilv_node_free(node); }
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
    operator const LilvNode*() const { return node; }
};

QString text(const LilvNode* node)
{
    if (!node)
        return {};
    return QString::fromUtf8(lilv_node_as_string(node));
}

QString localPath(const LilvNode* uri)
{
    if (!uri)
        return {};
    char* path = lilv_file_uri_parse(lilv_node_as_uri(uri), nullptr);
    const QString result = path ? QString::fromLocal8Bit(path) : QString();
    lilv_free(path);
    return result;
}

// The picture a bundle ships for itself: one whose name says so first, else any.
QString bundleIcon(const QString& bundle)
{
    QString any;
    QDirIterator it(bundle, {QStringLiteral("*.png"), QStringLiteral("*.svg")}, QDir::Files,
                    QDirIterator::Subdirectories);
    for (int seen = 0; it.hasNext() && seen < 200; ++seen) {
        const QString path = it.next();
        const QString name = it.fileName().toLower();
        if (name.contains(QLatin1String("icon")) || name.contains(QLatin1String("logo")))
            return path;
        if (any.isEmpty())
            any = path;
    }
    return any;
}

}  // namespace

World& World::shared()
{
    static World world;
    return world;
}

World::World() { scan(); }

World::~World() = default;  // the lilv world lives as long as the plugins loaded from it

void World::refresh() { scan(); }

void World::scan()
{
    QElapsedTimer timer;
    timer.start();
    // A plugin that was being loaded when the program last ended was what ended it.
    QStringList skipped = Settings::value(QLatin1String(kSkippedKey)).toStringList();
    const QString crashed = Settings::value(QLatin1String(kLoadingKey)).toString();
    if (!crashed.isEmpty()) {
        log(QStringLiteral("Skipping plugin %1 from now on: the program ended while loading it").arg(crashed));
        if (!skipped.contains(crashed))
            skipped << crashed;
        Settings::setValue(QLatin1String(kSkippedKey), skipped);
        Settings::remove(QLatin1String(kLoadingKey));
        Settings::sync();
    }

    // Loaded plugins keep pointers into the world they came from, so a rescan takes a new
    // world and keeps the old one.
    LilvWorld* world = lilv_world_new();
    lilv_world_load_all(world);
    mWorld = world;

    Node audioPort(world, LV2_CORE__AudioPort), inputPort(world, LV2_CORE__InputPort),
        outputPort(world, LV2_CORE__OutputPort), controlPort(world, LV2_CORE__ControlPort),
        atomPort(world, LV2_ATOM__AtomPort), eventPort(world, LV2_EVENT__EventPort),
        midiEvent(world, LV2_MIDI__MidiEvent), timePosition(world, LV2_TIME__Position),
        toggled(world, LV2_CORE__toggled), integer(world, LV2_CORE__integer),
        enumeration(world, LV2_CORE__enumeration), logarithmic(world, LV2_PORT_PROPS__logarithmic),
        notOnGui(world, LV2_PORT_PROPS__notOnGUI), instrumentClass(world, LV2_CORE__InstrumentPlugin),
        x11Ui(world, LV2_UI__X11UI);

    std::vector<PluginInfo> found;
    QHash<QString, const void*> lilvPlugins;
    const LilvPlugins* all = lilv_world_get_all_plugins(world);
    LILV_FOREACH (plugins, i, all) {
        const LilvPlugin* p = lilv_plugins_get(all, i);
        PluginInfo info;
        info.uri = text(lilv_plugin_get_uri(p));
        if (skipped.contains(info.uri))
            continue;
        Node name(lilv_plugin_get_name(p));
        if (!name.node || !lilv_plugin_verify(p))
            continue;  // a broken description: nothing we could load
        info.name = text(name).trimmed();
        info.bundlePath = localPath(lilv_plugin_get_bundle_uri(p));
        if (!info.bundlePath.endsWith(QLatin1Char('/')))
            info.bundlePath += QLatin1Char('/');
        info.binaryPath = localPath(lilv_plugin_get_library_uri(p));
        const LilvPluginClass* cls = lilv_plugin_get_class(p);
        info.classLabel = cls ? text(lilv_plugin_class_get_label(cls)) : QString();
        info.instrument = cls && lilv_node_equals(lilv_plugin_class_get_uri(cls), instrumentClass);
        info.iconPath = bundleIcon(info.bundlePath);
        info.hasLatency = lilv_plugin_has_latency(p);
        const uint32_t ports = lilv_plugin_get_num_ports(p);
        for (uint32_t k = 0; k < ports; ++k) {
            const LilvPort* port = lilv_plugin_get_port_by_index(p, k);
            const bool isInput = lilv_port_is_a(p, port, inputPort);
            if (lilv_port_is_a(p, port, audioPort)) {
                (isInput ? info.audioInputs : info.audioOutputs)++;
            } else if (isInput && (lilv_port_is_a(p, port, atomPort) || lilv_port_is_a(p, port, eventPort))) {
                if (lilv_port_supports_event(p, port, midiEvent))
                    info.midiInput = true;
                if (lilv_port_supports_event(p, port, timePosition))
                    info.timePosition = true;
            } else if (lilv_port_is_a(p, port, controlPort)) {
                if (lilv_port_has_property(p, port, notOnGui))
                    continue;
                ControlPort c;
                c.index = k;
                c.symbol = text(lilv_port_get_symbol(p, port));
                Node portName(lilv_port_get_name(p, port));
                c.name = portName.node ? text(portName) : c.symbol;
                LilvNode *def = nullptr, *min = nullptr, *max = nullptr;
                lilv_port_get_range(p, port, &def, &min, &max);
                c.minimum = min ? lilv_node_as_float(min) : 0.0f;
                c.maximum = max ? lilv_node_as_float(max) : 1.0f;
                c.defaultValue = def ? lilv_node_as_float(def) : c.minimum;
                lilv_node_free(def);
                lilv_node_free(min);
                lilv_node_free(max);
                c.toggled = lilv_port_has_property(p, port, toggled);
                c.integer = lilv_port_has_property(p, port, integer);
                c.enumeration = lilv_port_has_property(p, port, enumeration);
                c.logarithmic = lilv_port_has_property(p, port, logarithmic);
                if (LilvScalePoints* points = lilv_port_get_scale_points(p, port)) {
                    LILV_FOREACH (scale_points, s, points) {
                        const LilvScalePoint* point = lilv_scale_points_get(points, s);
                        c.scalePoints.append({lilv_node_as_float(lilv_scale_point_get_value(point)),
                                              text(lilv_scale_point_get_label(point))});
                    }
                    lilv_scale_points_free(points);
                    std::sort(c.scalePoints.begin(), c.scalePoints.end(),
                              [](const auto& a, const auto& b) { return a.first < b.first; });
                }
                (isInput ? info.controls : info.outputs).append(c);
            }
        }
        if (LilvUIs* uis = lilv_plugin_get_uis(p)) {
            LILV_FOREACH (uis, u, uis)
                if (lilv_ui_is_a(lilv_uis_get(uis, u), x11Ui))
                    info.hasUi = true;
            lilv_uis_free(uis);
        }
        lilvPlugins.insert(info.uri, p);
        found.push_back(std::move(info));
    }
    mPlugins = std::move(found);
    mLilvPlugins = std::move(lilvPlugins);
    mScanSeconds = double(timer.nsecsElapsed()) / 1e9;
}

const PluginInfo* World::find(const QString& uri) const
{
    const auto it = std::find_if(mPlugins.begin(), mPlugins.end(), [&](const PluginInfo& p) { return p.uri == uri; });
    return it == mPlugins.end() ? nullptr : &*it;
}

QStringList World::skippedPlugins() const { return Settings::value(QLatin1String(kSkippedKey)).toStringList(); }

const void* World::lilvPlugin(const QString& uri) const { return mLilvPlugins.value(uri); }

uint32_t World::map(const char* uri)
{
    std::lock_guard lock(mMapMutex);
    const QByteArray key(uri);
    if (const auto it = mIds.constFind(key); it != mIds.constEnd())
        return *it;
    mUris.push_back(std::make_unique<QByteArray>(key));
    const auto id = uint32_t(mUris.size());  // 0 means "no number"
    mIds.insert(key, id);
    return id;
}

const char* World::unmap(uint32_t id)
{
    std::lock_guard lock(mMapMutex);
    return id >= 1 && id <= mUris.size() ? mUris[id - 1]->constData() : nullptr;
}

void World::skip(const QString& which, const QString& why)
{
    const QString uri = which;  // which may name an entry this removes
    log(QStringLiteral("Skipping plugin %1 from now on: %2").arg(uri, why));
    // The child that crashed left its loading mark in the settings we share.
    Settings::sync();
    if (Settings::value(QLatin1String(kLoadingKey)).toString() == uri)
        Settings::remove(QLatin1String(kLoadingKey));
    QStringList skipped = Settings::value(QLatin1String(kSkippedKey)).toStringList();
    if (!skipped.contains(uri))
        skipped << uri;
    Settings::setValue(QLatin1String(kSkippedKey), skipped);
    Settings::sync();
    std::erase_if(mPlugins, [&](const PluginInfo& p) { return p.uri == uri; });
    mLilvPlugins.remove(uri);
}

void World::markLoading(const QString& uri)
{
    Settings::setValue(QLatin1String(kLoadingKey), uri);
    Settings::sync();
}

void World::clearLoading()
{
    Settings::remove(QLatin1String(kLoadingKey));
    Settings::sync();
}

}  // namespace platform::lv2
