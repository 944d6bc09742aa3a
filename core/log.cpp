#include "vesk/debug.h"

#include "core/log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>
#include <string>
#include <unistd.h>

#include "base/or_on_oom.h"
#include "base/text.h"
#include "base/unique_fd.h"

namespace {

constexpr const char *console_path = "/dev/console";

int level = 0;
int timestamp = 0;
int exit_on_fatal = 0;
std::FILE *stream = nullptr;

std::FILE *log_stream()
{
    return stream ? stream : stderr;
}

/** "[Sat Nov 21 09:00:00 2026] ", or nothing when time stamps are off. */
struct time_prefix {
    char text[40] = "";

    time_prefix()
    {
        if (!timestamp) return;
        const std::time_t now = std::time(nullptr);
        char buffer[32];
        if (!ctime_r(&now, buffer)) return;
        buffer[std::strcspn(buffer, "\n")] = '\0';
        std::snprintf(text, sizeof text, "[%s] ", buffer);
    }
};

void write_line(const char *format, va_list arguments) VESK_PRINTF(1, 0);
void write_line(const char *format, va_list arguments)
{
    const int saved = errno;
    vesk::begin_log_line();
    errno = saved; // a message may print it with %m
    std::vfprintf(log_stream(), format, arguments);
    vesk::flush_log();
    errno = saved;
}

/** Whether a write does not have to wait: standard error may be a console that was stopped. */
bool takes_output(int fd)
{
    const int saved = errno;
    pollfd descriptor{fd, POLLOUT, 0};
    const bool takes = poll(&descriptor, 1, 0) != 0;
    errno = saved;
    return takes;
}

void end_fatal()
{
    if (exit_on_fatal) {
        vesk_debug_eprintf("Exiting due to fatal error.\n");
        std::exit(1);
    }
    vesk_debug_eprintf("Attempting to continue operation.\n");
}

} // namespace

const int VESK_DEBUG_MAX = 6;
int vesk_debug_override = 0;

namespace vesk {

int fail(const char *format, ...)
{
    if (level == 0) return 1;
    va_list arguments;
    va_start(arguments, format);
    write_line(format, arguments);
    va_end(arguments);
    return 1;
}

std::nullptr_t none(const char *format, ...)
{
    if (level == 0) return nullptr;
    va_list arguments;
    va_start(arguments, format);
    write_line(format, arguments);
    va_end(arguments);
    return nullptr;
}

int error(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    write_line(format, arguments);
    va_end(arguments);
    return 1;
}

bool is_stream(const std::FILE *candidate)
{
    return candidate || fail("Null stream.\n") == 0;
}

void begin_log_line()
{
    std::fprintf(log_stream(), "vesk: %s", time_prefix{}.text);
}

void flush_log()
{
    if (std::fflush(log_stream()) == 0) return;
    __fpurge(log_stream());
    std::clearerr(log_stream());
}

void continue_log_line(const char *format, ...)
{
    const int saved = errno;
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(log_stream(), format, arguments);
    va_end(arguments);
    flush_log();
    errno = saved;
}

void log_from_signal(std::initializer_list<const char *> texts) noexcept
{
    const int saved = errno;
    const int fd = stream ? fileno(stream) : STDERR_FILENO;
    for (const char *text : texts)
        if (write(fd, text, std::strlen(text)) < 0) break;
    errno = saved;
}

std::FILE *exchange_log_stream(std::FILE *replacement)
{
    std::FILE *old = stream;
    stream = replacement;
    return old;
}

std::FILE *open_console(const char *path)
{
    unique_fd fd{
        open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666)};
    if (!fd) return nullptr;
    std::FILE *opened = fdopen(fd.get(), "w");
    if (opened) static_cast<void>(fd.release());
    return opened;
}

} // namespace vesk

void vesk_debug_init(void)
{
    if (stream) return;
    stream = vesk::open_console(console_path);
    if (!stream) stream = stderr;
}

int vesk_debug_set(int new_level)
{
    if (new_level < 0 || new_level > VESK_DEBUG_MAX) return 1;
    level = new_level;
    vesk_debug_printf("Debug level is now %d.\n", level);
    return 0;
}

int vesk_debug_get(void)
{
    return level;
}

int vesk_debug_set_timestamp(int on)
{
    if (on != 0 && on != 1) return 1;
    timestamp = on;
    return 0;
}

int vesk_debug_get_timestamp(void)
{
    return timestamp;
}

int vesk_debug_set_exit_on_fatal(int on)
{
    if (on != 0 && on != 1) return 1;
    exit_on_fatal = on;
    return 0;
}

FILE *vesk_debug_get_stream(void)
{
    return log_stream();
}

void vesk_debug_printf(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    write_line(format, arguments);
    va_end(arguments);
}

void vesk_debug_eprintf(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    write_line(format, arguments);
    va_end(arguments);
}

void vesk_debug_1printf(const char *format, ...)
{
    if (level == 0) return;
    va_list arguments;
    va_start(arguments, format);
    write_line(format, arguments);
    va_end(arguments);
}

void vesk_debug_lprintf(int needed, const char *format, ...)
{
    if (level < needed) return;
    va_list arguments;
    va_start(arguments, format);
    write_line(format, arguments);
    va_end(arguments);
}

void vesk_debug_fatal(const char *message)
{
    vesk_debug_eprintf("Fatal error: %s\n", message);
    end_fatal();
}

void vesk_debug_perror(const char *message)
{
    const int saved = errno;
    const std::string line = vesk::or_on_oom(std::string{}, [&] {
        return vesk::format_text(vesk::any_length, "vesk: %s%s", time_prefix{}.text, message);
    });
    errno = saved;
    if (takes_output(STDERR_FILENO)) std::perror(line.empty() ? message : line.c_str());
    errno = saved;
}

void vesk_debug_fatal_perror(const char *message)
{
    const int saved = errno;
    const std::string text = vesk::or_on_oom(std::string{}, [&] {
        return vesk::format_text(vesk::any_length, "Fatal error: %s", message);
    });
    errno = saved;
    vesk_debug_perror(text.empty() ? message : text.c_str());
    end_fatal();
}
