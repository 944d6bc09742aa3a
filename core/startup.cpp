#include "core/startup.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/log.h"
#include "core/options.h"
#include "core/signals.h"
#include "process/reboot.h"
#include "vesk/vesk.h"

// Fatal errors end the daemon only when it was asked to (-e). Otherwise start-up goes on: an access
// point that half works can still be reached and repaired.

namespace vesk {
namespace {

constexpr const char *pid_file = "/var/run/vesk.pid";
constexpr const char *panic_file = "/proc/sys/kernel/panic";
constexpr const char *post_init = "/etc/post-init";
constexpr unsigned housekeeping_seconds = 2;
constexpr unsigned abiding_output = 2;
constexpr pid_t init_process = 1;

void housekeeping(void *, void *)
{
    vesk_service_poll();
    vesk_watchdog_ack();
    eloop_register_timeout(housekeeping_seconds, 0, housekeeping, nullptr, nullptr);
}

void load_plugins_and_freeze()
{
    if (vesk_plugins_init() != 0) vesk_debug_fatal("Plugins were invalid.");
    if (vesk_classes_done_adding() != 0) vesk_debug_fatal("Classes were invalid.");
    if (vesk_providers_done_adding() != 0) vesk_debug_fatal("Providers were invalid.");
    if (vesk_debug_get() == 0) return;
    vesk_classes_print(vesk_debug_get_stream());
    vesk_providers_print(vesk_debug_get_stream());
    flush_log();
}

void daemonise()
{
    vesk_debug_printf("Daemonizing...\n");
    if (daemon(1, 1) == -1) std::perror("daemon");
    close(STDIN_FILENO);
    if (open("/dev/null", O_RDWR) != STDIN_FILENO)
        vesk_debug_eprintf("Couldn't assign /dev/null to STDIN.\n");
    vesk_debug_printf("Daemonized.\n");
}

/** A kernel that panicked is to start again by itself. */
void set_panic_reboot()
{
    const int fd = open(panic_file, O_WRONLY | O_CLOEXEC);
    if (fd < 0) return;
    if (write(fd, "5\n", 2) != 2) {
        // The device then stays as its kernel was configured.
    }
    close(fd);
}

void open_interfaces()
{
    if (vesk_inform_init() != 0) vesk_debug_fatal("Unable to initialize inform interface.");
    if (vesk_notify_init() != 0) vesk_debug_fatal("Unable to initialize notify interface.");
    vesk_lsql_init();
    if (vesk_socket_api_init() != 0) vesk_debug_fatal("Unable to initialize socket API.");
}

void write_pid_file()
{
    std::FILE *file = std::fopen(pid_file, "we");
    if (!file) {
        vesk_debug_fatal("Unable to create pid file");
        return;
    }
    std::fprintf(file, "%d\n", static_cast<int>(getpid()));
    std::fclose(file);
}

void run_post_init()
{
    struct stat unused;
    if (stat(post_init, &unused) == 0) vesk_command_execl(post_init, static_cast<char *>(nullptr));
}

void start_helper(const char *name, const char *program)
{
    char *const argv[] = {const_cast<char *>(program), nullptr};
    vesk_service_execvod(name, argv, abiding_output, nullptr);
}

} // namespace

void start_up(int argc, char *argv[])
{
    vesk_debug_init();
    vesk_watchdog_ack();
    const options chosen = parse_options(argc, argv);
    vesk_providers_init();
    eloop_init(nullptr);
    vesk_service_init();
    load_plugins_and_freeze();
    if (!chosen.foreground) daemonise();
    install_direct_handlers();
    if (vesk_config_init() < 0) vesk_debug_fatal("vesk_config_init() failed.");
    set_panic_reboot();
    if (vesk_config_copy_startup_to_running() == 1) vesk_debug_fatal("Unable to read config.");
    open_interfaces();
    vesk_watchdog_ack();
    eloop_register_timeout(housekeeping_seconds, 0, housekeeping, nullptr, nullptr);
    register_loop_handlers();
    write_pid_file();
    vesk_debug_printf("Initialization complete.\r\n");
    run_post_init();
    start_helper("tkmigrate", "/usr/sbin/tkmigrate");
    start_helper("version", "/usr/sbin/version");
}

void wind_up()
{
    unlink(pid_file);
    if (is_reboot_requested()) kill(init_process, SIGTERM);
}

} // namespace vesk
