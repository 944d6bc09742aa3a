#ifndef VESK_COMMITTER_H
#define VESK_COMMITTER_H

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * A vesk_committer is a ready-made commit function that calls back for each class, group, instance
 * and property that changed. A plug-in fills one in and registers it:
 *   vesk_provider_set_commit_fn(provider, vesk_committer_fn, committer);
 * It must live as long as the daemon. Names are copied. A setter replaces an earlier callback.
 *
 * In one commit, class by class in the order of the first setter call: deleted instances, then
 * changed ones; the group of an instance before the instance, once; creation before change before
 * properties. Callbacks may change the configuration.
 */

/** Called once a commit, before any class. */
typedef void (*vesk_committer_pre_commit_fn)(vesk_commit_info *info);

/** Called for an instance that was inserted; no record comes with it. */
typedef void (*vesk_committer_instance_create_fn)(vesk_instance *instance);

/** Called for an instance that was deleted, with what it was like before. */
typedef void (*vesk_committer_instance_delete_fn)(vesk_instance *before, vesk_commit_info *info);

/** Called once for each group in which an instance was inserted, changed or deleted. */
typedef void (*vesk_committer_group_change_fn)(vesk_instances *after, const char *class_name,
                                               const char *group_name, vesk_commit_info *info);

/** Called with after and before; before is null for an inserted instance, after for a deleted one.
 */
typedef void (*vesk_committer_instance_change_fn)(vesk_instance *after, vesk_instance *before,
                                                  vesk_commit_info *info);

/** Called for a property that was set; old_value is null when there was none. */
typedef void (*vesk_committer_property_change_fn)(vesk_instance *instance, const char *property,
                                                  const char *new_value, const char *old_value);

/** New committer without callbacks. Null without memory. */
VESK_API vesk_committer *vesk_committer_new(void);

/** What runs before any class. */
VESK_API int vesk_committer_set_pre_commit_fn(vesk_committer *committer,
                                              vesk_committer_pre_commit_fn pre_commit);

/** What runs for each inserted instance of a class. */
VESK_API int
vesk_committer_set_instance_create_fn(vesk_committer *committer, const char *class_name,
                                      vesk_committer_instance_create_fn instance_create);

/** What runs for each deleted instance of a class. */
VESK_API int
vesk_committer_set_instance_delete_fn(vesk_committer *committer, const char *class_name,
                                      vesk_committer_instance_delete_fn instance_delete);

/** What runs for each changed group. The class must be registered and group-named. */
VESK_API int vesk_committer_set_group_change_fn(vesk_committer *committer, const char *class_name,
                                                vesk_committer_group_change_fn group_change);

/** What runs for each inserted or updated instance; with change_on_delete, for deleted ones too. */
VESK_API int
vesk_committer_set_instance_change_fn(vesk_committer *committer, const char *class_name,
                                      vesk_committer_instance_change_fn instance_change,
                                      int change_on_delete);

/** What runs for each inserted or updated instance in which that property was set. */
VESK_API int
vesk_committer_set_property_change_fn(vesk_committer *committer, const char *class_name,
                                      const char *property,
                                      vesk_committer_property_change_fn property_change);

/** The commit function; the commit data is the committer. */
VESK_API void vesk_committer_fn(vesk_commit_info *info);

VESK_END_DECLS

#endif
