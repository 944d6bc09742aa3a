#ifndef VESK_CLASS_H
#define VESK_CLASS_H

#include <stdio.h>

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * A vesk_class describes one kind of configuration object. A plug-in builds it from its
 * initialisation function and hands it over with vesk_classes_add(); from the end of start-up on it
 * never changes.
 *
 * Only an abstract class can be a superclass. An abstract class is unique-named, has a subclass
 * identifier (the property whose value names the subclass) and at least one subclass; a class with
 * a superclass is unique-named and concrete. So the hierarchy has at most two levels.
 */

/** How the instances of a class are named and counted. */
enum {
    VESK_CLASS_SINGLETON = 1, /**< exactly one instance, without a name */
    VESK_CLASS_ANONYMOUS = 2, /**< any number, without names */
    VESK_CLASS_UNIQUE_NAMED =
        3,                     /**< any number, a name each, unique in the class and its siblings */
    VESK_CLASS_GROUP_NAMED = 4 /**< any number, named; those of one name form a group */
};

/** New class called name (copied), with no type and no properties. Null for a null name or no
 * memory. */
VESK_API vesk_class *vesk_class_new(const char *name);

/**
 * New class with the type, the persistence and clones of the own properties of cls; not abstract
 * and without a superclass. Null for a null argument or no memory.
 */
VESK_API vesk_class *vesk_class_clone(const vesk_class *cls, const char *name);

/** Names the superclass (copied), once; it is looked up when all plug-ins are loaded. */
VESK_API int vesk_class_set_superclass(vesk_class *cls, const char *name);

/** Decides, once, whether the class is abstract (1) or concrete (0). */
VESK_API int vesk_class_set_abstract(vesk_class *cls, int abstract);

/**
 * Makes property the subclass identifier of an abstract class, and non-writable and required on
 * insert. On success the class owns it.
 */
VESK_API int vesk_class_set_subclass_identifier(vesk_class *cls, vesk_property *property);

/** Whether instances are saved (not 0) or live in memory only (0). Stored unchecked. */
VESK_API int vesk_class_set_persistence(vesk_class *cls, int persistence);

/** Sets the type, VESK_CLASS_SINGLETON to VESK_CLASS_GROUP_NAMED. */
VESK_API int vesk_class_set_type(vesk_class *cls, unsigned type);

/** Enters property under its name. On success the class owns it. 1 silently for a name it has. */
VESK_API int vesk_class_add_property(vesk_class *cls, vesk_property *property);

/** The property of that name (borrowed), the superclass's included. Null when there is none. */
VESK_API vesk_property *vesk_class_get_property(const vesk_class *cls, const char *name);

/** The number of the class's own properties. */
VESK_API unsigned vesk_class_get_properties(const vesk_class *cls);

/** Walks the superclass's properties, then the class's own. Null for null or no memory. */
VESK_API vesk_property_iterator *vesk_class_new_property_iterator(const vesk_class *cls);

/** 1 while a property remains, else 0. */
VESK_API int vesk_class_property_iterator_has_next(const vesk_property_iterator *iterator);

/** The next property (borrowed). Null at the end. */
VESK_API vesk_property *vesk_class_property_iterator_next(vesk_property_iterator *iterator);

/** Frees the iterator. */
VESK_API int vesk_class_delete_property_iterator(vesk_property_iterator *iterator);

/** Prints a resolved class and its own properties. */
VESK_API void vesk_class_print(const vesk_class *cls, FILE *stream);

/** Links the class to its superclass and settles defaults. Called by vesk_classes_done_adding(). */
VESK_API int vesk_class_resolve(vesk_class *cls);

/** Checks a resolved class against the rules above. Called by vesk_classes_done_adding(). */
VESK_API int vesk_class_validate(const vesk_class *cls);

VESK_END_DECLS

#endif
