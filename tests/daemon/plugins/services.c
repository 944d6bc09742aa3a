/*
 * Runs services on inform messages, each with the parameter name:
 *   object=start&program=PATH&callback=TEXT   starts it; its callback logs TEXT (without callback:
 * has none) object=stop&signal=NUMBER&timeout=MICROSECONDS object=ask whether it is running What a
 * call returned is logged.
 */
#define _POSIX_C_SOURCE 200809L
#include <stdlib.h>
#include <string.h>

#include <vesk/vesk.h>

static int number(const char *parameter)
{
    return atoi(vesk_inform_get_value(parameter));
}

static void exited(void *data)
{
    vesk_debug_printf("callback %s\n", (const char *)data);
    free(data);
}

static int start(void)
{
    const char *name = vesk_inform_get_value("name");
    const char *callback = vesk_inform_get_value("callback");
    if (callback) vesk_service_set_exited_fn(name, exited, strdup(callback));
    vesk_debug_printf("start %d\n",
                      vesk_service_execl(name, vesk_inform_get_value("program"), (char *)NULL));
    return 0;
}

static int stop(void)
{
    vesk_debug_printf("stop %d\n", vesk_service_stop(vesk_inform_get_value("name"),
                                                     number("signal"), number("timeout")));
    return 0;
}

static int ask(void)
{
    vesk_debug_printf("running %d\n", vesk_service_is_running(vesk_inform_get_value("name")));
    return 0;
}

void vesk_plugin_init(void)
{
    vesk_inform_fn_add("start", start);
    vesk_inform_fn_add("stop", stop);
    vesk_inform_fn_add("ask", ask);
}
