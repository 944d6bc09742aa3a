#ifndef VESK_BENCH_ADDRESSES_H
#define VESK_BENCH_ADDRESSES_H

#include <cstring>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>

// Where the daemon listens, and where the echo servers do that run beside it.

namespace vesk::bench {

constexpr char delimiter = 0x13;

struct server_address {
    std::string_view server;
    const char *local_name;
    in_port_t port;
};

constexpr server_address server_addresses[] = {
    {"daemon", "vesk_sock_lsql", 8002},
    {"E", "vesk_bench_echo", 8102},
    {"X", "vesk_bench_tree", 8103},
};

/** Null for another name. */
inline const server_address *address_of(std::string_view server)
{
    for (const server_address &known : server_addresses)
        if (known.server == server) return &known;
    return nullptr;
}

/** An abstract name; the whole address counts, with the zeros that fill it. */
inline sockaddr_un local_address(const server_address &server)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path + 1, server.local_name);
    return address;
}

inline sockaddr_in tcp_address(const server_address &server)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(server.port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/** For bind() and connect(): calls function(address, its length). */
template <typename Function>
int with_address(const server_address &server, bool local, Function &&function)
{
    if (local) {
        const sockaddr_un address = local_address(server);
        return function(reinterpret_cast<const sockaddr *>(&address), sizeof address);
    }
    const sockaddr_in address = tcp_address(server);
    return function(reinterpret_cast<const sockaddr *>(&address), sizeof address);
}

} // namespace vesk::bench

#endif
