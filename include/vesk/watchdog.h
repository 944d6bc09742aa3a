#ifndef VESK_WATCHDOG_H
#define VESK_WATCHDOG_H

#include "vesk/export.h"

VESK_BEGIN_DECLS

/** Feeds the hardware watchdog, which is opened first with a timeout of 240 s. Called every 2 s. */
VESK_API void vesk_watchdog_ack(void);

/** Disarms and closes the watchdog for good. */
VESK_API void vesk_watchdog_stop(void);

/** Ends the event loop and then asks process 1 to reboot. */
VESK_API void vesk_reboot(void);

/** Reboots the system, in no-actions mode only in the log. For plug-ins. */
VESK_API void vesk_util_reboot(void);

VESK_END_DECLS

#endif
