#include "vesk/instances.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/instances.h"
#include "model/iterator.h"

namespace vesk {

int add_unique_named(vesk_instances_class *store, vesk_instance *instance)
{
    if (!instance->name) return fail("Unique-named instance must have a name.\n");
    auto node = std::make_unique<instance_node>(instance_node{instance});
    if (!store->unique_named.insert(instance->name.get(), node.get())) return 1;
    store->nodes.append(node.release());
    return 0;
}

} // namespace vesk

int vesk_instances_unique_named_add(vesk_instances_class *store, vesk_instance *instance)
{
    if (!vesk::are_given(store, instance, "vesk_instances_unique_named_add")) return 1;
    return vesk::or_on_oom(1, [&] { return vesk::add_unique_named(store, instance); });
}

int vesk_instances_unique_named_remove(vesk_instances_class *store, vesk_instance *instance)
{
    if (!vesk::are_given(store, instance, "vesk_instances_unique_named_remove")) return 1;
    if (!instance->name) return 1;
    vesk::instance_node *node = store->unique_named.get(instance->name.get());
    if (!node || node->instance != instance) return 1;
    vesk::leave_place(*store, node);
    store->unique_named.remove(instance->name.get());
    store->nodes.unlink(node);
    delete node;
    return 0;
}

void vesk_instances_unique_named_remove_all(vesk_instances_class *store)
{
    if (!vesk::is_given(store)) return;
    store->unique_named.clear();
    vesk_instances_anonymous_remove_all(store);
}

void vesk_instances_unique_named_delete_all(vesk_instances_class *store)
{
    if (!vesk::is_given(store)) return;
    store->unique_named.clear();
    vesk_instances_anonymous_delete_all(store);
}

int vesk_instances_unique_named_copy(const vesk_instances_class *from, vesk_instances_class *to)
{
    if (!vesk::can_copy(from, to)) return 1;
    int result = 0;
    for (const vesk::instance_node *node = from->nodes.first; node; node = node->next)
        result |= vesk::add_copy(*node->instance, *to, vesk::add_unique_named);
    return result;
}

void vesk_instances_unique_named_init_iterator(vesk_instances_iterator *iterator)
{
    if (vesk::is_walking(iterator)) vesk::stand_on(*iterator, iterator->store->nodes.first);
}

void vesk_instances_unique_named_init_group_iterator(vesk_instances_iterator *iterator,
                                                     const char *name)
{
    if (!vesk::is_walking(iterator) || !name) return;
    iterator->one_name = true;
    vesk::stand_on(*iterator, iterator->store->unique_named.get(name));
}

void vesk_instances_unique_named_iterator_next(vesk_instances_iterator *iterator)
{
    if (vesk::is_walking(iterator) && iterator->node)
        vesk::stand_on(*iterator, iterator->one_name ? nullptr : iterator->node->next);
}
