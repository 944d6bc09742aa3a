#ifndef VESK_SOCKET_H
#define VESK_SOCKET_H

#include "vesk/export.h"

VESK_BEGIN_DECLS

/*
 * Listening sockets. Each is close-on-exec, and all but the datagram socket are non-blocking. A
 * failure is reported with vesk_debug_perror(), leaks no descriptor and gives -1.
 */

/** Makes fd non-blocking. 0, or 1 on failure, when fd has been closed. */
VESK_API int vesk_socket_set_nonblock(int fd);

/** Makes fd blocking. 0, or 1 on failure, when fd has been closed. */
VESK_API int vesk_socket_set_block(int fd);

/**
 * Listening local stream socket. Bit 0 of flags set: an abstract name of at most 106 characters,
 * bound with the full address length of 110 bytes, with which clients must connect as well. Clear:
 * a file name of at most 107 characters; a stale file of that name is removed first. -1 on failure.
 */
VESK_API int vesk_socket_get_unix(const char *name, unsigned flags);

/** Unbound, blocking IPv4 datagram socket. -1 on failure. */
VESK_API int vesk_socket_get_udp(void);

/** Listening IPv4 stream socket on 127.0.0.1 (loopback_only not 0) or any address. -1 on failure.
 */
VESK_API int vesk_socket_get_tcp(unsigned short port, int loopback_only);

VESK_END_DECLS

#endif
