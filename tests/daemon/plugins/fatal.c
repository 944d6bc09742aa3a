/* Reports a fatal system error from its initialisation. */
#include <errno.h>

#include <vesk/vesk.h>

void vesk_plugin_init(void)
{
    errno = EIO;
    vesk_debug_fatal_perror("probe");
    vesk_debug_printf("went on\n");
}
