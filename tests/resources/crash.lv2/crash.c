/* A plugin whose code takes its host down as it is loaded: the host must skip it afterwards. */
#include <lv2/core/lv2.h>
#include <stdlib.h>

static LV2_Handle instantiate(const LV2_Descriptor* d, double rate, const char* path, const LV2_Feature* const* f)
{
    (void)d;
    (void)rate;
    (void)path;
    (void)f;
    abort();
}

static void connect(LV2_Handle h, uint32_t port, void* data)
{
    (void)h;
    (void)port;
    (void)data;
}

static void run(LV2_Handle h, uint32_t n)
{
    (void)h;
    (void)n;
}

static void cleanup(LV2_Handle h) { (void)h; }

static const LV2_Descriptor descriptor = {"urn:wavelocker:test:crash", instantiate, connect, NULL, run, NULL, cleanup, NULL};

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t index) { return index == 0 ? &descriptor : NULL; }
