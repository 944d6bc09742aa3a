#ifndef VESK_QUERY_H
#define VESK_QUERY_H

#include "vesk/export.h"

VESK_BEGIN_DECLS

/*
 * LSQL, the language in which the configuration is read and changed. A request is one XML document
 * with the root element "lsql", its answer one with the root "lsql_result". See docs/lsql.md.
 */

/** The attribute "origin" of the request being served, or of the last one; null when it had none.
 */
extern VESK_API const char *vesk_query_origin;

/** Grows with every operation of an active request; tells a plug-in that values read earlier are
 * old. */
extern VESK_API unsigned vesk_query_transaction_number;

/**
 * Evaluates a request as a client's. The answer is freed with free() or xmlFree(). Null when the
 * request is not well-formed XML, over a limit, or memory is exhausted.
 */
VESK_API char *vesk_query_eval(const char *request);

/** The same for values that the system itself reports: no permissions enforced, nothing committed.
 */
VESK_API char *vesk_query_eval_passive(const char *request);

/** Has all providers commit running with no changes. The texts name an action, which none of them
 * sees. */
VESK_API void vesk_query_action(const char *provider, const char *action, const char *class_name,
                                const char *instance_name);

/** From now on refuses every request that carries an origin. */
VESK_API void vesk_query_disable_external_updates(void);

/** Opens the LSQL service on 127.0.0.1 port 8002. Called by the daemon at start. */
VESK_API int vesk_lsql_init(void);

/** Opens the local LSQL socket "vesk_sock_lsql". 1 on failure. Called by the daemon at start. */
VESK_API int vesk_socket_api_init(void);

VESK_END_DECLS

#endif
