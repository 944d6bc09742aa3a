/* A library that is no plug-in, and says when it is opened and closed. */
#include <vesk/vesk.h>

__attribute__((constructor)) static void opened(void)
{
    vesk_debug_printf("no_init was opened.\n");
}

__attribute__((destructor)) static void closed(void)
{
    vesk_debug_printf("no_init was closed.\n");
}
