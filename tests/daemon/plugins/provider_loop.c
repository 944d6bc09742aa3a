/* Declares an order of providers that runs in a circle. */
#include <vesk/vesk.h>

void vesk_plugin_init(void)
{
    vesk_providers_order("a", "b");
    vesk_providers_order("b", "a");
}
