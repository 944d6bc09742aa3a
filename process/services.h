#ifndef VESK_PROCESS_SERVICES_H
#define VESK_PROCESS_SERVICES_H

#include <csignal>
#include <string>

#include "base/name_map.h"
#include "vesk/service.h"

namespace vesk {

enum service_state { service_stopped = 0, service_running = 1, service_stopping = 2 };

/** A named service. What a signal handler looks at is of an atomic type. */
struct service {
    explicit service(const char *its_name) : name{its_name} {}

    const std::string name;
    volatile std::sig_atomic_t state = service_stopped;
    volatile std::sig_atomic_t pid = 0;   // of the last start; -1: it failed
    volatile std::sig_atomic_t ended = 0; // that process was reaped; its id may be another's now
    vesk_service_exited_fn exited = nullptr;
    void *exited_data = nullptr;
    unsigned started_in = 0; // the check of the table in which it was started
    service *next = nullptr;
};

/** The services by name; never destroyed. A handler may walk them at any time from first on. */
struct service_table {
    owned_map<service> by_name{64};
    service *first = nullptr;
    service *last = nullptr;
    unsigned checks = 0;
};

service_table &services();

/** vesk_service_shutdown() for a handler that a signal runs directly: async-signal-safe. */
void shut_down_from_signal() noexcept;

} // namespace vesk

#endif
