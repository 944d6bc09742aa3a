/* Logs in every way there is, and what the switches of the log say, from its initialisation. */
#include <errno.h>

#include <vesk/vesk.h>

static void log_at_each_level(void)
{
    vesk_debug_printf("printf\n");
    vesk_debug_eprintf("eprintf\n");
    vesk_debug_1printf("1printf\n");
    for (int level = 0; level <= VESK_DEBUG_MAX; level++)
        vesk_debug_lprintf(level, "lprintf %d\n", level);
}

static void log_switches(void)
{
    vesk_debug_printf("level %d of %d, override %d, no actions %d\n", vesk_debug_get(),
                      VESK_DEBUG_MAX, vesk_debug_override, vesk_process_no_actions);
    vesk_debug_printf("set %d %d, timestamp %d %d, exit %d\n", vesk_debug_set(-1),
                      vesk_debug_set(VESK_DEBUG_MAX + 1), vesk_debug_set_timestamp(2),
                      vesk_debug_set_timestamp(-1), vesk_debug_set_exit_on_fatal(2));
    vesk_debug_printf("level %d, timestamp %d\n", vesk_debug_get(), vesk_debug_get_timestamp());
}

void vesk_plugin_init(void)
{
    log_at_each_level();
    log_switches();
    errno = ENOENT;
    vesk_debug_perror("perror");
    vesk_debug_set_timestamp(1);
    vesk_debug_printf("stamped\n");
    errno = EACCES;
    vesk_debug_perror("stamped perror");
    vesk_debug_set_timestamp(0);
}
