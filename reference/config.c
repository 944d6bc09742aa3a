/*
 * The configuration files: what other programs ask for with an inform message,
 *   object=config&action=save      the running configuration becomes the startup file
 *   object=config&action=default   it becomes the default image
 *   object=config&action=reset     the default image becomes the startup file
 *   object=config&action=rescue    the rescue file becomes the startup file
 * What becomes the startup file is in force from the next start on.
 */
#include "common.h"

static const struct {
    const char *name;
    int (*act)(void);
} actions[] = {
    {"save", vesk_config_copy_running_to_startup},
    {"default", vesk_config_copy_running_to_default},
    {"reset", vesk_config_copy_default_to_startup},
    {"rescue", vesk_config_copy_rescue_to_startup},
};

/* A reset without a usable default image takes the rescue file, and says so by its status. */
static int inform(void)
{
    const char *wanted = vesk_inform_get_value("action");
    for (size_t i = 0; wanted && i < sizeof actions / sizeof *actions; ++i)
        if (strcmp(wanted, actions[i].name) == 0) return actions[i].act() == 0 ? 0 : 1;
    return 1;
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_inform_fn_add("config", inform);
}
