#include "clients/peer.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include "clients/answer.h"
#include "clients/failure.h"
#include "query/limits.h"

namespace vesk::client {
namespace {

constexpr const char *lsql_socket = "vesk_sock_lsql";
constexpr const char *inform_socket = "vesk_sock_inform";
constexpr unsigned short notification_port = 8001;
constexpr uint32_t inform_version = 0;
constexpr size_t longest_name = sizeof sockaddr_un::sun_path - 1;

[[noreturn]] void unreachable(const std::string &message)
{
    throw failure{status::unreachable, message};
}

void set_patience(int fd, unsigned seconds)
{
    const timeval time{.tv_sec = static_cast<time_t>(seconds), .tv_usec = 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

bool is_timeout(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINPROGRESS;
}

unique_fd connect_to(const sockaddr *address, socklen_t length, unsigned patience)
{
    unique_fd fd{socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    if (!fd) unreachable(std::string{"cannot make a socket: "} + std::strerror(errno));
    set_patience(fd.get(), patience);
    while (connect(fd.get(), address, length) != 0) {
        if (errno == EINTR) continue;
        if (errno == EISCONN) break; // since it was interrupted
        const char *reason = is_timeout(errno) ? "it takes no connection" : std::strerror(errno);
        unreachable(std::string{"cannot reach the daemon: "} + reason);
    }
    return fd;
}

std::string number(uint32_t value)
{
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

/** Why there may be no answer to a request that was sent. */
std::string why_unanswered(const std::string &document)
{
    if (document.size() > max_request)
        return "the request has " + std::to_string(document.size()) + " bytes, more than the " +
               std::to_string(max_request) + " that the daemon takes";
    const std::string fault = fault_of_xml(document);
    if (!fault.empty()) return "the request is not well-formed XML: " + fault;
    return "the request or its answer is over a limit, or the daemon has ended";
}

} // namespace

connection connection::to_local(std::string_view name, unsigned patience_seconds)
{
    // The zeros behind the name belong to an abstract address.
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data(), std::min(name.size(), longest_name));
    return {
        connect_to(reinterpret_cast<const sockaddr *>(&address), sizeof address, patience_seconds),
        patience_seconds};
}

connection connection::to_port(unsigned short port, unsigned patience_seconds)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return {
        connect_to(reinterpret_cast<const sockaddr *>(&address), sizeof address, patience_seconds),
        patience_seconds};
}

bool connection::send(std::string_view data)
{
    while (!data.empty()) {
        const ssize_t done = ::send(fd_.get(), data.data(), data.size(), MSG_NOSIGNAL);
        if (done < 0 && errno == EINTR) continue;
        if (done < 0 && is_timeout(errno))
            unreachable("the daemon took nothing for " + std::to_string(patience_) + " s");
        if (done < 0) return false;
        data.remove_prefix(static_cast<size_t>(done));
    }
    return true;
}

std::string connection::receive()
{
    std::string block(size_t{64} * 1024, '\0');
    for (;;) {
        const ssize_t got = recv(fd_.get(), block.data(), block.size(), 0);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && is_timeout(errno))
            unreachable("no answer from the daemon for " + std::to_string(patience_) + " s");
        block.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return block;
    }
}

std::string connection::receive_all()
{
    std::string all;
    for (std::string block = receive(); !block.empty(); block = receive())
        all += block;
    return all;
}

bool connection::has_input(int milliseconds) const
{
    pollfd watched{.fd = fd_.get(), .events = POLLIN, .revents = 0};
    int ready = 0;
    do // a stop and its end interrupt
        ready = poll(&watched, 1, milliseconds);
    while (ready < 0 && errno == EINTR);
    return ready > 0;
}

void connection::wait_for_ever()
{
    set_patience(fd_.get(), 0);
}

std::string peer::ask(const std::string &document) const
{
    if (document.size() > UINT32_MAX) misuse("the request is too long");
    connection daemon = connection::to_local(lsql_socket, patience_);
    const bool sent = daemon.send(number(static_cast<uint32_t>(document.size())) + document);
    std::string answer = sent ? daemon.receive_all() : "";
    if (answer.empty())
        unreachable("the daemon closed the connection without an answer: " +
                    why_unanswered(document));
    return answer;
}

std::string peer::inform(const std::string &parameters) const
{
    if (parameters.size() > UINT32_MAX) misuse("the message is too long");
    connection daemon = connection::to_local(inform_socket, patience_);
    const std::string header =
        number(inform_version) + number(static_cast<uint32_t>(parameters.size()));
    std::string reply = daemon.send(header + parameters) ? daemon.receive_all() : "";
    if (!reply.ends_with('\n')) unreachable("the daemon closed the connection without a reply");
    reply.pop_back();
    return reply;
}

connection peer::subscribe() const
{
    connection daemon = connection::to_port(notification_port, patience_);
    daemon.send("x"); // whoever says something is a subscriber
    return daemon;
}

} // namespace vesk::client
