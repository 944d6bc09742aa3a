#include "vesk/service.h"

#include "process/services.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <sys/wait.h>

#include "base/file.h"
#include "base/never_destroyed.h"
#include "base/or_on_oom.h"
#include "base/text.h"
#include "core/log.h"
#include "process/decimal.h"
#include "process/spawn.h"
#include "vesk/command.h"

int sig_child_received = 0;

namespace vesk {
namespace {

constexpr unsigned output_when_debugging = 1;
constexpr int term_patience_us = 5'000'000;
constexpr int kill_patience_us = 1'000'000;
constexpr const char *state_names[] = {"stopped", "running", "stopping"};

/** Links a finished record in: a handler sees it whole or not at all. */
void link_service(service_table &table, service *fresh)
{
    std::atomic_signal_fence(std::memory_order_release);
    (table.last ? table.last->next : table.first) = fresh;
    table.last = fresh;
}

void unlink_service(service_table &table, const service *gone)
{
    service *before = nullptr;
    for (service *s = table.first; s != gone; s = s->next)
        before = s;
    (before ? before->next : table.first) = gone->next;
    if (table.last == gone) table.last = before;
}

/** The record of a name, made when there is none. Throws std::bad_alloc. */
service &find_or_make(service_table &table, const char *name)
{
    if (service *found = table.by_name.get(name)) return *found;
    auto fresh = std::make_unique<service>(name);
    service &made = *fresh;
    table.by_name.insert(name, fresh);
    link_service(table, &made);
    return made;
}

void record_death(pid_t pid)
{
    for (service *s = services().first; s; s = s->next)
        if (s->pid == pid) s->ended = 1;
}

/** Whether there is a process that a signal could be meant for. */
bool can_be_signalled(const service &s)
{
    return s.pid >= lowest_pid && !s.ended;
}

/** Whether the process that was started is gone. One that was never started is not. */
bool is_gone(const service &s)
{
    if (s.pid == 0) return false;
    return !can_be_signalled(s) || kill(s.pid, 0) != 0;
}

long long monotonic_us()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000LL + now.tv_nsec / 1000;
}

/** Waits without sleeping, as nothing else is to be done, until the process is reaped. */
bool wait_for_end(service &s, int timeout_us)
{
    const long long start = monotonic_us();
    while (!s.ended) {
        const pid_t done = waitpid(s.pid, nullptr, WNOHANG);
        if (done == s.pid) s.ended = 1;
        if (done != 0) return true;
        if (timeout_us < monotonic_us() - start) return false;
    }
    return true;
}

int stop(service &s, int sig, int timeout_us)
{
    const char *name = s.name.c_str();
    const int pid = s.pid;
    vesk_debug_1printf("Sending signal %d to service %s with pid %d.\n", sig, name, pid);
    s.state = service_stopping;
    if (vesk_process_no_actions) {
        vesk_debug_1printf("(no actions)\n");
        s.state = service_stopped;
        return 0;
    }
    if (!can_be_signalled(s)) return 1;
    kill(pid, sig);
    if (timeout_us == 0 || wait_for_end(s, timeout_us)) return 1;
    vesk_debug_1printf("Timeout while sending signal %d to service %s with pid %d.\n", sig, name,
                       pid);
    return -1;
}

void log_1_from_signal(std::initializer_list<const char *> texts)
{
    if (vesk_debug_get() == 0) return;
    log_from_signal({"vesk: "});
    log_from_signal(texts);
}

/** stop() for a handler that a signal runs directly, with the same lines in the log. */
int stop_from_signal(service &s, int sig, int timeout_us)
{
    const decimal number{sig};
    const decimal pid{s.pid};
    const char *name = s.name.c_str();
    log_1_from_signal(
        {"Sending signal ", number.text(), " to service ", name, " with pid ", pid.text(), ".\n"});
    s.state = service_stopping;
    if (vesk_process_no_actions) {
        log_1_from_signal({"(no actions)\n"});
        s.state = service_stopped;
        return 0;
    }
    if (!can_be_signalled(s)) return 1;
    kill(s.pid, sig);
    if (wait_for_end(s, timeout_us)) return 1;
    log_1_from_signal({"Timeout while sending signal ", number.text(), " to service ", name,
                       " with pid ", pid.text(), ".\n"});
    return -1;
}

/** The state letter in the first line of a process's stat file, or 0. */
char process_state(pid_t pid)
{
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
    std::string stat;
    if (read_file(path, stat) != 0) return 0;
    // The command name, in parentheses, may hold spaces and parentheses of its own.
    const size_t name_end = stat.rfind(')');
    return name_end != std::string::npos && name_end + 2 < stat.size() ? stat[name_end + 2] : '\0';
}

/** Drops a dead service and runs its callback, which may use the whole interface. */
void drop(service_table &table, service &s)
{
    vesk_debug_1printf("Service %s with pid %d is no longer running. %s.\n", s.name.c_str(),
                       static_cast<int>(s.pid),
                       s.exited ? "Service has no callback" : "Running callback");
    unlink_service(table, &s);
    const auto dropped = table.by_name.remove(s.name.c_str());
    if (dropped->exited) dropped->exited(dropped->exited_data);
}

/** The next service to be dropped in this check; one that was stopped gets its final state. */
service *next_to_drop(service_table &table)
{
    for (service *s = table.first; s; s = s->next) {
        if (s->started_in == table.checks || !is_gone(*s)) continue;
        if (s->state != service_stopping) return s;
        s->state = service_stopped;
        s->started_in = table.checks; // settled for this check
    }
    return nullptr;
}

} // namespace

