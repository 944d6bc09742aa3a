#ifndef VESK_ELOOP_WRITE_H
#define VESK_ELOOP_WRITE_H

#include "eloop/eloop.h"

namespace vesk {

/**
 * Calls handler whenever sock can be written, until it is unregistered. For the daemon's own
 * connections; the exported interface knows read interest only. -1 for a descriptor outside 0 to
 * 1023 or without memory.
 */
int register_write_sock(int sock, eloop_sock_handler handler, void *user_data);

/** -1 when sock has no write interest, else 0. */
int unregister_write_sock(int sock);

/**
 * eloop_unregister_read_sock() that lets the walk over the readers go on. For handlers that end
 * nobody but themselves and their like: who comes behind them keeps its turn.
 */
int unregister_own_read_sock(int sock);

/** In this pass sock is not called any more, if it is readable: it has had its turn. */
void skip_read_sock(int sock);

} // namespace vesk

#endif
