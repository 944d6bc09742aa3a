#include "vesk/socket.h"

#include "core/log.h"

#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "base/unique_fd.h"

namespace {

constexpr int backlog = 50;
constexpr unsigned abstract_name = 1;
constexpr size_t message_size = 160;

using vesk::unique_fd;

/** Reports what errno says and gives -1. */
int failed(const char *what)
{
    vesk_debug_perror(what);
    return -1;
}

int set_status_flag(int fd, bool nonblock)
{
    const int flags = fcntl(fd, F_GETFL);
    if (flags >= 0 && fcntl(fd, F_SETFL, nonblock ? flags | O_NONBLOCK : flags & ~O_NONBLOCK) >= 0)
        return 0;
    vesk_debug_perror("fcntl");
    close(fd);
    return 1;
}

/** Copies a name into a field that keeps its last byte zero. */
void copy_name(char *field, size_t size, const char *name)
{
    std::memcpy(field, name, strnlen(name, size - 1));
}

/** The address of a local socket; a stale file of a file name is removed on the way. */
sockaddr_un local_address(const char *name, unsigned flags)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (flags & abstract_name) {
        copy_name(address.sun_path + 1, sizeof address.sun_path - 1, name);
        return address;
    }
    char resolved[PATH_MAX];
    const bool exists = realpath(name, resolved) != nullptr;
    if (exists) unlink(resolved);
    copy_name(address.sun_path, sizeof address.sun_path, exists ? resolved : name);
    return address;
}

/** Binds and listens; the message says to what it could not be bound. */
int listening(unique_fd fd, const sockaddr *address, socklen_t length, const char *bind_message)
{
    if (bind(fd.get(), address, length) != 0) return failed(bind_message);
    if (listen(fd.get(), backlog) != 0) return failed("listen");
    return fd.release();
}

} // namespace

int vesk_socket_set_nonblock(int fd)
{
    return set_status_flag(fd, true);
}

int vesk_socket_set_block(int fd)
{
    return set_status_flag(fd, false);
}

int vesk_socket_get_unix(const char *name, unsigned flags)
{
    if (!name) {
        vesk::fail("Null name.\n");
        return -1;
    }
    unique_fd fd{socket(AF_UNIX, SOCK_STREAM, 0)};
    if (!fd) return failed("socket");
    if (vesk_socket_set_nonblock(fd.get()) != 0) {
        static_cast<void>(fd.release()); // closed by the failure
        return -1;
    }
    if (fcntl(fd.get(), F_SETFD, FD_CLOEXEC) < 0) return failed("fcntl");
    const sockaddr_un address = local_address(name, flags);
    char message[message_size];
    std::snprintf(message, sizeof message, "Unable to bind to domain %s", name);
    return listening(std::move(fd), reinterpret_cast<const sockaddr *>(&address), sizeof address,
                     message);
}

int vesk_socket_get_udp(void)
{
    unique_fd fd{socket(AF_INET, SOCK_DGRAM, 0)};
    if (!fd) return failed("socket");
    if (fcntl(fd.get(), F_SETFD, FD_CLOEXEC) < 0) return failed("fcntl");
    return fd.release();
}

int vesk_socket_get_tcp(unsigned short port, int loopback_only)
{
    unique_fd fd{socket(AF_INET, SOCK_STREAM, 0)};
    if (!fd) return failed("socket");
    const int on = 1;
    setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (vesk_socket_set_nonblock(fd.get()) != 0) {
        static_cast<void>(fd.release()); // closed by the failure
        return -1;
    }
    if (fcntl(fd.get(), F_SETFD, FD_CLOEXEC) < 0) return failed("fcntl");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = loopback_only ? inet_addr("127.0.0.1") : htonl(INADDR_ANY);
    char message[message_size];
    std::snprintf(message, sizeof message, "Unable to bind to port %d", port);
    return listening(std::move(fd), reinterpret_cast<const sockaddr *>(&address), sizeof address,
                     message);
}
