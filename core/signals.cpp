#include "core/signals.h"

#include <csignal>
#include <cstdlib>
#include <unistd.h>

#include "core/log.h"
#include "eloop/eloop.h"
#include "process/decimal.h"
#include "process/services.h"
#include "process/watchdog.h"
#include "vesk/classes.h"
#include "vesk/config.h"
#include "vesk/instances.h"
#include "vesk/service.h"
#include "vesk/watchdog.h"

// While the configuration is loaded a signal may arrive in the middle of anything: the direct
// handlers call async-signal-safe functions only. A dump then waits until the loop can make it.

namespace vesk {
namespace {

volatile std::sig_atomic_t dump_requested = 0;

void dump(int, void *, void *)
{
    std::FILE *stream = vesk_debug_get_stream();
    vesk_classes_print(stream);
    vesk_instances_print(vesk_config_get_running(), stream);
    vesk_service_print(stream);
    flush_log();
}

void end_on_signal(int number, void *, void *)
{
    vesk_service_shutdown();
    kill(0, SIGTERM);
    vesk_debug_printf("Exit due to signal %d.\n", number);
    std::exit(0);
}

void stop_watchdog(int, void *, void *)
{
    vesk_watchdog_stop();
}

void reap_directly(int number)
{
    vesk_service_sig_child(number, nullptr, nullptr);
}

void request_dump(int)
{
    dump_requested = 1;
}

void end_directly(int number)
{
    shut_down_from_signal();
    kill(0, SIGTERM);
    log_from_signal({"vesk: Exit due to signal ", decimal{number}.text(), ".\n"});
    _exit(0);
}

void stop_watchdog_directly(int)
{
    log_from_signal({"vesk: ", disarm_watchdog()});
}

struct signal_handlers {
    int number;
    void (*direct)(int);
    eloop_signal_handler deferred;
};

constexpr signal_handlers handlers[] = {
    {SIGCHLD, reap_directly, vesk_service_sig_child}, {SIGHUP, request_dump, dump},
    {SIGTERM, end_directly, end_on_signal},           {SIGINT, end_directly, end_on_signal},
    {SIGUSR1, stop_watchdog_directly, stop_watchdog},
};

} // namespace

void install_direct_handlers()
{
    std::signal(SIGPIPE, SIG_IGN);
    for (const signal_handlers &h : handlers)
        std::signal(h.number, h.direct);
}

void register_loop_handlers()
{
    for (const signal_handlers &h : handlers)
        eloop_register_signal(h.number, h.deferred, nullptr);
    if (dump_requested) dump(SIGHUP, nullptr, nullptr);
}

} // namespace vesk
