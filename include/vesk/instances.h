#ifndef VESK_INSTANCES_H
#define VESK_INSTANCES_H

#include <stdio.h>

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * A vesk_instances is a collection of instances of any number of classes, stored class by class in
 * the order in which the classes first came, and within a class in the order of adding; the
 * instances of a group-named class are ordered by group, in the order in which the groups came to
 * be.
 *
 * A collection frees its instances where it deletes them (vesk_instances_delete_class() and
 * vesk_instances_delete_all()); "remove" gives an instance up. An instance is in a collection at
 * most once, and belongs to at most one
 * collection that will free it.
 *
 * Iterators hold references only. Removing an instance while an iterator is in use, the one about
 * to be returned included, is safe: the iterator passes on to the next. Instances that are added
 * meanwhile may or may not be met.
 */

/** Told of an instance that was added (event 0) or removed (event 1). */
typedef void (*vesk_instances_listener)(vesk_instance *instance, int event, void *data);

/** New empty collection. Null without memory. */
VESK_API vesk_instances *vesk_instances_new(void);

/**
 * Deep copy, without any listener. An instance for which memory runs out is missing from the copy.
 * Null for null, or without memory for the copy itself.
 */
VESK_API vesk_instances *vesk_instances_copy(const vesk_instances *instances);

/** The instance of a singleton class (borrowed). Null when there is none. */
VESK_API vesk_instance *vesk_instances_get_singleton(const vesk_instances *instances,
                                                     const char *class_name);

/** The instance of that name of a unique-named class (borrowed), abstract or not. Null if none. */
VESK_API vesk_instance *vesk_instances_get(const vesk_instances *instances, const char *class_name,
                                           const char *instance_name);

/**
 * Adds instance, which then belongs to the collection. 1 when its class type forbids it, silently
 * when the name is taken, or without memory.
 */
VESK_API int vesk_instances_add(vesk_instances *instances, vesk_instance *instance);

/** Gives up this very instance without freeing it. 1 when the collection does not hold it. */
VESK_API int vesk_instances_remove(vesk_instances *instances, vesk_instance *instance);

/** Gives up all instances of a class, without freeing them or telling the listener. */
VESK_API int vesk_instances_remove_class(vesk_instances *instances, const char *class_name);

/** Frees all instances of a class without telling the listener. */
VESK_API int vesk_instances_delete_class(vesk_instances *instances, const char *class_name);

/** Frees the collection; its instances survive. Ignores null. */
VESK_API void vesk_instances_delete(vesk_instances *instances);

/** Frees the collection and all its instances. Ignores null. */
VESK_API void vesk_instances_delete_all(vesk_instances *instances);

/** 1 when the collection holds no instance, else 0. */
VESK_API int vesk_instances_is_empty(const vesk_instances *instances);

/** Prints every instance, an empty line after each, and one more after each class. */
VESK_API void vesk_instances_print(const vesk_instances *instances, FILE *stream);

/** Replaces the one listener; a null function clears it. */
VESK_API int vesk_instances_set_listener(vesk_instances *instances,
                                         vesk_instances_listener listener, void *data);

/** Walks all instances. Null for null or no memory. */
VESK_API vesk_instances_iterator *vesk_instances_new_iterator(const vesk_instances *instances);

/**
 * Walks the instances of one class; an abstract class stands for its subclasses, a null name for
 * all classes. Null for an unknown class or no memory.
 */
VESK_API vesk_instances_iterator *vesk_instances_new_class_iterator(const vesk_instances *instances,
                                                                    const char *class_name);

/**
 * Walks the instances of one name: the one of a unique-named class, the group of a group-named one.
 * A null name stands for the whole class. Null for other class types, or no memory.
 */
VESK_API vesk_instances_iterator *vesk_instances_new_group_iterator(const vesk_instances *instances,
                                                                    const char *class_name,
                                                                    const char *group_name);

/** 1 while an instance remains, else 0. */
VESK_API int vesk_instances_iterator_has_next(const vesk_instances_iterator *iterator);

/** The next instance (borrowed). Null at the end. */
VESK_API vesk_instance *vesk_instances_iterator_next(vesk_instances_iterator *iterator);

/** Frees the iterator. */
VESK_API int vesk_instances_delete_iterator(vesk_instances_iterator *iterator);

/*
 * The storage of one class in a collection, by class type. These are what the functions above are
 * made of; they tell no listener and do not look at other classes. add and remove answer as the
 * functions above; remove_all empties the store, delete_all frees the instances as well; copy
 * appends copies of the instances of from and stops at the first for which memory runs out (1). The
 * init functions position an iterator whose current store is set, iterator_next moves it on.
 */
VESK_API int vesk_instances_singleton_add(vesk_instances_class *store, vesk_instance *instance);
VESK_API int vesk_instances_singleton_remove(vesk_instances_class *store, vesk_instance *instance);
VESK_API void vesk_instances_singleton_remove_all(vesk_instances_class *store);
VESK_API void vesk_instances_singleton_delete_all(vesk_instances_class *store);
VESK_API void vesk_instances_singleton_init_iterator(vesk_instances_iterator *iterator);
VESK_API void vesk_instances_singleton_iterator_next(vesk_instances_iterator *iterator);

VESK_API int vesk_instances_anonymous_add(vesk_instances_class *store, vesk_instance *instance);
VESK_API int vesk_instances_anonymous_remove(vesk_instances_class *store, vesk_instance *instance);
VESK_API void vesk_instances_anonymous_remove_all(vesk_instances_class *store);
VESK_API void vesk_instances_anonymous_delete_all(vesk_instances_class *store);
VESK_API int vesk_instances_anonymous_copy(const vesk_instances_class *from,
                                           vesk_instances_class *to);
VESK_API void vesk_instances_anonymous_init_iterator(vesk_instances_iterator *iterator);
VESK_API void vesk_instances_anonymous_iterator_next(vesk_instances_iterator *iterator);

VESK_API int vesk_instances_unique_named_add(vesk_instances_class *store, vesk_instance *instance);
VESK_API int vesk_instances_unique_named_remove(vesk_instances_class *store,
                                                vesk_instance *instance);
VESK_API void vesk_instances_unique_named_remove_all(vesk_instances_class *store);
VESK_API void vesk_instances_unique_named_delete_all(vesk_instances_class *store);
VESK_API int vesk_instances_unique_named_copy(const vesk_instances_class *from,
                                              vesk_instances_class *to);
VESK_API void vesk_instances_unique_named_init_iterator(vesk_instances_iterator *iterator);
VESK_API void vesk_instances_unique_named_init_group_iterator(vesk_instances_iterator *iterator,
                                                              const char *name);
VESK_API void vesk_instances_unique_named_iterator_next(vesk_instances_iterator *iterator);

VESK_API int vesk_instances_group_named_add(vesk_instances_class *store, vesk_instance *instance);
VESK_API int vesk_instances_group_named_remove(vesk_instances_class *store,
                                               vesk_instance *instance);
VESK_API void vesk_instances_group_named_remove_all(vesk_instances_class *store);
VESK_API void vesk_instances_group_named_delete_all(vesk_instances_class *store);
VESK_API int vesk_instances_group_named_copy(const vesk_instances_class *from,
                                             vesk_instances_class *to);
VESK_API void vesk_instances_group_named_init_iterator(vesk_instances_iterator *iterator);
VESK_API void vesk_instances_group_named_init_group_iterator(vesk_instances_iterator *iterator,
                                                             const char *name);
VESK_API void vesk_instances_group_named_iterator_next(vesk_instances_iterator *iterator);

VESK_END_DECLS

#endif
