#include "vesk/command.h"

#include "process/spawn.h"

#include <cerrno>
#include <cstdio>
#include <new>
#include <sys/wait.h>

#include "base/or_on_oom.h"
#include "core/log.h"

namespace {

constexpr unsigned output_when_debugging = 1;

/** Waits for a command and ends its line in the log. */
int wait_for(pid_t pid)
{
    if (pid == -1) return -1;
    int status = 0;
    pid_t done;
    do
        done = waitpid(pid, &status, 0);
    while (done < 0 && errno == EINTR);
    if (vesk_debug_get() != 0) {
        if (done < 0)
            vesk::continue_log_line("-> errno = %d\n", errno);
        else
            vesk::continue_log_line("-> status = %d\n", status);
    }
    return done < 0 ? -1 : status;
}

} // namespace

int vesk_command_execl(const char *path, ...)
{
    va_list arguments;
    va_start(arguments, path);
    const int result = vesk::or_on_oom(vesk::no_vector, [&] {
        const auto vector = vesk::make_vector(path, &arguments);
        return vesk_command_execv(vector.data());
    });
    va_end(arguments);
    return result == vesk::no_vector ? vesk::report_no_memory() : result;
}

int vesk_command_execlod(const char *path, ...)
{
    va_list arguments;
    va_start(arguments, path);
    const int result = vesk::or_on_oom(vesk::no_vector, [&] {
        const auto vector = vesk::make_vector(path, &arguments);
        const unsigned output = va_arg(arguments, unsigned);
        return vesk_command_execvod(vector.data(), output, va_arg(arguments, const char *));
    });
    va_end(arguments);
    return result == vesk::no_vector ? vesk::report_no_memory() : result;
}

int vesk_command_execv(char *const argv[])
{
    return vesk_command_execvod(argv, output_when_debugging, nullptr);
}

int vesk_command_execvod(char *const argv[], unsigned output, const char *directory)
{
    const vesk::hold_signal held{SIGCHLD};
    return wait_for(vesk::spawn(argv, output, directory));
}
