#ifndef VESK_BENCH_ADDRESSES_H
#define VESK_BENCH_ADDRESSES_H

#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

// Where the daemon listens, and the echo server in its place.

namespace vesk::bench {

constexpr char delimiter = 0x13;

/** An abstract name; the whole address counts, with the zeros that fill it. */
inline sockaddr_un local_address()
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path + 1, "vesk_sock_lsql");
    return address;
}

inline sockaddr_in tcp_address()
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(8002);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/** For bind() and connect(): calls function(address, its length). */
template <typename Function> int with_address(bool local, Function &&function)
{
    if (local) {
        const sockaddr_un address = local_address();
        return function(reinterpret_cast<const sockaddr *>(&address), sizeof address);
    }
    const sockaddr_in address = tcp_address();
    return function(reinterpret_cast<const sockaddr *>(&address), sizeof address);
}

} // namespace vesk::bench

#endif
