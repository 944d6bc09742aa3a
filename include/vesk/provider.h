#ifndef VESK_PROVIDER_H
#define VESK_PROVIDER_H

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * A vesk_provider applies configuration to the system (its commit function) and reads live values
 * back (its refresh function). A plug-in makes it, gives it at least one of the two and hands it
 * over with vesk_providers_add(); it then lives as long as the daemon.
 */

/** Applies a change. Called once per commit; it cannot fail or stop the others. */
typedef void (*vesk_provider_commit_fn)(vesk_commit_info *info);

/** Brings the wanted values up to date. Called before each request is answered. */
typedef void (*vesk_provider_refresh_fn)(vesk_refresh_info *info);

/** New provider called name (copied), without functions. Null for a null name or no memory. */
VESK_API vesk_provider *vesk_provider_new(const char *name);

/** Sets the commit function; data is what vesk_commit_info_get_data() gives in it. */
VESK_API int vesk_provider_set_commit_fn(vesk_provider *provider, vesk_provider_commit_fn commit,
                                         void *data);

/** Sets the refresh function; data is what vesk_refresh_info_get_data() gives in it. */
VESK_API int vesk_provider_set_refresh_fn(vesk_provider *provider, vesk_provider_refresh_fn refresh,
                                          void *data);

/** 1 when it has a function, else 0: note that 1 is good here. */
VESK_API int vesk_provider_is_valid(const vesk_provider *provider);

/** Calls the commit function, if any, with a record of these. */
VESK_API void vesk_provider_commit(vesk_provider *provider, vesk_instances *after,
                                   vesk_changes *changes, vesk_actions *actions);

/** Calls the refresh function, if any. */
VESK_API void vesk_provider_refresh(vesk_provider *provider, vesk_refresh_info *info);

VESK_END_DECLS

#endif
