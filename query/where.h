#ifndef VESK_QUERY_WHERE_H
#define VESK_QUERY_WHERE_H

#include <libxml/tree.h>

#include "vesk/types.h"

namespace vesk {

/**
 * The value of a where expression for an instance: a text that lives as long as the request and the
 * instance's values, or null for no value. True is "1"; any value counts as true.
 */
const char *evaluate_expression(const xmlNode *expression, const vesk_instance &instance);

/** Wants every property that the expression names of the class and instance. */
void collect_properties(const xmlNode *expression, const char *class_name,
                        const char *instance_name, vesk_refresh_info &info);

} // namespace vesk

#endif
