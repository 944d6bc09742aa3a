/* Exports a function that needs_helper calls. */
#include <vesk/vesk.h>

VESK_API int daemon_test_helper(void);

int daemon_test_helper(void)
{
    return 1;
}

void vesk_plugin_init(void)
{
    vesk_debug_printf("helper is here.\n");
}
