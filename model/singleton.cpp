#include "vesk/instances.h"

#include "model/kinds.h"

int vesk_instances_singleton_add(vesk_instances_class *store, vesk_instance *instance)
{
    return vesk::add_to(store, instance, "vesk_instances_singleton_add");
}

int vesk_instances_singleton_remove(vesk_instances_class *store, vesk_instance *instance)
{
    return vesk::remove_from(store, instance, "vesk_instances_singleton_remove");
}

void vesk_instances_singleton_remove_all(vesk_instances_class *store)
{
    vesk::empty_store(store, false);
}

void vesk_instances_singleton_delete_all(vesk_instances_class *store)
{
    vesk::empty_store(store, true);
}

void vesk_instances_singleton_init_iterator(vesk_instances_iterator *iterator)
{
    vesk::stand_on_first(iterator);
}

void vesk_instances_singleton_iterator_next(vesk_instances_iterator *iterator)
{
    vesk::stand_on_next(iterator);
}
