#ifndef VESK_PROVIDERS_H
#define VESK_PROVIDERS_H

#include <stdio.h>

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * The registry of providers and their order: every commit and every refresh calls all of them, each
 * after those that were declared to come before it, and otherwise in the order of adding.
 */

/** Makes the registry. Called once by the daemon, before any plug-in is loaded. */
VESK_API int vesk_providers_init(void);

/** Enters provider under its name; the first of a name stays. Refused (1) once the order is built.
 */
VESK_API int vesk_providers_add(vesk_provider *provider);

/** The provider of that name (borrowed). Null when there is none. */
VESK_API vesk_provider *vesk_providers_get(const char *name);

/** Declares that first comes before second; neither needs to be registered. */
VESK_API int vesk_providers_order(const char *first, const char *second);

/** Builds the order. 1 for a loop, which is logged, or no memory. Called once by the daemon. */
VESK_API int vesk_providers_done_adding(void);

/** Prints the order, with a mark at names that no provider has. */
VESK_API void vesk_providers_print(FILE *stream);

/**
 * Has every provider apply the change. Deletes actions at the end; null stands for a new, empty
 * set.
 */
VESK_API void vesk_providers_commit(vesk_instances *after, vesk_changes *changes,
                                    vesk_actions *actions);

/** Has every provider bring up to date what info wants. */
VESK_API void vesk_providers_refresh(vesk_refresh_info *info);

VESK_END_DECLS

#endif
