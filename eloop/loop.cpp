#include "eloop/eloop.h"

#include "eloop/task.h"
#include "eloop/write.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <list>
#include <sys/select.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#include "base/linked.h"
#include "base/never_destroyed.h"
#include "base/or_on_oom.h"

// Signals: the recording handler only counts, and takes away the time that a wait may last. The
// kernel reads that time when the wait begins, so that no signal is slept through which arrives
// after the last look at the count.

namespace {

struct watch {
    int sock;
    eloop_sock_handler handler;
    void *eloop_data;
    void *user_data;
};

/** What is watched for one kind of event. */
struct watch_list {
    std::vector<watch> entries; // in the order of registration
    fd_set watched{};           // of all entries
    fd_set ready{};             // in this pass
    size_t next = 0;            // entry of the walk
};

struct timeout {
    uint32_t due; // in clock ticks, wrapping
    eloop_timeout_handler handler;
    void *eloop_data;
    void *user_data;
};

struct signal_entry {
    int number;
    eloop_signal_handler handler;
    void *user_data;
};

struct loop {
    void *user_data = nullptr;
    int highest = -1;
    watch_list readers;
    watch_list writers;
    std::list<timeout> timeouts; // sorted by due time
    std::list<timeout> spare;    // at most one entry, of a timeout that has run
    long ticks_per_second = 100;
    std::vector<signal_entry> signals;
    vesk::linked<vesk::task> tasks;
    unsigned pass = 0;
    bool terminate = false;
    bool readers_changed = false;
};

loop &state()
{
    static vesk::never_destroyed<loop> instance;
    return *instance;
}

volatile std::sig_atomic_t pending = 0;
volatile std::sig_atomic_t received[NSIG];

/** How long the wait may last, as the kernel reads it. */
struct {
    volatile long seconds;
    volatile long nanoseconds;
} wait_limit;

void limit_wait(long seconds, long nanoseconds)
{
    wait_limit.seconds = seconds;
    wait_limit.nanoseconds = nanoseconds;
}

/**
 * Ticks since some point, by the clock that moves when the kernel's ticks do and that costs nothing
 * to look at. times() counts the same ticks, but on some machines its last results before a wrap
 * look like errors, and the library makes other numbers of them: for eleven seconds, five minutes
 * after each boot.
 */
uint32_t ticks_now()
{
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC_COARSE, &now) != 0) clock_gettime(CLOCK_MONOTONIC, &now);
    const auto rate = static_cast<uint32_t>(state().ticks_per_second);
    return static_cast<uint32_t>(now.tv_sec) * rate +
           static_cast<uint32_t>(now.tv_nsec) / (1000000000 / rate);
}

/** How far a lies behind b; negative when it is earlier. Right across a wrap. */
int32_t ticks_between(uint32_t a, uint32_t b)
{
    return static_cast<int32_t>(a - b);
}

void record_signal(int number)
{
    pending = 1;
    received[number] = 1;
    limit_wait(0, 0);
    received[number] = 1;
}

/** Only the first entry of a signal counts it. */
bool is_first_of_its_number(size_t index)
{
    const auto &signals = state().signals;
    return std::none_of(signals.begin(), signals.begin() + static_cast<std::ptrdiff_t>(index),
                        [&](const signal_entry &s) { return s.number == signals[index].number; });
}

void run_signal_handlers()
{
    if (!pending) return;
    pending = 0;
    for (size_t i = 0; i < state().signals.size(); ++i) {
        const signal_entry entry = state().signals[i]; // a handler may register more
        if (!received[entry.number] || !is_first_of_its_number(i)) continue;
        received[entry.number] = 0;
        entry.handler(entry.number, state().user_data, entry.user_data);
    }
}

bool can_be_watched(int sock)
{
    return sock >= 0 && sock < FD_SETSIZE;
}

int add_watch(watch_list &list, const watch &entry)
{
    if (!can_be_watched(entry.sock)) return -1;
    return vesk::or_on_oom(-1, [&] {
        list.entries.push_back(entry);
        FD_SET(entry.sock, &list.watched);
        state().highest = std::max(state().highest, entry.sock);
        return 0;
    });
}

/** Removes the first entry of sock, also in the midst of a walk. */
int remove_watch(watch_list &list, int sock)
{
    auto &entries = list.entries;
    const auto is_of_sock = [&](const watch &w) { return w.sock == sock; };
    const auto found = std::find_if(entries.begin(), entries.end(), is_of_sock);
    if (found == entries.end()) return -1;
    if (static_cast<size_t>(found - entries.begin()) < list.next) --list.next;
    entries.erase(found);
    if (std::none_of(entries.begin(), entries.end(), is_of_sock)) {
        FD_CLR(sock, &list.watched);
        FD_CLR(sock, &list.ready); // its number may come back within the pass
    }
    return 0;
}

/** Until the first timeout, if there is one; not at all when there is something to do. */
void limit_wait()
{
    constexpr long a_day = 24L * 60 * 60; // then the loop just waits again
    const auto &timeouts = state().timeouts;
    const long ticks = state().ticks_per_second;
    if (timeouts.empty()) {
        limit_wait(a_day, 0);
    } else {
        const long wait = std::max(ticks_between(timeouts.front().due, ticks_now()), 0);
        limit_wait(wait / ticks, (wait % ticks) * (1000000 / ticks) * 1000);
    }
    if (pending || state().tasks.first) limit_wait(0, 0); // the last look at the count
}

/** The library's pselect() hands the kernel a copy of the time, made too early. */
int wait_for_events()
{
    watch_list &readers = state().readers;
    watch_list &writers = state().writers;
    readers.ready = readers.watched;
    writers.ready = writers.watched;
    fd_set *const writable = writers.entries.empty() ? nullptr : &writers.ready;
    const long count = state().highest + 1;
    limit_wait();
    return static_cast<int>(
        syscall(SYS_pselect6, count, &readers.ready, writable, nullptr, &wait_limit, nullptr));
}

