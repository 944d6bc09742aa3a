/* Starts /tmp/worker as the service "early" from its initialisation. */
#include <vesk/vesk.h>

void vesk_plugin_init(void)
{
    vesk_service_execl("early", "/tmp/worker", (char *)NULL);
}
