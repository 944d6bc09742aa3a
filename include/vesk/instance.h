#ifndef VESK_INSTANCE_H
#define VESK_INSTANCE_H

#include <stdio.h>

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * A vesk_instance is one configuration object: an instance of a concrete class, with a name where
 * the class type asks for one, and a string for each property that has a value. Values are kept in
 * the order in which they were last set. An instance that belongs to a collection is freed by it.
 */

/** Told that property (valid during the call only) of instance was set. May set values. */
typedef void (*vesk_instance_listener)(vesk_instance *instance, const char *property, void *data);

/**
 * New instance without values. The name (copied) is null for singleton and anonymous classes and
 * needed for the others. Null for an unfit class or name, or no memory.
 */
VESK_API vesk_instance *vesk_instance_new(vesk_class *cls, const char *name);

/** Copy of class, name and values, without the listener. Null for null or no memory. */
VESK_API vesk_instance *vesk_instance_copy(const vesk_instance *instance);

/**
 * Frees an instance that no collection holds. While a request is evaluated or a commit is under way
 * the memory is kept until that has ended.
 */
VESK_API int vesk_instance_delete(vesk_instance *instance);

/** The name (borrowed), or null when it has none. */
VESK_API const char *vesk_instance_get_name(const vesk_instance *instance);

/** The value (borrowed until it is replaced or the instance deleted), or null when it has none. */
VESK_API const char *vesk_instance_get_value(const vesk_instance *instance, const char *property);

/**
 * Validates value, stores a copy and tells the listener. 1 when the class has no such property, a
 * validator refuses, or memory is exhausted; the old value then stays. The flags of the property
 * are not looked at.
 */
VESK_API int vesk_instance_set_value(vesk_instance *instance, const char *property,
                                     const char *value);

/** 1 when the value of the property "status" is exactly "up", else 0. */
VESK_API int vesk_instance_get_status(const vesk_instance *instance);

/**
 * 1 when every property that is required on insert has a value, else 0, with a message in *message
 * (when message is not null), which the caller frees with free(); null there without memory.
 */
VESK_API int vesk_instance_is_valid(const vesk_instance *instance, char **message);

/** Prints the instance and its values. */
VESK_API void vesk_instance_print(const vesk_instance *instance, FILE *stream);

/** Replaces the one listener; a null function clears it. */
VESK_API int vesk_instance_set_listener(vesk_instance *instance, vesk_instance_listener listener,
                                        void *data);

VESK_END_DECLS

#endif
