#ifndef VESK_ACTIONS_H
#define VESK_ACTIONS_H

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * A vesk_actions is the set of side effects that the providers have asked for during one commit, so
 * that a restart wanted by several happens once. An action reads PROVIDER-ACTION,
 * PROVIDER-ACTION-CLASS or PROVIDER-ACTION-CLASS-INSTANCE. All strings are copied.
 */

/** New empty set. Null without memory. */
VESK_API vesk_actions *vesk_actions_new(void);

/** Enters an action; one that is there already is fine. Class and instance may be null. */
VESK_API int vesk_actions_add(vesk_actions *actions, const char *provider, const char *action,
                              const char *class_name, const char *instance_name);

/** 1 when the set holds the action, else 0. Also 1 on a bad call: then do not act. */
VESK_API int vesk_actions_exists(const vesk_actions *actions, const char *provider,
                                 const char *action, const char *class_name,
                                 const char *instance_name);

/** The action as one string, which the caller frees with free(). Null on a bad call or no memory.
 */
VESK_API char *vesk_actions_get_string(const char *provider, const char *action,
                                       const char *class_name, const char *instance_name);

/** Frees the set. */
VESK_API void vesk_actions_delete(vesk_actions *actions);

VESK_END_DECLS

#endif
