#include "vesk/instances.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/instances.h"
#include "model/iterator.h"

namespace vesk {

int add_anonymous(vesk_instances_class *store, vesk_instance *instance)
{
    if (instance->name) return fail("Anonymous instance may not have a name.\n");
    store->nodes.append(new instance_node{instance});
    return 0;
}

} // namespace vesk

int vesk_instances_anonymous_add(vesk_instances_class *store, vesk_instance *instance)
{
    if (!vesk::are_given(store, instance, "vesk_instances_anonymous_add")) return 1;
    return vesk::or_on_oom(1, [&] { return vesk::add_anonymous(store, instance); });
}

int vesk_instances_anonymous_remove(vesk_instances_class *store, vesk_instance *instance)
{
    if (!vesk::are_given(store, instance, "vesk_instances_anonymous_remove")) return 1;
    vesk::instance_node *node = vesk::find_node(*store, store->nodes, instance);
    if (!node) return 1;
    vesk::leave_place(*store, node);
    store->nodes.unlink(node);
    delete node;
    return 0;
}

void vesk_instances_anonymous_remove_all(vesk_instances_class *store)
{
    if (!vesk::is_given(store)) return;
    vesk::leave_store(*store);
    while (const vesk::instance_node *node = store->nodes.take_first())
        delete node;
}

void vesk_instances_anonymous_delete_all(vesk_instances_class *store)
{
    if (!vesk::is_given(store)) return;
    vesk::leave_store(*store);
    for (vesk::instance_node *node = store->nodes.first; node; node = node->next)
        vesk_instance_delete(node->instance);
    vesk_instances_anonymous_remove_all(store);
}

int vesk_instances_anonymous_copy(const vesk_instances_class *from, vesk_instances_class *to)
{
    if (!vesk::can_copy(from, to)) return 1;
    for (const vesk::instance_node *node = from->nodes.first; node; node = node->next)
        if (vesk::add_copy(*node->instance, *to, vesk::add_anonymous) != 0) return 1;
    return 0;
}

void vesk_instances_anonymous_init_iterator(vesk_instances_iterator *iterator)
{
    if (vesk::is_walking(iterator)) vesk::stand_on(*iterator, iterator->store->nodes.first);
}

void vesk_instances_anonymous_iterator_next(vesk_instances_iterator *iterator)
{
    if (vesk::is_walking(iterator) && iterator->node)
        vesk::stand_on(*iterator, iterator->node->next);
}
