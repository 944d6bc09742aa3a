#ifndef VESK_PROCESS_SPAWN_H
#define VESK_PROCESS_SPAWN_H

#include <csignal>
#include <cstdarg>
#include <sys/types.h>
#include <vector>

namespace vesk {

/** Nothing below this process id is ever signalled: -1 is every process, 0 the own group, 1 init.
 */
constexpr pid_t lowest_pid = 2;

/**
 * Holds a signal back while it lives. SIGCHLD: its handler reaps every child and must not steal the
 * status of a command that is being waited for, or come before a service's process id is known.
 */
class hold_signal {
  public:
    explicit hold_signal(int number);
    ~hold_signal();
    hold_signal(const hold_signal &) = delete;
    hold_signal &operator=(const hold_signal &) = delete;

  private:
    sigset_t before_;
};

/**
 * Starts a program, with output and directory as in vesk/command.h, and begins its line in the log.
 * The child's process id, 0 in no-actions mode, -1 when there can be no child.
 */
pid_t spawn(char *const argv[], unsigned output, const char *directory);

/** What a variadic form gives inside when its vector cannot be built, and what it says and gives
 * then. */
constexpr int no_vector = -2;
int report_no_memory();

/** path and the arguments up to a null pointer, ended by one. Throws std::bad_alloc. */
std::vector<char *> make_vector(const char *path, va_list *arguments);

} // namespace vesk

#endif
