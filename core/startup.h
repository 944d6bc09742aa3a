#ifndef VESK_CORE_STARTUP_H
#define VESK_CORE_STARTUP_H

namespace vesk {

/** Brings the daemon up in its fixed order; it is ready for the loop afterwards. */
void start_up(int argc, char *argv[]);

/** What follows the end of the loop: the pid file goes, and a requested reboot is passed on. */
void wind_up();

} // namespace vesk

#endif
