/*
 * Stands in for /dev/watchdog; to be preloaded into the daemon. Opening the device gives a
 * descriptor to a private file. What is done with it is appended to /tmp/watchdog.log, a line each,
 * behind the monotonic time in seconds: 12.345 open 12.345 settimeout 240 12.345 keepalive 12.345
 * write V 12.345 close A child closes the descriptors that it inherited without closing the device.
 * So a close counts only in the process that last did something with the device.
 */
#undef _FILE_OFFSET_BITS /* both names of each function are defined here */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/watchdog.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

static int device = -1;
static pid_t owner;

/* Under an emulator the daemon's children are programs of another machine, which cannot load this.
 */
__attribute__((constructor)) static void hide_from_children(void)
{
    if (getenv("VESK_PRELOAD")) unsetenv("LD_PRELOAD");
}

/* The function of that name behind this library, once looked up kept in *function. */
static void find_next(void *function, const char *name)
{
    void *symbol;
    memcpy(&symbol, function, sizeof symbol);
    if (symbol) return;
    symbol = dlsym(RTLD_NEXT, name);
    memcpy(function, &symbol, sizeof symbol);
}

/* Neither of these two comes back to the functions below. */
static int raw_open(const char *path, int flags, unsigned mode)
{
    return (int)syscall(SYS_openat, AT_FDCWD, path, flags, mode);
}

static void raw_close(int fd)
{
    syscall(SYS_close, fd);
}

static void record(const char *event, const char *text, size_t length)
{
    const int saved = errno;
    struct timespec now;
    char line[128];
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int size = snprintf(line, sizeof line, "%lld.%03ld %s%s%.*s\n", (long long)now.tv_sec,
                              now.tv_nsec / 1000000, event, length ? " " : "", (int)length, text);
    const int log = raw_open("/tmp/watchdog.log", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (log >= 0) {
        syscall(SYS_write, log, line, (size_t)size);
        raw_close(log);
    }
    owner = getpid();
    errno = saved;
}

static int is_device(const char *path)
{
    return strcmp(path, "/dev/watchdog") == 0;
}

static int open_device(int flags)
{
    char path[32];
    const int file = memfd_create("watchdog", MFD_CLOEXEC);
    snprintf(path, sizeof path, "/proc/self/fd/%d", file);
    device = raw_open(path, flags & (O_ACCMODE | O_CLOEXEC | O_NONBLOCK), 0);
    raw_close(file);
    record("open", "", 0);
    return device;
}

static unsigned mode_of(int flags, va_list arguments)
{
    return flags & (O_CREAT | __O_TMPFILE) ? va_arg(arguments, unsigned) : 0;
}

#define DEFINE_OPEN(name)                                                                          \
    EXPORT int name(const char *path, int flags, ...)                                              \
    {                                                                                              \
        static int (*next)(const char *, int, ...);                                                \
        va_list arguments;                                                                         \
        if (is_device(path)) return open_device(flags);                                            \
        find_next(&next, #name);                                                                   \
        va_start(arguments, flags);                                                                \
        const unsigned mode = mode_of(flags, arguments);                                           \
        va_end(arguments);                                                                         \
        return next(path, flags, mode);                                                            \
    }

#define DEFINE_OPENAT(name)                                                                        \
    EXPORT int name(int directory, const char *path, int flags, ...)                               \
    {                                                                                              \
        static int (*next)(int, const char *, int, ...);                                           \
        va_list arguments;                                                                         \
        if (is_device(path)) return open_device(flags);                                            \
        find_next(&next, #name);                                                                   \
        va_start(arguments, flags);                                                                \
        const unsigned mode = mode_of(flags, arguments);                                           \
        va_end(arguments);                                                                         \
        return next(directory, path, flags, mode);                                                 \
    }

/* What a fortified build calls where it passes no mode. */
#define DEFINE_FORTIFIED_OPEN(name)                                                                \
    EXPORT int name(const char *path, int flags);                                                  \
    int name(const char *path, int flags)                                                          \
    {                                                                                              \
        static int (*next)(const char *, int);                                                     \
        if (is_device(path)) return open_device(flags);                                            \
        find_next(&next, #name);                                                                   \
        return next(path, flags);                                                                  \
    }

DEFINE_OPEN(open)
DEFINE_OPEN(open64)
DEFINE_OPENAT(openat)
DEFINE_OPENAT(openat64)
DEFINE_FORTIFIED_OPEN(__open_2)
DEFINE_FORTIFIED_OPEN(__open64_2)

#define DEFINE_IOCTL(name)                                                                         \
    EXPORT int name(int fd, unsigned long request, ...);                                           \
    int name(int fd, unsigned long request, ...)                                                   \
    {                                                                                              \
        static int (*next)(int, unsigned long, ...);                                               \
        va_list arguments;                                                                         \
        va_start(arguments, request);                                                              \
        void *argument = va_arg(arguments, void *);                                                \
        va_end(arguments);                                                                         \
        if (fd >= 0 && fd == device && feed_device(request, argument)) return 0;                   \
        find_next(&next, #name);                                                                   \
        return next(fd, request, argument);                                                        \
    }

/* Whether it is one of the two requests that the device takes. */
static int feed_device(unsigned long request, const void *argument)
{
    char seconds[16] = "";
    if (request == WDIOC_SETTIMEOUT)
        snprintf(seconds, sizeof seconds, "%d", *(const int *)argument);
    else if (request != WDIOC_KEEPALIVE)
        return 0;
    record(*seconds ? "settimeout" : "keepalive", seconds, strlen(seconds));
    return 1;
}

DEFINE_IOCTL(ioctl)
DEFINE_IOCTL(__ioctl_time64) /* what a build with wide times calls on a 32-bit machine */

EXPORT ssize_t write(int fd, const void *data, size_t size)
{
    static ssize_t (*next)(int, const void *, size_t);
    if (fd >= 0 && fd == device) record("write", data, size);
    find_next(&next, "write");
    return next(fd, data, size);
}

EXPORT int close(int fd)
{
    static int (*next)(int);
    if (fd >= 0 && fd == device) {
        if (getpid() == owner) record("close", "", 0);
        device = -1;
    }
    find_next(&next, "close");
    return next(fd);
}
