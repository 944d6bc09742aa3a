#ifndef VESK_CORE_SIGNALS_H
#define VESK_CORE_SIGNALS_H

namespace vesk {

/** Installs the handlers that run at the moment a signal arrives, while the loop does not run yet.
 */
void install_direct_handlers();

/** Hands the signals to the loop, between whose waits the full handlers run. */
void register_loop_handlers();

} // namespace vesk

#endif
