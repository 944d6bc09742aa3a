#ifndef VESK_INFORM_H
#define VESK_INFORM_H

#include "vesk/export.h"

VESK_BEGIN_DECLS

/*
 * Inform messages: another program tells of an event with "name=value" pairs joined by "&", of
 * which "object" names the handler. See docs/protocols.md.
 */

/** Handles a message. 1 answers "ERR returned by handler", anything else "OK". */
typedef int (*vesk_inform_fn)(void);

/** Opens the local socket "vesk_sock_inform". 1 on failure. Called by the daemon at start. */
VESK_API int vesk_inform_init(void);

/** Registers the handler of messages whose "object" is name (copied). The first of a name stays
 * (1). */
VESK_API int vesk_inform_fn_add(const char *name, vesk_inform_fn handler);

/** In a handler: the value of a parameter of the message (borrowed), or null when it has none. */
VESK_API const char *vesk_inform_get_value(const char *name);

VESK_END_DECLS

#endif
