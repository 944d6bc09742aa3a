#ifndef REFERENCE_DEFINE_H
#define REFERENCE_DEFINE_H

/* What the example plug-ins share: a line for a property, and the validators of simple values. */

#include <arpa/inet.h>
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include <vesk/vesk.h>

/** Gives cls a property that clients may read and write. */
static inline vesk_property *define_property(vesk_class *cls, const char *name,
                                             vesk_property_is_valid_fn is_valid)
{
    vesk_property *property = vesk_property_new(name);
    vesk_property_set_is_valid_fn(property, is_valid);
    vesk_class_add_property(cls, property);
    return property;
}

/** Gives cls a property that only the system sets. */
static inline void define_reading(vesk_class *cls, const char *name)
{
    vesk_property *property = vesk_property_new(name);
    vesk_property_set_writable(property, 0);
    vesk_property_set_persistence(property, 0);
    vesk_class_add_property(cls, property);
}

/** New persistent class of a type, not yet registered. */
static inline vesk_class *define_class(const char *name, unsigned type)
{
    vesk_class *cls = vesk_class_new(name);
    vesk_class_set_type(cls, type);
    vesk_class_set_persistence(cls, 1);
    return cls;
}

static inline int is_one_of(const char *value, const char *const *values)
{
    for (; *values; ++values)
        if (strcmp(value, *values) == 0) return 1;
    return 0;
}

static inline int is_switch(const char *value)
{
    static const char *const values[] = {"on", "off", NULL};
    return is_one_of(value, values);
}

static inline int is_text(const char *value)
{
    return strlen(value) <= 64;
}

static inline int is_ipv4(const char *value)
{
    struct in_addr address;
    return inet_pton(AF_INET, value, &address) == 1;
}

static inline int is_number_in(const char *value, long low, long high)
{
    char *end;
    const long number = strtol(value, &end, 10);
    return isdigit((unsigned char)*value) && *end == '\0' && number >= low && number <= high;
}

#endif
