#include "vesk/instances.h"

#include "core/log.h"
#include "model/instances.h"
#include "model/iterator.h"

int vesk_instances_singleton_add(vesk_instances_class *store, vesk_instance *instance)
{
    if (!vesk::are_given(store, instance, "vesk_instances_singleton_add")) return 1;
    if (store->singleton) return vesk::fail("Singleton class may not have multiple instances.\n");
    if (instance->name) return vesk::fail("Singleton instance may not have a name.\n");
    store->singleton = instance;
    return 0;
}

int vesk_instances_singleton_remove(vesk_instances_class *store, vesk_instance *instance)
{
    if (!vesk::are_given(store, instance, "vesk_instances_singleton_remove")) return 1;
    if (store->singleton != instance) return 1;
    vesk::leave_place(*store, nullptr);
    store->singleton = nullptr;
    return 0;
}

void vesk_instances_singleton_remove_all(vesk_instances_class *store)
{
    if (!vesk::is_given(store)) return;
    vesk::leave_store(*store);
    store->singleton = nullptr;
}

void vesk_instances_singleton_delete_all(vesk_instances_class *store)
{
    if (!vesk::is_given(store)) return;
    vesk::leave_store(*store);
    if (store->singleton) vesk_instance_delete(store->singleton);
    store->singleton = nullptr;
}

void vesk_instances_singleton_init_iterator(vesk_instances_iterator *iterator)
{
    if (vesk::is_walking(iterator)) iterator->current = iterator->store->singleton;
}

void vesk_instances_singleton_iterator_next(vesk_instances_iterator *iterator)
{
    if (vesk::is_walking(iterator)) iterator->current = nullptr;
}
