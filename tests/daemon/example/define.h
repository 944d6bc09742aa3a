#ifndef EXAMPLE_DEFINE_H
#define EXAMPLE_DEFINE_H

/* What the example plug-ins share: a line for a class, a property, a provider, a validator. */

#include <stdlib.h>
#include <string.h>

#include <vesk/vesk.h>

/** Defines a property's validator from one of the library's: DEFINE_VALIDATOR(is_name,
 * vesk_input_is_word) */
#define DEFINE_VALIDATOR(name, validator, ...)                                                     \
    static int name(const char *value)                                                             \
    {                                                                                              \
        return validator(value, (int)strlen(value), ##__VA_ARGS__);                                \
    }

/** Gives cls a property that clients may read and write. */
static inline vesk_property *define_property(vesk_class *cls, const char *name,
                                             vesk_property_is_valid_fn is_valid)
{
    vesk_property *property = vesk_property_new(name);
    vesk_property_set_is_valid_fn(property, is_valid);
    vesk_class_add_property(cls, property);
    return property;
}

/** New persistent class of a type, not yet registered. */
static inline vesk_class *define_class(const char *name, unsigned type)
{
    vesk_class *cls = vesk_class_new(name);
    vesk_class_set_type(cls, type);
    vesk_class_set_persistence(cls, 1);
    return cls;
}

/** Registers a provider that applies changes through a committer and, unless null, a refresher. */
static inline void define_provider(const char *name, vesk_committer *committer,
                                   vesk_refresher *refresher)
{
    vesk_provider *provider = vesk_provider_new(name);
    vesk_provider_set_commit_fn(provider, vesk_committer_fn, committer);
    if (refresher) vesk_provider_set_refresh_fn(provider, vesk_refresher_fn, refresher);
    vesk_providers_add(provider);
}

#endif
