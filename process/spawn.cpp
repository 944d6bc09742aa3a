#include "process/spawn.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include "core/log.h"
#include "vesk/command.h"

int vesk_process_no_actions = 0;

namespace vesk {
namespace {

constexpr int not_executed = 127;
constexpr int highest_fd = 1023;

bool is_silent(unsigned output)
{
    return output == 0 || (output == 1 && vesk_debug_get() == 0);
}

void begin_command_line(char *const argv[])
{
    if (vesk_debug_get() == 0) return;
    begin_log_line();
    continue_log_line("Running \"");
    for (char *const *argument = argv; *argument; ++argument)
        continue_log_line(argument == argv ? "%s" : " %s", *argument);
    continue_log_line("\" ");
}

[[noreturn]] void give_up(const char *program)
{
    char message[80];
    std::snprintf(message, sizeof message, "Unable to execute \"%s\"", program);
    vesk_debug_perror(message);
    _exit(not_executed);
}

void reset_signals(const sigset_t &mask)
{
    for (const int number : {SIGCHLD, SIGTERM, SIGINT, SIGHUP})
        std::signal(number, SIG_DFL);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
}

void change_directory(const char *directory, const char *program)
{
    if (!directory || chdir(directory) == 0) return;
    char message[160];
    std::snprintf(message, sizeof message,
                  "Unable to change directories to \"%s\" while executing \"%s\"", directory,
                  program);
    vesk_debug_perror(message);
}

void redirect(int null_fd, bool silent)
{
    if (null_fd != STDIN_FILENO) {
        close(STDIN_FILENO);
        if (dup(null_fd) < 0) return;
    }
    if (silent) {
        if (null_fd != STDOUT_FILENO) close(STDOUT_FILENO);
        if (null_fd != STDERR_FILENO) close(STDERR_FILENO);
        for (int copies = 0; copies < 2; ++copies)
            if (dup(null_fd) < 0) return;
    }
    if (null_fd > STDERR_FILENO) close(null_fd);
}

[[noreturn]] void run_child(char *const argv[], bool silent, const char *directory,
                            const sigset_t &mask)
{
    reset_signals(mask);
    change_directory(directory, argv[0]);
    const int null_fd = open("/dev/null", O_RDWR);
    if (null_fd < 0) give_up(argv[0]);
    redirect(null_fd, silent);
    for (int fd = STDERR_FILENO + 1; fd <= highest_fd; ++fd)
        close(fd);
    setsid();
    execvp(argv[0], argv);
    give_up(argv[0]);
}

} // namespace

hold_signal::hold_signal(int number)
{
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, number);
    sigprocmask(SIG_BLOCK, &held, &before_);
}

hold_signal::~hold_signal()
{
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

pid_t spawn(char *const argv[], unsigned output, const char *directory)
{
    if (!argv || !argv[0]) {
        errno = EINVAL;
        return -1;
    }
    begin_command_line(argv);
    if (vesk_process_no_actions) {
        if (vesk_debug_get() != 0) continue_log_line("-> (no actions) ");
        return 0;
    }
    // The child starts with an ordinary mask, whatever its parent holds back just now.
    sigset_t mask;
    sigprocmask(SIG_BLOCK, nullptr, &mask);
    sigdelset(&mask, SIGCHLD);
    // A child that has not yet reset its signals must not run the daemon's exit handler; held back,
    // SIGTERM does not end the daemon itself meanwhile.
    const hold_signal held{SIGTERM};
    struct sigaction fallback = {};
    struct sigaction saved;
    fallback.sa_handler = SIG_DFL;
    sigaction(SIGTERM, &fallback, &saved);
    const pid_t pid = fork();
    if (pid < 0) {
        // SIGTERM stays at its default: a daemon that cannot fork is better ended by init.
        std::perror("fork");
        return -1;
    }
    if (pid == 0) run_child(argv, is_silent(output), directory, mask);
    sigaction(SIGTERM, &saved, nullptr);
    if (vesk_debug_get() != 0) continue_log_line("-> pid = %d ", static_cast<int>(pid));
    return pid;
}

int report_no_memory()
{
    std::perror("malloc");
    return -1;
}

std::vector<char *> make_vector(const char *path, va_list *arguments)
{
    std::vector<char *> vector{const_cast<char *>(path)};
    while (vector.back())
        vector.push_back(va_arg(*arguments, char *));
    return vector;
}

} // namespace vesk
