/* Calls a function that only another plug-in has, but only where it would never get to in a test.
 */
#include <vesk/vesk.h>

int daemon_test_helper(void);

void vesk_plugin_init(void)
{
    vesk_debug_printf("needs_helper is here.\n");
    if (vesk_debug_get() < 0) vesk_debug_printf("helper said %d.\n", daemon_test_helper());
}