/** Runs one timeout that is due; the others follow in the next passes. */
void run_first_timeout()
{
    auto &timeouts = state().timeouts;
    if (timeouts.empty() || ticks_between(timeouts.front().due, ticks_now()) > 0) return;
    const timeout due = timeouts.front();
    // The entry is at hand for a handler that registers itself again: that must not need memory.
    auto &spare = state().spare;
    spare.clear();
    spare.splice(spare.begin(), timeouts, timeouts.begin());
    due.handler(due.eloop_data, due.user_data);
}

/** Runs the tasks that are queued by now; those that they queue follow in the next pass. */
void run_tasks()
{
    auto &tasks = state().tasks;
    const unsigned now = state().pass++;
    while (tasks.first && tasks.first->pass == now) {
        vesk::task &first = *tasks.first;
        vesk::cancel(first);
        first.run(first.user_data);
    }
}

void drop_tasks()
{
    while (vesk::task *first = state().tasks.first)
        vesk::cancel(*first);
}

/** Calls the handlers of what is ready. They may add and remove entries; stop ends the walk. */
void run_ready(watch_list &list, const bool &stop)
{
    for (list.next = 0; list.next < list.entries.size() && !stop;) {
        const watch entry = list.entries[list.next++];
        if (FD_ISSET(entry.sock, &list.ready))
            entry.handler(entry.sock, entry.eloop_data, entry.user_data);
    }
}

bool has_nothing_left()
{
    return state().timeouts.empty() && state().readers.entries.empty() &&
           state().writers.entries.empty() && !state().tasks.first;
}

} // namespace

namespace vesk {

int register_write_sock(int sock, eloop_sock_handler handler, void *user_data)
{
    return add_watch(state().writers, {sock, handler, nullptr, user_data});
}

int unregister_write_sock(int sock)
{
    return remove_watch(state().writers, sock);
}

int unregister_own_read_sock(int sock)
{
    return remove_watch(state().readers, sock);
}

void skip_read_sock(int sock)
{
    if (can_be_watched(sock)) FD_CLR(sock, &state().readers.ready);
}

void run_in_next_pass(task &what)
{
    if (what.queued) return;
    what.queued = true;
    what.pass = state().pass;
    state().tasks.append(&what);
}

void cancel(task &what)
{
    if (!what.queued) return;
    what.queued = false;
    state().tasks.unlink(&what);
}

} // namespace vesk

void eloop_init(void *user_data)
{
    drop_tasks();
    state() = loop{};
    state().user_data = user_data;
    state().ticks_per_second = sysconf(_SC_CLK_TCK);
    pending = 0;
    for (auto &count : received)
        count = 0;
}

int eloop_register_read_sock(int sock, eloop_sock_handler handler, void *eloop_data,
                             void *user_data)
{
    return add_watch(state().readers, {sock, handler, eloop_data, user_data});
}

int eloop_unregister_read_sock(int sock)
{
    if (remove_watch(state().readers, sock) != 0) return -1;
    state().readers_changed = true;
    return 0;
}

int eloop_register_timeout(unsigned secs, unsigned usecs, eloop_timeout_handler handler,
                           void *eloop_data, void *user_data)
{
    return vesk::or_on_oom(-1, [&] {
        const auto ticks = static_cast<uint32_t>(state().ticks_per_second);
        const uint32_t due = ticks_now() + ticks * secs + usecs / (1000000 / ticks);
        auto &timeouts = state().timeouts;
        const auto later = std::find_if(timeouts.begin(), timeouts.end(), [&](const timeout &t) {
            return ticks_between(t.due, due) > 0;
        });
        auto &spare = state().spare;
        if (spare.empty()) spare.emplace_back();
        spare.front() = {due, handler, eloop_data, user_data};
        timeouts.splice(later, spare);
        return 0;
    });
}

int eloop_cancel_timeout(eloop_timeout_handler handler, void *eloop_data, void *user_data)
{
    const auto matches = [](void *wanted, void *actual) {
        return wanted == ELOOP_ALL_CTX || wanted == actual;
    };
    return static_cast<int>(state().timeouts.remove_if([&](const timeout &t) {
        return t.handler == handler && matches(eloop_data, t.eloop_data) &&
               matches(user_data, t.user_data);
    }));
}

int eloop_register_signal(int sig, eloop_signal_handler handler, void *user_data)
{
    if (sig < 1 || sig >= NSIG) return -1;
    return vesk::or_on_oom(-1, [&] {
        state().signals.push_back({sig, handler, user_data});
        std::signal(sig, record_signal);
        return 0;
    });
}

void eloop_run(void)
{
    while (!state().terminate) {
        if (has_nothing_left()) return;
        const int ready = wait_for_events();
        if (ready < 0 && errno != EINTR) {
            std::perror("select");
            return;
        }
        run_signal_handlers();
        run_first_timeout();
        run_tasks();
        if (ready <= 0) continue;
        run_ready(state().writers, false);
        state().readers_changed = false;
        run_ready(state().readers, state().readers_changed);
    }
}

void eloop_terminate(void)
{
    state().terminate = true;
}

int eloop_terminated(void)
{
    return state().terminate;
}

void eloop_destroy(void)
{
    // Swapped away, so that the arrays themselves are freed as well.
    std::list<timeout>{}.swap(state().timeouts);
    std::list<timeout>{}.swap(state().spare);
    state().readers = {};
    state().writers = {};
    drop_tasks();
    std::vector<signal_entry>{}.swap(state().signals);
}

void *eloop_get_user_data(void)
{
    return state().user_data;
}
