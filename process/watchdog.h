#ifndef VESK_PROCESS_WATCHDOG_H
#define VESK_PROCESS_WATCHDOG_H

namespace vesk {

/** Disarms the watchdog and gives the line for the log. Async-signal-safe. */
const char *disarm_watchdog() noexcept;

} // namespace vesk

#endif
