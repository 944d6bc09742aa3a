#ifndef VESK_PROCESS_REBOOT_H
#define VESK_PROCESS_REBOOT_H

namespace vesk {

/** Whether vesk_reboot() was called: then the end of the loop is followed by a reboot. */
bool is_reboot_requested();

} // namespace vesk

#endif
