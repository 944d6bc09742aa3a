#ifndef VESK_MODEL_KINDS_H
#define VESK_MODEL_KINDS_H

#include "model/iterator.h"

namespace vesk {

// What the exported storage operations of the four class types have in common.

int add_to(vesk_instances_class *store, vesk_instance *instance, const char *function);
int remove_from(vesk_instances_class *store, const vesk_instance *instance, const char *function);
void empty_store(vesk_instances_class *store, bool with_instances);
int copy_between(const vesk_instances_class *from, vesk_instances_class *to);
void stand_on_first(vesk_instances_iterator *iterator);
void stand_on_first_of(vesk_instances_iterator *iterator, const char *name);
void stand_on_next(vesk_instances_iterator *iterator);

} // namespace vesk

#endif
