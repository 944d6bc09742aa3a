/* Inform message object=reboot: reboots. */
#include <vesk/vesk.h>

static int reboot_device(void)
{
    vesk_util_reboot();
    return 0;
}

void vesk_plugin_init(void)
{
    vesk_inform_fn_add("reboot", reboot_device);
}
