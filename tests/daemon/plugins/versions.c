/* Declares itself for one interface version after the other, and says which ones were taken. */
#include <vesk/vesk.h>

static const char *const versions[] = {"1.0",  "1",    "1.",  "1.00", "1.0.0",
                                       "1.0 ", " 1.0", "2.0", ""};
static vesk_plugin *volatile plugins[sizeof versions / sizeof versions[0]];

void vesk_plugin_init(void)
{
    for (unsigned i = 0; i < sizeof versions / sizeof versions[0]; i++) {
        plugins[i] = vesk_plugin_new(versions[i]);
        vesk_debug_printf("Version \"%s\": %s.\n", versions[i], plugins[i] ? "taken" : "refused");
    }
}
