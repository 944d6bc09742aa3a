#ifndef VESK_CHANGES_H
#define VESK_CHANGES_H

#include <stdio.h>

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * A vesk_changes records what happens to a collection while it is edited: which instances were
 * updated, inserted or deleted, which of their properties were set, and what each looked like
 * before. It is made on the collection that is about to be edited and follows it through its
 * listener and those of its instances, until it is deleted. A change set that is made while another
 * one follows the same collection puts the other's listeners back when it is deleted.
 *
 * An instance is followed as long as it is in the collection.
 *
 * Questions about an instance that is not recorded are answered 0 or null. Copies of what was
 * before are made when they are needed: a function that hands one out returns null without memory
 * too.
 */

/** New change set that follows after. Null for null or no memory. */
VESK_API vesk_changes *vesk_changes_new(vesk_instances *after);

/** Records an instance as updated. 1 for a null argument or no memory. */
VESK_API int vesk_changes_instance_updated(vesk_changes *changes, vesk_instance *instance);

/** Records an instance and all its values as inserted; nothing for one that is recorded already. */
VESK_API int vesk_changes_instance_inserted(vesk_changes *changes, vesk_instance *instance);

/** Records an instance as deleted. It is not freed. */
VESK_API int vesk_changes_instance_deleted(vesk_changes *changes, vesk_instance *instance);

/** Records a property of a recorded instance as set. */
VESK_API int vesk_changes_add_property(vesk_changes *changes, vesk_instance *instance,
                                       const char *property);

/** The collection as it was when the change set was made (borrowed). */
VESK_API vesk_instances *vesk_changes_get_before(vesk_changes *changes);

/** Walks the updated and inserted instances of a class. Null for null or an unknown class. */
VESK_API vesk_instances_iterator *vesk_changes_new_class_instances_iterator(vesk_changes *changes,
                                                                            const char *class_name);

/** Walks the copies, from before, of the deleted instances of a class. */
VESK_API vesk_instances_iterator *
vesk_changes_new_deleted_class_instances_iterator(vesk_changes *changes, const char *class_name);

/** What instance was like when the change set was made (borrowed); null for an inserted one. */
VESK_API vesk_instance *vesk_changes_get_instance_before(vesk_changes *changes,
                                                         vesk_instance *instance);

/** 1 when any instance of the class was updated, inserted or deleted. */
VESK_API int vesk_changes_contains_class(vesk_changes *changes, const char *class_name);

/** 1 when the instance was updated or inserted. */
VESK_API int vesk_changes_contains_instance(vesk_changes *changes, vesk_instance *instance);

/** 1 when that property of the instance was set. */
VESK_API int vesk_changes_contains_property(vesk_changes *changes, vesk_instance *instance,
                                            const char *property);

/** Prints the changed and the deleted instances. */
VESK_API void vesk_changes_print(vesk_changes *changes, FILE *stream);

/** Ends the recording and frees the change set with all its copies. Ignores null. */
VESK_API void vesk_changes_delete(vesk_changes *changes);

VESK_END_DECLS

#endif
