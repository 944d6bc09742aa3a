#ifndef VESK_PROPERTY_H
#define VESK_PROPERTY_H

#include <stdio.h>

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * A vesk_property is one named value of a class: whether clients may read it and write it, whether
 * a new instance must carry it, whether it is saved, and what values it takes. Built by a plug-in,
 * given to a class with vesk_class_add_property(), then owned by the class for the daemon's life.
 */

/** Whether value is acceptable by itself: not 0 when it is. Pure; called for every value set. */
typedef int (*vesk_property_is_valid_fn)(const char *value);

/** Whether instance may hold value, in view of its other values: not 0 when it may. */
typedef int (*vesk_property_is_instance_valid_fn)(vesk_instance *instance, const char *value);

/**
 * New property called name (copied): readable, writable, not required on insert, persistence -1,
 * without validators. Null for a null name or no memory.
 */
VESK_API vesk_property *vesk_property_new(const char *name);

/** Copy of every field. Null for null or no memory. */
VESK_API vesk_property *vesk_property_clone(const vesk_property *property);

/** Whether clients may read the value. */
VESK_API int vesk_property_set_readable(vesk_property *property, int readable);

/** Whether clients may change the value. Refused (1) with not 0 for a subclass identifier. */
VESK_API int vesk_property_set_writable(vesk_property *property, int writable);

/** Whether a new instance must carry a value. Refused (1) with 0 for a subclass identifier. */
VESK_API int vesk_property_set_required_on_insert(vesk_property *property, int required);

/** Validator of a value by itself; needed where the property is writable or required on insert. */
VESK_API int vesk_property_set_is_valid_fn(vesk_property *property,
                                           vesk_property_is_valid_fn is_valid);

/** Validator of a value in its instance; runs after the other one accepted the value. */
VESK_API int vesk_property_set_is_instance_valid_fn(vesk_property *property,
                                                    vesk_property_is_instance_valid_fn is_valid);

/** -1: as the class; 0: not saved; 1: saved. Stored unchecked. */
VESK_API int vesk_property_set_persistence(vesk_property *property, int persistence);

/** 1 when the definition is complete, else 0: note that 1 is good here. */
VESK_API int vesk_property_is_valid(const vesk_property *property);

/** Prints "Property: NAME rwip" without a newline, "-" for a flag that is not set. */
VESK_API void vesk_property_print(const vesk_property *property, FILE *stream);

/** Frees a property that was never added to a class. */
VESK_API int vesk_property_delete(vesk_property *property);

VESK_END_DECLS

#endif
