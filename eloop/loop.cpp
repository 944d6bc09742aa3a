#include "eloop/eloop.h"

#include "eloop/write.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <list>
#include <sys/select.h>
#include <sys/times.h>
#include <unistd.h>
#include <vector>

#include "base/never_destroyed.h"
#include "base/or_on_oom.h"

// Signals: the recording handler only counts. The registered signals are blocked from the look at
// the count until pselect opens the mask again, so that none arrives unnoticed just before the
// wait.

namespace {

struct reader {
    int sock;
    eloop_sock_handler handler;
    void *eloop_data;
    void *user_data;
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
    std::vector<reader> readers;
    std::vector<reader> writers;
    std::list<timeout> timeouts; // sorted by due time
    std::list<timeout> spare;    // at most one entry, of a timeout that has run
    long ticks_per_second = 100;
    std::vector<signal_entry> signals;
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

uint32_t ticks_now()
{
    struct tms unused;
    return static_cast<uint32_t>(times(&unused));
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

int add_watch(std::vector<reader> &list, const reader &entry)
{
    if (!can_be_watched(entry.sock)) return -1;
    return vesk::or_on_oom(-1, [&] {
        list.push_back(entry);
        state().highest = std::max(state().highest, entry.sock);
        return 0;
    });
}

int remove_watch(std::vector<reader> &list, int sock)
{
    const auto found =
        std::find_if(list.begin(), list.end(), [&](const reader &r) { return r.sock == sock; });
    if (found == list.end()) return -1;
    list.erase(found);
    return 0;
}

fd_set watched(const std::vector<reader> &list)
{
    fd_set set;
    FD_ZERO(&set);
    for (const reader &entry : list)
        FD_SET(entry.sock, &set);
    return set;
}

/** How long to wait: until the first timeout, not at all when a signal is pending; null: for ever.
 */
const timespec *wait_time(timespec &time)
{
    time = {};
    if (pending) return &time;
    if (state().timeouts.empty()) return nullptr;
    const long ticks = state().ticks_per_second;
    const long wait = std::max(ticks_between(state().timeouts.front().due, ticks_now()), 0);
    time.tv_sec = wait / ticks;
    time.tv_nsec = (wait % ticks) * (1000000 / ticks) * 1000;
    return &time;
}

int wait_for_events(fd_set &readable, fd_set &writable)
{
    sigset_t ours;
    sigset_t before;
    sigemptyset(&ours);
    for (const signal_entry &entry : state().signals)
        sigaddset(&ours, entry.number);
    sigprocmask(SIG_BLOCK, &ours, &before);
    timespec time;
    const int ready =
        pselect(state().highest + 1, &readable, &writable, nullptr, wait_time(time), &before);
    const int saved = errno;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    errno = saved;
    return ready;
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

void run_writers(const fd_set &writable)
{
    // A handler may end any connection: look each one up again before it is called.
    const std::vector<reader> &writers = state().writers;
    for (size_t i = 0; i < writers.size(); ++i) {
        const reader entry = writers[i];
        if (!FD_ISSET(entry.sock, &writable)) continue;
        entry.handler(entry.sock, entry.eloop_data, entry.user_data);
        if (i < writers.size() && writers[i].sock != entry.sock) --i;
    }
}

void run_readers(const fd_set &readable)
{
    state().readers_changed = false;
    for (size_t i = 0; i < state().readers.size(); ++i) {
        const reader entry = state().readers[i];
        if (!FD_ISSET(entry.sock, &readable)) continue;
        entry.handler(entry.sock, entry.eloop_data, entry.user_data);
        if (state().readers_changed) return;
    }
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

} // namespace vesk

void eloop_init(void *user_data)
{
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
        if (state().timeouts.empty() && state().readers.empty() && state().writers.empty()) return;
        fd_set readable = watched(state().readers);
        fd_set writable = watched(state().writers);
        const int ready = wait_for_events(readable, writable);
        if (ready < 0 && errno != EINTR) {
            std::perror("select");
            return;
        }
        run_signal_handlers();
        run_first_timeout();
        if (ready <= 0) continue;
        run_writers(writable);
        run_readers(readable);
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
    std::vector<reader>{}.swap(state().readers);
    std::vector<reader>{}.swap(state().writers);
    std::vector<signal_entry>{}.swap(state().signals);
}

void *eloop_get_user_data(void)
{
    return state().user_data;
}
