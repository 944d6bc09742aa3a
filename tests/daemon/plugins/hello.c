/* Says the file name that it was loaded under. */
#include <vesk/vesk.h>

void vesk_plugin_init(void)
{
    vesk_debug_printf("Hello from %s.\n", vesk_plugins_current);
}
