/* An interface for the probe plugin that a test drives from outside: it keeps what the host
 * tells it of each port and, at its next idle call, writes what the test asked it to. */
#include <lv2/atom/atom.h>
#include <lv2/ui/ui.h>
#include <lv2/urid/urid.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#define PORTS 16

typedef struct {
    LV2UI_Write_Function write;
    LV2UI_Controller controller;
    LV2_URID eventTransfer, atomInt;
} ProbeUi;

static float gValues[PORTS];
static int gEvents;
static uintptr_t gParent;
static float gPendingGain = -1;
static int gPendingInt;
static int gClose;

LV2_SYMBOL_EXPORT float probe_ui_value(uint32_t port) { return port < PORTS ? gValues[port] : -1; }
LV2_SYMBOL_EXPORT int probe_ui_events(void) { return gEvents; }
LV2_SYMBOL_EXPORT uintptr_t probe_ui_parent(void) { return gParent; }
LV2_SYMBOL_EXPORT void probe_ui_set_gain(float gain) { gPendingGain = gain; }
LV2_SYMBOL_EXPORT void probe_ui_send_int(int value) { gPendingInt = value; }
LV2_SYMBOL_EXPORT void probe_ui_request_close(void) { gClose = 1; }

static LV2UI_Handle instantiate(const LV2UI_Descriptor* d, const char* plugin, const char* bundle,
                                LV2UI_Write_Function write, LV2UI_Controller controller, LV2UI_Widget* widget,
                                const LV2_Feature* const* features)
{
    (void)d;
    (void)plugin;
    (void)bundle;
    LV2_URID_Map* map = NULL;
    LV2UI_Resize* resize = NULL;
    gParent = 0;
    for (int i = 0; features[i]; ++i) {
        if (!strcmp(features[i]->URI, LV2_URID__map))
            map = (LV2_URID_Map*)features[i]->data;
        else if (!strcmp(features[i]->URI, LV2_UI__parent))
            gParent = (uintptr_t)features[i]->data;
        else if (!strcmp(features[i]->URI, LV2_UI__resize))
            resize = (LV2UI_Resize*)features[i]->data;
    }
    if (!map || !gParent)
        return NULL;
    ProbeUi* ui = (ProbeUi*)calloc(1, sizeof(ProbeUi));
    ui->write = write;
    ui->controller = controller;
    ui->eventTransfer = map->map(map->handle, LV2_ATOM__eventTransfer);
    ui->atomInt = map->map(map->handle, LV2_ATOM__Int);
    for (int i = 0; i < PORTS; ++i)
        gValues[i] = -1;
    gEvents = 0;
    gClose = 0;
    *widget = (LV2UI_Widget)gParent;  // draws nothing of its own
    if (resize)
        resize->ui_resize(resize->handle, 321, 123);
    return ui;
}

static void cleanup(LV2UI_Handle h) { free(h); }

static void portEvent(LV2UI_Handle h, uint32_t port, uint32_t size, uint32_t protocol, const void* buffer)
{
    const ProbeUi* ui = (const ProbeUi*)h;
    if (protocol == 0 && size == sizeof(float) && port < PORTS)
        gValues[port] = *(const float*)buffer;
    else if (protocol == ui->eventTransfer)
        ++gEvents;
}

static int idle(LV2UI_Handle h)
{
    ProbeUi* ui = (ProbeUi*)h;
    if (gPendingGain >= 0) {
        ui->write(ui->controller, 3, sizeof(float), 0, &gPendingGain);
        gPendingGain = -1;
    }
    if (gPendingInt) {
        const LV2_Atom_Int atom = {{sizeof(int32_t), ui->atomInt}, gPendingInt};
        ui->write(ui->controller, 2, sizeof atom, ui->eventTransfer, &atom);
        gPendingInt = 0;
    }
    return gClose;
}

static const void* extensionData(const char* uri)
{
    static const LV2UI_Idle_Interface idler = {idle};
    return strcmp(uri, LV2_UI__idleInterface) ? NULL : &idler;
}

static const LV2UI_Descriptor descriptor = {"urn:wavelocker:test:probe#ui", instantiate, cleanup, portEvent,
                                            extensionData};

LV2_SYMBOL_EXPORT const LV2UI_Descriptor* lv2ui_descriptor(uint32_t index) { return index == 0 ? &descriptor : NULL; }
