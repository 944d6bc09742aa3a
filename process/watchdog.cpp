#include "vesk/watchdog.h"

#include "process/watchdog.h"

#include <csignal>
#include <fcntl.h>
#include <linux/watchdog.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "core/log.h"

namespace {

constexpr const char *device = "/dev/watchdog";
constexpr int timeout_seconds = 240;
constexpr int not_opened = -1;
constexpr int stopped = -2;

volatile std::sig_atomic_t watchdog = not_opened; // its descriptor, or one of the two above

void open_watchdog()
{
    const int fd = open(device, O_WRONLY);
    if (fd < 0) {
        vesk_debug_perror("vesk_watchdog_ack fopen");
        vesk_watchdog_stop();
        return;
    }
    int timeout = timeout_seconds;
    if (ioctl(fd, WDIOC_SETTIMEOUT, &timeout) < 0)
        vesk_debug_perror("vesk_watchdog_ack ioctl[WDIOC_SETTIMEOUT]");
    if (fcntl(fd, F_SETFD, FD_CLOEXEC) < 0) vesk_debug_perror("vesk_watchdog_ack fcntl");
    watchdog = fd;
}

} // namespace

namespace vesk {

const char *disarm_watchdog() noexcept
{
    const int fd = watchdog;
    watchdog = stopped;
    if (fd == not_opened) return "Watchdog stopped (before start).\n";
    if (fd == stopped) return "Watchdog already stopped.\n";
    // The magic close: without it the driver resets the system when nobody feeds it any more.
    if (write(fd, "V", 1) != 1) {
        // The driver may be one that stops at close anyway.
    }
    close(fd);
    return "Watchdog stopped.\n";
}

} // namespace vesk

void vesk_watchdog_ack(void)
{
    if (watchdog == not_opened) open_watchdog();
    if (watchdog < 0) return;
    if (ioctl(watchdog, WDIOC_KEEPALIVE, 0) < 0)
        vesk_debug_perror("vesk_watchdog_ack ioctl[WDIOC_KEEPALIVE]");
}

void vesk_watchdog_stop(void)
{
    vesk_debug_printf("%s", vesk::disarm_watchdog());
}
