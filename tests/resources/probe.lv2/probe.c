/* A plugin that reports what its host tells it: the transport, the block lengths and the
 * atoms it receives, on control outputs. Its audio is the input times a gain. */
#include <lv2/atom/atom.h>
#include <lv2/atom/util.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/time/time.h>
#include <lv2/urid/urid.h>
#include <stdlib.h>
#include <string.h>

enum { IN, OUT, EVENTS, GAIN, BPM, BEATS_PER_BAR, BEAT_UNIT, BAR, BAR_BEAT, SPEED, NOMINAL, LARGEST, RECEIVED, ECHO, PORTS };

typedef struct {
    void* ports[PORTS];
    LV2_URID sequence, position, bpm, beatsPerBar, beatUnit, bar, barBeat, speed, nominalLength, atomInt, atomLong, atomFloat,
        atomDouble;
    int nominal, largest;
    float received;
    float last[PORTS];  // what the outputs said after the last position
} Probe;

static double number(const Probe* p, const LV2_Atom* a)
{
    if (!a)
        return -1;
    if (a->type == p->atomInt)
        return ((const LV2_Atom_Int*)a)->body;
    if (a->type == p->atomLong)
        return (double)((const LV2_Atom_Long*)a)->body;
    if (a->type == p->atomFloat)
        return ((const LV2_Atom_Float*)a)->body;
    if (a->type == p->atomDouble)
        return ((const LV2_Atom_Double*)a)->body;
    return -1;
}

static void takeOptions(Probe* p, const LV2_Options_Option* o)
{
    for (; o && o->key; ++o)
        if (o->key == p->nominalLength && o->type == p->atomInt) {
            p->nominal = *(const int32_t*)o->value;
            p->largest = 0;
        }
}

static LV2_Handle instantiate(const LV2_Descriptor* d, double rate, const char* path, const LV2_Feature* const* f)
{
    (void)d;
    (void)rate;
    (void)path;
    LV2_URID_Map* map = NULL;
    const LV2_Options_Option* options = NULL;
    for (int i = 0; f[i]; ++i) {
        if (!strcmp(f[i]->URI, LV2_URID__map))
            map = (LV2_URID_Map*)f[i]->data;
        else if (!strcmp(f[i]->URI, LV2_OPTIONS__options))
            options = (const LV2_Options_Option*)f[i]->data;
    }
    if (!map)
        return NULL;
    Probe* p = (Probe*)calloc(1, sizeof(Probe));
    p->sequence = map->map(map->handle, LV2_ATOM__Sequence);
    p->position = map->map(map->handle, LV2_TIME__Position);
    p->bpm = map->map(map->handle, LV2_TIME__beatsPerMinute);
    p->beatsPerBar = map->map(map->handle, LV2_TIME__beatsPerBar);
    p->beatUnit = map->map(map->handle, LV2_TIME__beatUnit);
    p->bar = map->map(map->handle, LV2_TIME__bar);
    p->barBeat = map->map(map->handle, LV2_TIME__barBeat);
    p->speed = map->map(map->handle, LV2_TIME__speed);
    p->nominalLength = map->map(map->handle, LV2_BUF_SIZE__nominalBlockLength);
    p->atomInt = map->map(map->handle, LV2_ATOM__Int);
    p->atomLong = map->map(map->handle, LV2_ATOM__Long);
    p->atomFloat = map->map(map->handle, LV2_ATOM__Float);
    p->atomDouble = map->map(map->handle, LV2_ATOM__Double);
    for (int i = 0; i < PORTS; ++i)
        p->last[i] = -1;
    takeOptions(p, options);
    return p;
}

static void connect(LV2_Handle h, uint32_t port, void* data)
{
    if (port < PORTS)
        ((Probe*)h)->ports[port] = data;
}

