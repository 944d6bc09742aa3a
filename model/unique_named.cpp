#include "vesk/instances.h"

#include "model/kinds.h"

int vesk_instances_unique_named_add(vesk_instances_class *store, vesk_instance *instance)
{
    return vesk::add_to(store, instance, "vesk_instances_unique_named_add");
}

int vesk_instances_unique_named_remove(vesk_instances_class *store, vesk_instance *instance)
{
    return vesk::remove_from(store, instance, "vesk_instances_unique_named_remove");
}

void vesk_instances_unique_named_remove_all(vesk_instances_class *store)
{
    vesk::empty_store(store, false);
}

void vesk_instances_unique_named_delete_all(vesk_instances_class *store)
{
    vesk::empty_store(store, true);
}

int vesk_instances_unique_named_copy(const vesk_instances_class *from, vesk_instances_class *to)
{
    return vesk::copy_between(from, to);
}

void vesk_instances_unique_named_init_iterator(vesk_instances_iterator *iterator)
{
    vesk::stand_on_first(iterator);
}

void vesk_instances_unique_named_init_group_iterator(vesk_instances_iterator *iterator,
                                                     const char *name)
{
    vesk::stand_on_first_of(iterator, name);
}

void vesk_instances_unique_named_iterator_next(vesk_instances_iterator *iterator)
{
    vesk::stand_on_next(iterator);
}
