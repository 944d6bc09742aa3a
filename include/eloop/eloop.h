#ifndef ELOOP_ELOOP_H
#define ELOOP_ELOOP_H

#include "vesk/export.h"

VESK_BEGIN_DECLS

/*
 * The daemon's one event loop. It waits for readable sockets and the earliest timeout, and turns
 * signals into callbacks that run between waits. Everything runs on one thread. Registrations take
 * effect at once, before and during the run, from any callback. The pointers given at registration
 * are handed back to the handler and never looked at.
 */

typedef void (*eloop_sock_handler)(int sock, void *eloop_data, void *user_data);
typedef void (*eloop_timeout_handler)(void *eloop_data, void *user_data);
typedef void (*eloop_signal_handler)(int sig, void *eloop_data, void *user_data);

/** Clears the loop's state and stores user_data, which every signal handler gets. */
VESK_API void eloop_init(void *user_data);

/**
 * Calls handler whenever sock can be read. -1 without memory or for a descriptor outside 0 to 1023,
 * else 0. Unregister a socket before it is closed.
 */
VESK_API int eloop_register_read_sock(int sock, eloop_sock_handler handler, void *eloop_data,
                                      void *user_data);

/** Ends the oldest registration of sock. -1 when there is none, else 0. */
VESK_API int eloop_unregister_read_sock(int sock);

/**
 * Calls handler once, after secs seconds and usecs microseconds (in whole clock ticks, usually of
 * 10 ms; a remainder is dropped). Timeouts of the same tick run in the order of registration. -1
 * without memory, else 0.
 */
VESK_API int eloop_register_timeout(unsigned secs, unsigned usecs, eloop_timeout_handler handler,
                                    void *eloop_data, void *user_data);

/** Matches any data pointer in eloop_cancel_timeout(). */
#define ELOOP_ALL_CTX ((void *)-1)

/** Removes every pending timeout of this handler and data. Returns how many were removed. */
VESK_API int eloop_cancel_timeout(eloop_timeout_handler handler, void *eloop_data, void *user_data);

/**
 * Calls handler from the loop after sig arrived, once however often it arrived meanwhile. -1
 * without memory, else 0.
 */
VESK_API int eloop_register_signal(int sig, eloop_signal_handler handler, void *user_data);

/** Runs until eloop_terminate(), or until neither a timeout nor a socket is left. */
VESK_API void eloop_run(void);

/** Lets eloop_run() return before its next wait. */
VESK_API void eloop_terminate(void);

/** Not 0 after eloop_terminate(). */
VESK_API int eloop_terminated(void);

/** Frees all registrations. After the run only. */
VESK_API void eloop_destroy(void);

/** The pointer given to eloop_init(). */
VESK_API void *eloop_get_user_data(void);

VESK_END_DECLS

#endif
