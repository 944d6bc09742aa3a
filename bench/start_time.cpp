#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "base/unique_fd.h"
#include "bench/addresses.h"

// How long a program takes from its start until it listens.
//
//   start_time SERVER PROGRAM [ARGUMENT]...
//
// SERVER says where it listens. Prints seconds; the program is ended. The time goes from before the
// process is made, and is known to a tenth of a millisecond: that often it is tried to connect.

namespace {

using timer = std::chrono::steady_clock;
using vesk::unique_fd;

constexpr std::chrono::microseconds between_tries{100};
constexpr std::chrono::seconds patience{60};

bool is_listening(const vesk::bench::server_address &server)
{
    const unique_fd fd{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    return vesk::bench::with_address(server, true, [&](const sockaddr *a, socklen_t length) {
               return connect(fd.get(), a, length);
           }) == 0;
}

/**
 * In a session of its own: the daemon ends its process group with itself. What it prints goes where
 * errors go.
 */
pid_t start(char *argv[])
{
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    pid_t child = -1;
    if (posix_spawn(&child, argv[0], &actions, &attributes, argv, environ) != 0) child = -1;
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return child;
}

/** Without reaping it: its number stays its own. */
bool has_ended(pid_t child)
{
    siginfo_t ended{};
    waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT);
    return ended.si_pid == child;
}

/** False when it ended, or does not come to listen. */
bool wait_for(pid_t child, const vesk::bench::server_address &server, timer::time_point limit)
{
    while (!is_listening(server)) {
        if (timer::now() > limit || has_ended(child)) return false;
        std::this_thread::sleep_for(between_tries);
    }
    return true;
}

void end(pid_t child, int signal_number)
{
    kill(child, signal_number);
    waitpid(child, nullptr, 0);
}

} // namespace

int main(int argc, char *argv[])
{
    const auto *server = argc > 2 ? vesk::bench::address_of(argv[1]) : nullptr;
    if (!server) {
        std::fputs("usage: start_time daemon|E|X PROGRAM [ARGUMENT]...\n", stderr);
        return 2;
    }
    if (is_listening(*server)) {
        std::fputs("start_time: something listens already\n", stderr);
        return 1;
    }
    prctl(PR_SET_TIMERSLACK, 1UL); // this thread's alone: the program gets the usual one
    const auto before = timer::now();
    const pid_t child = start(argv + 2);
    if (child < 0 || !wait_for(child, *server, before + patience)) {
        std::fprintf(stderr, "start_time: %s does not listen\n", argv[2]);
        if (child > 0) end(child, SIGKILL);
        return 1;
    }
    const std::chrono::duration<double> taken = timer::now() - before;
    std::printf("%.6f\n", taken.count());
    end(child, SIGTERM);
    return 0;
}