static void run(LV2_Handle h, uint32_t n)
{
    Probe* p = (Probe*)h;
    const float gain = *(const float*)p->ports[GAIN];
    const float* in = (const float*)p->ports[IN];
    float* out = (float*)p->ports[OUT];
    for (uint32_t i = 0; i < n; ++i)
        out[i] = in[i] * gain;
    if ((int)n > p->largest)
        p->largest = (int)n;
    /* Every integer received goes back out doubled, on the echo port. */
    LV2_Atom_Sequence* echo = (LV2_Atom_Sequence*)p->ports[ECHO];
    const uint32_t room = echo->atom.size;
    echo->atom.type = p->sequence;
    echo->atom.size = sizeof(LV2_Atom_Sequence_Body);
    echo->body.unit = 0;
    echo->body.pad = 0;
    const LV2_Atom_Sequence* seq = (const LV2_Atom_Sequence*)p->ports[EVENTS];
    LV2_ATOM_SEQUENCE_FOREACH (seq, ev) {
        const LV2_Atom_Object* obj = (const LV2_Atom_Object*)&ev->body;
        if (ev->body.type != p->atomInt && ev->body.type != p->atomFloat && obj->body.otype == p->position) {
            const LV2_Atom *bpm = NULL, *perBar = NULL, *unit = NULL, *bar = NULL, *barBeat = NULL, *speed = NULL;
            lv2_atom_object_get(obj, p->bpm, &bpm, p->beatsPerBar, &perBar, p->beatUnit, &unit, p->bar, &bar,
                                p->barBeat, &barBeat, p->speed, &speed, 0);
            p->last[BPM] = (float)number(p, bpm);
            p->last[BEATS_PER_BAR] = (float)number(p, perBar);
            p->last[BEAT_UNIT] = (float)number(p, unit);
            p->last[BAR] = (float)number(p, bar);
            p->last[BAR_BEAT] = (float)number(p, barBeat);
            p->last[SPEED] = (float)number(p, speed);
        } else if (ev->body.type == p->atomInt) {
            const int32_t value = ((const LV2_Atom_Int*)&ev->body)->body;
            p->received += (float)value;
            const uint32_t need = sizeof(LV2_Atom_Event) + sizeof(int32_t);
            if (echo->atom.size + need <= room) {
                LV2_Atom_Event* out = (LV2_Atom_Event*)((uint8_t*)&echo->body + echo->atom.size);
                out->time.frames = 0;
                out->body.type = p->atomInt;
                out->body.size = sizeof(int32_t);
                *(int32_t*)(out + 1) = value * 2;
                echo->atom.size += lv2_atom_pad_size(need);
            }
        }
    }
    for (int i = BPM; i <= SPEED; ++i)
        *(float*)p->ports[i] = p->last[i];
    *(float*)p->ports[NOMINAL] = (float)p->nominal;
    *(float*)p->ports[LARGEST] = (float)p->largest;
    *(float*)p->ports[RECEIVED] = p->received;
}

static void cleanup(LV2_Handle h) { free(h); }

static uint32_t getOptions(LV2_Handle h, LV2_Options_Option* o)
{
    (void)h;
    (void)o;
    return LV2_OPTIONS_ERR_BAD_KEY;
}

static uint32_t setOptions(LV2_Handle h, const LV2_Options_Option* o)
{
    takeOptions((Probe*)h, o);
    return LV2_OPTIONS_SUCCESS;
}

static const void* extensionData(const char* uri)
{
    static const LV2_Options_Interface options = {getOptions, setOptions};
    return strcmp(uri, LV2_OPTIONS__interface) ? NULL : &options;
}

static const LV2_Descriptor descriptor = {"urn:wavelocker:test:probe", instantiate, connect, NULL, run, NULL, cleanup,
                                          extensionData};

/* The same, for a host that must give it blocks of one length and cannot tell it another. */
static const LV2_Descriptor fixedDescriptor = {"urn:wavelocker:test:probe-fixed", instantiate, connect, NULL, run, NULL,
                                               cleanup, NULL};

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t index)
{
    return index == 0 ? &descriptor : index == 1 ? &fixedDescriptor : NULL;
}
