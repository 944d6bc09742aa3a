#include "vesk/watchdog.h"

#include "process/reboot.h"

#include "core/log.h"
#include "eloop/eloop.h"
#include "vesk/command.h"

namespace {

bool requested = false;

} // namespace

namespace vesk {

bool is_reboot_requested()
{
    return requested;
}

} // namespace vesk

void vesk_reboot(void)
{
    requested = true;
    eloop_terminate();
}

void vesk_util_reboot(void)
{
    if (vesk_process_no_actions) {
        vesk_debug_printf("Rebooting the system is disabled.\n");
        return;
    }
    vesk_debug_printf("Rebooting the system.\n");
    vesk_reboot();
}
