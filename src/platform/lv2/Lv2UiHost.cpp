#include "platform/lv2/Lv2UiHost.h"

#include "platform/Log.h"
#include "platform/lv2/Lv2World.h"

#include <cstring>
#include <dlfcn.h>
#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/options/options.h>
#include <lv2/parameters/parameters.h>
#include <lv2/ui/ui.h>
#include <lv2/urid/urid.h>
#include <suil/suil.h>
#include <vector>

namespace platform::lv2 {
namespace {

constexpr float kUpdateRate = 30;  // the interface's refresh, as update() is called

// The interface the plugin ships that suil can put in an X11 window, or none.
struct UiChoice {
    const LilvUI* ui = nullptr;
    const LilvNode* type = nullptr;
};

UiChoice chooseUi(LilvUIs* uis)
{
    auto* world = static_cast<LilvWorld*>(World::shared().lilvWorld());
    LilvNode* host = lilv_new_uri(world, LV2_UI__X11UI);
    UiChoice best;
    unsigned bestQuality = 0;
    LILV_FOREACH (uis, i, uis) {
        const LilvUI* ui = lilv_uis_get(uis, i);
        const LilvNode* type = nullptr;
        const unsigned quality = lilv_ui_is_supported(ui, suil_ui_supported, host, &type);
        if (quality > bestQuality) {
            bestQuality = quality;
            best = {ui, type};
        }
    }
    lilv_node_free(host);
    return best;
}

QString localPath(const LilvNode* uri)
{
    char* path = uri ? lilv_file_uri_parse(lilv_node_as_uri(uri), nullptr) : nullptr;
    const QString result = path ? QString::fromLocal8Bit(path) : QString();
    lilv_free(path);
    return result;
}

}  // namespace

struct UiHost::Impl {
    Plugin& plugin;
    World& world = World::shared();
    SuilHost* host = nullptr;
    SuilInstance* instance = nullptr;
    const LV2UI_Idle_Interface* idle = nullptr;
    const LV2UI_Resize* uiResize = nullptr;
    std::function<void(int, int)> resize;

    // What the interface was last told of each control port, so only changes are sent.
    std::vector<float> shown;
    std::vector<bool> known;
    LV2_URID eventTransfer = 0;

    LV2_URID_Map map{};
    LV2_URID_Unmap unmap{};
    LV2UI_Resize hostResize{};
    float sampleRate = 0, updateRate = kUpdateRate;
    std::vector<LV2_Options_Option> options;
    std::vector<LV2_Feature> featureStore;
    std::vector<const LV2_Feature*> features;

    explicit Impl(Plugin& p) : plugin(p) {}
    ~Impl()
    {
        if (instance)
            suil_instance_free(instance);
        if (host)
            suil_host_free(host);
        plugin.setCollectingOutputEvents(false);
    }

    static void write(SuilController controller, uint32_t port, uint32_t size, uint32_t protocol, const void* buffer)
    {
        auto* self = static_cast<Impl*>(controller);
        if (protocol == 0 && size == sizeof(float)) {
            float value = 0;
            std::memcpy(&value, buffer, sizeof value);
            if (self->plugin.setControlValue(port, value) && port < self->shown.size()) {
                // The interface already shows it; only a clamped value goes back to it.
                self->shown[port] = self->plugin.portValue(port);
                self->known[port] = self->shown[port] == value;
            }
        } else if (protocol == self->eventTransfer && size >= sizeof(LV2_Atom)) {
            const auto* atom = static_cast<const LV2_Atom*>(buffer);
            if (sizeof(LV2_Atom) + atom->size <= size &&
                !self->plugin.sendEvent(port, atom->type, LV2_ATOM_BODY_CONST(atom), atom->size))
                log(QStringLiteral("The interface of %1 sent more than the plugin takes in").arg(self->plugin.info().name));
        }
    }

    static uint32_t index(SuilController controller, const char* symbol)
    {
        const auto* self = static_cast<Impl*>(controller);
        const QString wanted = QString::fromUtf8(symbol);
        for (uint32_t i = 0; i < self->plugin.portCount(); ++i)
            if (self->plugin.portSymbol(i) == wanted)
                return i;
        return LV2UI_INVALID_PORT_INDEX;
    }

    void buildFeatures(uintptr_t parent)
    {
        map = {&world, [](LV2_URID_Map_Handle h, const char* u) { return static_cast<World*>(h)->map(u); }};
        unmap = {&world, [](LV2_URID_Unmap_Handle h, LV2_URID id) { return static_cast<World*>(h)->unmap(id); }};
        hostResize.handle = this;
        hostResize.ui_resize = [](LV2UI_Feature_Handle h, int width, int height) {
            auto* self = static_cast<Impl*>(h);
            if (self->resize && width > 0 && height > 0)
                self->resize(width, height);
            return 0;
        };
        sampleRate = float(plugin.sampleRate());
        const LV2_URID floatType = world.map(LV2_ATOM__Float);
        options = {{LV2_OPTIONS_INSTANCE, 0, world.map(LV2_PARAMETERS__sampleRate), sizeof(float), floatType, &sampleRate},
                   {LV2_OPTIONS_INSTANCE, 0, world.map(LV2_UI__updateRate), sizeof(float), floatType, &updateRate},
                   {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}};
        featureStore = {{LV2_URID__map, &map},
                        {LV2_URID__unmap, &unmap},
                        {LV2_UI__parent, reinterpret_cast<void*>(parent)},
                        {LV2_UI__resize, &hostResize},
                        {LV2_UI__idleInterface, nullptr},
                        {LV2_OPTIONS__options, options.data()}};
        for (const LV2_Feature& f : featureStore)
            features.push_back(&f);
        features.push_back(nullptr);
    }

