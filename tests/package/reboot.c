/* A plug-in that reboots the device when it is told to. */
#include <vesk/vesk.h>

static int reboot_device(void)
{
    vesk_util_reboot();
    return 0;
}

void vesk_plugin_init(void)
{
    if (vesk_plugin_new(VESK_PLUGIN_VERSION)) vesk_inform_fn_add("reboot", reboot_device);
}