service_table &services()
{
    static never_destroyed<service_table> table;
    return *table;
}

void shut_down_from_signal() noexcept
{
    for (service *s = services().first; s; s = s->next) {
        if (s->state != service_running) continue;
        log_1_from_signal({"Stopping ", s->name.c_str(), " (", decimal{s->pid}.text(), ")...\n"});
        if (stop_from_signal(*s, SIGTERM, term_patience_us) == -1)
            stop_from_signal(*s, SIGKILL, kill_patience_us);
    }
}

} // namespace vesk

void vesk_service_init(void)
{
    vesk::services();
}

int vesk_service_set_exited_fn(const char *name, vesk_service_exited_fn exited, void *data)
{
    if (!name) return vesk::fail("Null name.\n");
    return vesk::or_on_oom(1, [&] {
        vesk::service &s = vesk::find_or_make(vesk::services(), name);
        s.exited = exited;
        s.exited_data = data;
        return 0;
    });
}

int vesk_service_execvod(const char *name, char *const argv[], unsigned output,
                         const char *directory)
{
    if (!name) return vesk::fail("Null name.\n");
    return vesk::or_on_oom(1, [&] {
        vesk::service &s = vesk::find_or_make(vesk::services(), name);
        const vesk::hold_signal held{SIGCHLD};
        s.pid = vesk::spawn(argv, output, directory);
        s.ended = 0;
        s.state = vesk::service_running;
        s.started_in = vesk::services().checks;
        if (vesk_debug_get() != 0) vesk::continue_log_line("\n");
        return 0;
    });
}

int vesk_service_execv(const char *name, char *const argv[])
{
    return vesk_service_execvod(name, argv, vesk::output_when_debugging, nullptr);
}

int vesk_service_execl(const char *name, const char *path, ...)
{
    va_list arguments;
    va_start(arguments, path);
    const int result = vesk::or_on_oom(vesk::no_vector, [&] {
        const auto vector = vesk::make_vector(path, &arguments);
        return vesk_service_execv(name, vector.data());
    });
    va_end(arguments);
    return result == vesk::no_vector ? vesk::report_no_memory() : result;
}

int vesk_service_execlod(const char *name, const char *path, ...)
{
    va_list arguments;
    va_start(arguments, path);
    const int result = vesk::or_on_oom(vesk::no_vector, [&] {
        const auto vector = vesk::make_vector(path, &arguments);
        const unsigned output = va_arg(arguments, unsigned);
        return vesk_service_execvod(name, vector.data(), output, va_arg(arguments, const char *));
    });
    va_end(arguments);
    return result == vesk::no_vector ? vesk::report_no_memory() : result;
}

int vesk_service_is_running(const char *name)
{
    const vesk::service *s = name ? vesk::services().by_name.get(name) : nullptr;
    if (!s || s->state != vesk::service_running) return 0;
    if (!vesk::can_be_signalled(*s) || kill(s->pid, 0) != 0) return 0;
    const char state = vesk::or_on_oom('\0', [&] { return vesk::process_state(s->pid); });
    return state != '\0' && state != 'Z';
}

int vesk_service_stop(const char *name, int sig, int timeout_us)
{
    vesk::service *s = name ? vesk::services().by_name.get(name) : nullptr;
    if (!s || s->state == vesk::service_stopped) return 0;
    return vesk::stop(*s, sig, timeout_us);
}

void vesk_service_shutdown(void)
{
    for (vesk::service *s = vesk::services().first; s; s = s->next) {
        if (s->state != vesk::service_running) continue;
        vesk_debug_1printf("Stopping %s (%d)...\n", s->name.c_str(), static_cast<int>(s->pid));
        if (vesk::stop(*s, SIGTERM, vesk::term_patience_us) == -1)
            vesk::stop(*s, SIGKILL, vesk::kill_patience_us);
    }
}

void vesk_service_sig_child(int, void *, void *)
{
    const int saved = errno;
    int status;
    pid_t pid;
    while ((pid = waitpid(-1, &status, WNOHANG)) > 0)
        vesk::record_death(pid);
    sig_child_received = 1;
    errno = saved;
}

void vesk_service_poll(void)
{
    if (!sig_child_received) return;
    sig_child_received = 0;
    vesk::service_table &table = vesk::services();
    ++table.checks;
    // A callback may change the table in any way: look again from the start after each.
    while (vesk::service *gone = vesk::next_to_drop(table))
        vesk::drop(table, *gone);
}

void vesk_service_print(FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    std::fprintf(stream, "%-20s %-10s %5s\n", "Service", "State", "PID");
    for (const vesk::service *s = vesk::services().first; s; s = s->next)
        std::fprintf(stream, "%-20s %-10s %5d\n", s->name.c_str(), vesk::state_names[s->state],
                     static_cast<int>(s->pid));
}