    // Every control port whose value differs from what the interface shows, then whatever
    // the plugin wrote to its event outputs.
    void sendChanges()
    {
        for (uint32_t i = 0; i < shown.size(); ++i) {
            if (!plugin.isControlInput(i) && !plugin.isControlOutput(i))
                continue;
            const float value = plugin.portValue(i);
            if (known[i] && value == shown[i])
                continue;
            shown[i] = value;
            known[i] = true;
            suil_instance_port_event(instance, i, sizeof value, 0, &value);
        }
        Plugin::OutputEvent event;
        std::vector<uint8_t> atom;
        while (plugin.takeOutputEvent(&event)) {
            atom.resize(sizeof(LV2_Atom) + size_t(event.body.size()));
            const LV2_Atom header{uint32_t(event.body.size()), event.type};
            std::memcpy(atom.data(), &header, sizeof header);
            std::memcpy(atom.data() + sizeof header, event.body.constData(), size_t(event.body.size()));
            suil_instance_port_event(instance, event.port, uint32_t(atom.size()), eventTransfer, atom.data());
        }
    }
};

void UiHost::initialize() { suil_init(nullptr, nullptr, SUIL_ARG_NONE); }

bool UiHost::canShow(const Plugin& plugin)
{
    const auto* lp = static_cast<const LilvPlugin*>(World::shared().lilvPlugin(plugin.info().uri));
    LilvUIs* uis = lp ? lilv_plugin_get_uis(lp) : nullptr;
    if (!uis)
        return false;
    const bool found = chooseUi(uis).ui != nullptr;
    lilv_uis_free(uis);
    return found;
}

UiHost::UiHost(Plugin& plugin) : d(std::make_unique<Impl>(plugin)) {}

UiHost::~UiHost() = default;

std::unique_ptr<UiHost> UiHost::open(Plugin& plugin, uintptr_t parentWindow, std::function<void(int, int)> resize,
                                     QString* reason)
{
    auto fail = [&](const QString& why) -> std::unique_ptr<UiHost> {
        if (reason)
            *reason = why;
        return nullptr;
    };
    const auto* lp = static_cast<const LilvPlugin*>(World::shared().lilvPlugin(plugin.info().uri));
    LilvUIs* uis = lp ? lilv_plugin_get_uis(lp) : nullptr;
    if (!uis)
        return fail(QStringLiteral("%1 has no interface of its own").arg(plugin.info().name));
    const UiChoice choice = chooseUi(uis);
    if (!choice.ui) {
        lilv_uis_free(uis);
        return fail(QStringLiteral("%1 has no interface that fits in a window here").arg(plugin.info().name));
    }
    std::unique_ptr<UiHost> self(new UiHost(plugin));
    Impl& d = *self->d;
    d.resize = std::move(resize);
    d.eventTransfer = d.world.map(LV2_ATOM__eventTransfer);
    d.shown.assign(plugin.portCount(), 0.0f);
    d.known.assign(plugin.portCount(), false);
    d.buildFeatures(parentWindow);
    d.host = suil_host_new(&Impl::write, &Impl::index, nullptr, nullptr);
    const QByteArray pluginUri = plugin.info().uri.toUtf8();
    const QByteArray uiUri(lilv_node_as_uri(lilv_ui_get_uri(choice.ui)));
    const QByteArray bundle = localPath(lilv_ui_get_bundle_uri(choice.ui)).toLocal8Bit();
    const QByteArray binary = localPath(lilv_ui_get_binary_uri(choice.ui)).toLocal8Bit();
    const QByteArray type(lilv_node_as_uri(choice.type));
    lilv_uis_free(uis);
    // Once loaded, an interface's library stays: some register types with libraries that stay
    // loaded themselves (GLib's), and a second load registers them again and hangs.
    if (!dlopen(binary.constData(), RTLD_NOW | RTLD_NODELETE))
        return fail(QStringLiteral("The interface of %1 could not be loaded: %2")
                        .arg(plugin.info().name, QString::fromLocal8Bit(dlerror())));
    // What the plugin writes from now on is queued for the interface.
    plugin.setCollectingOutputEvents(true);
    d.instance = suil_instance_new(d.host, &d, LV2_UI__X11UI, pluginUri.constData(), uiUri.constData(),
                                   type.constData(), bundle.constData(), binary.constData(), d.features.data());
    if (!d.instance)
        return fail(QStringLiteral("The interface of %1 could not be opened").arg(plugin.info().name));
    d.idle = static_cast<const LV2UI_Idle_Interface*>(suil_instance_extension_data(d.instance, LV2_UI__idleInterface));
    d.uiResize = static_cast<const LV2UI_Resize*>(suil_instance_extension_data(d.instance, LV2_UI__resize));
    d.sendChanges();
    return self;
}

bool UiHost::update()
{
    d->sendChanges();
    if (d->idle && d->idle->idle(suil_instance_get_handle(d->instance)) != 0)
        return false;
    return true;
}

void UiHost::resized(int width, int height)
{
    if (d->uiResize && d->uiResize->ui_resize)
        d->uiResize->ui_resize(suil_instance_get_handle(d->instance), width, height);
}

}  // namespace platform::lv2
