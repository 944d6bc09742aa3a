#include "vesk/instances.h"

#include "model/kinds.h"

int vesk_instances_anonymous_add(vesk_instances_class *store, vesk_instance *instance)
{
    return vesk::add_to(store, instance, "vesk_instances_anonymous_add");
}

int vesk_instances_anonymous_remove(vesk_instances_class *store, vesk_instance *instance)
{
    return vesk::remove_from(store, instance, "vesk_instances_anonymous_remove");
}

void vesk_instances_anonymous_remove_all(vesk_instances_class *store)
{
    vesk::empty_store(store, false);
}

void vesk_instances_anonymous_delete_all(vesk_instances_class *store)
{
    vesk::empty_store(store, true);
}

int vesk_instances_anonymous_copy(const vesk_instances_class *from, vesk_instances_class *to)
{
    return vesk::copy_between(from, to);
}

void vesk_instances_anonymous_init_iterator(vesk_instances_iterator *iterator)
{
    vesk::stand_on_first(iterator);
}

void vesk_instances_anonymous_iterator_next(vesk_instances_iterator *iterator)
{
    vesk::stand_on_next(iterator);
}
