#ifndef VESK_REFRESH_INFO_H
#define VESK_REFRESH_INFO_H

#include <stdio.h>

#include "vesk/export.h"
#include "vesk/types.h"

VESK_BEGIN_DECLS

/*
 * What a provider's refresh function receives: the collection to bring up to date, and which
 * classes, instances and properties are wanted. A selection for an abstract class covers the
 * instances of its subclasses. A null instance name stands for every instance of the class. Strings
 * are copied.
 */

/** New record that wants nothing yet. Null without memory. */
VESK_API vesk_refresh_info *vesk_refresh_info_new(vesk_instances *instances);

/** Wants an instance, so far none of its properties. */
VESK_API int vesk_refresh_info_add_instance(vesk_refresh_info *info, const char *class_name,
                                            const char *instance_name);

/** Wants every property of an instance. */
VESK_API int vesk_refresh_info_add_all_properties(vesk_refresh_info *info, const char *class_name,
                                                  const char *instance_name);

/** Wants one property of an instance. */
VESK_API int vesk_refresh_info_add_property(vesk_refresh_info *info, const char *class_name,
                                            const char *instance_name, const char *property);

/** 1 when the class is wanted. A null record wants everything: 1. */
VESK_API int vesk_refresh_info_contains_class(const vesk_refresh_info *info,
                                              const char *class_name);

/** 1 when the instance is wanted. 0 for a null record. */
VESK_API int vesk_refresh_info_contains_instance(const vesk_refresh_info *info,
                                                 const vesk_instance *instance);

/** 1 when that property of the instance is wanted. 0 for a null record. */
VESK_API int vesk_refresh_info_contains_property(const vesk_refresh_info *info,
                                                 const vesk_instance *instance,
                                                 const char *property);

/** The collection to bring up to date (borrowed). */
VESK_API vesk_instances *vesk_refresh_info_get_instances(const vesk_refresh_info *info);

/** The provider's refresh data. */
VESK_API void *vesk_refresh_info_get_data(const vesk_refresh_info *info);

/** Replaces the data. Ignores a null record. */
VESK_API void vesk_refresh_info_set_data(vesk_refresh_info *info, void *data);

/** Prints what is wanted. */
VESK_API void vesk_refresh_info_print(const vesk_refresh_info *info, FILE *stream);

/** Frees the record, not the collection. Ignores null. */
VESK_API void vesk_refresh_info_delete(vesk_refresh_info *info);

VESK_END_DECLS

#endif
