#include "vesk/instances.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/instances.h"
#include "model/iterator.h"

namespace {

using vesk::instance_group;
using vesk::instance_node;

instance_group &find_or_make_group(vesk_instances_class &store, const char *name)
{
    if (instance_group *found = store.groups.get(name)) return *found;
    auto group = std::make_unique<instance_group>();
    group->name = name;
    store.groups.insert(name, group.get());
    store.group_order.append(group.get());
    return *group.release();
}

void drop_group(vesk_instances_class &store, instance_group *group)
{
    store.groups.remove(group->name.c_str());
    store.group_order.unlink(group);
    delete group;
}

} // namespace

namespace vesk {

int add_group_named(vesk_instances_class *store, vesk_instance *instance)
{
    if (!instance->name) return fail("Group-named instance must have a name.\n");
    auto node = std::make_unique<instance_node>(instance_node{instance});
    find_or_make_group(*store, instance->name.get()).members.append(node.release());
    return 0;
}

} // namespace vesk

int vesk_instances_group_named_add(vesk_instances_class *store, vesk_instance *instance)
{
    if (!vesk::are_given(store, instance, "vesk_instances_group_named_add")) return 1;
    return vesk::or_on_oom(1, [&] { return vesk::add_group_named(store, instance); });
}

int vesk_instances_group_named_remove(vesk_instances_class *store, vesk_instance *instance)
{
    if (!vesk::are_given(store, instance, "vesk_instances_group_named_remove")) return 1;
    instance_group *group = instance->name ? store->groups.get(instance->name.get()) : nullptr;
    instance_node *node = group ? vesk::find_node(*store, group->members, instance) : nullptr;
    if (!node) return 1;
    vesk::leave_place(*store, node);
    group->members.unlink(node);
    delete node;
    if (!group->members.first) drop_group(*store, group);
    return 0;
}

void vesk_instances_group_named_remove_all(vesk_instances_class *store)
{
    if (!vesk::is_given(store)) return;
    vesk::leave_store(*store);
    store->groups.clear();
    while (instance_group *group = store->group_order.take_first()) {
        while (const instance_node *node = group->members.take_first())
            delete node;
        delete group;
    }
}

void vesk_instances_group_named_delete_all(vesk_instances_class *store)
{
    if (!vesk::is_given(store)) return;
    vesk::leave_store(*store);
    for (instance_group *group = store->group_order.first; group; group = group->next)
        for (instance_node *node = group->members.first; node; node = node->next)
            vesk_instance_delete(node->instance);
    vesk_instances_group_named_remove_all(store);
}

int vesk_instances_group_named_copy(const vesk_instances_class *from, vesk_instances_class *to)
{
    if (!vesk::can_copy(from, to)) return 1;
    int result = 0;
    for (const instance_group *group = from->group_order.first; group; group = group->next)
        for (const instance_node *node = group->members.first; node; node = node->next)
            result |= vesk::add_copy(*node->instance, *to, vesk::add_group_named);
    return result;
}

void vesk_instances_group_named_init_iterator(vesk_instances_iterator *iterator)
{
    if (!vesk::is_walking(iterator)) return;
    iterator->group = iterator->store->group_order.first;
    vesk::stand_on(*iterator, iterator->group ? iterator->group->members.first : nullptr);
}

void vesk_instances_group_named_init_group_iterator(vesk_instances_iterator *iterator,
                                                    const char *name)
{
    if (!vesk::is_walking(iterator) || !name) return;
    iterator->one_name = true;
    instance_group *group = iterator->store->groups.get(name);
    vesk::stand_on(*iterator, group ? group->members.first : nullptr);
}

void vesk_instances_group_named_iterator_next(vesk_instances_iterator *iterator)
{
    if (!vesk::is_walking(iterator) || !iterator->node) return;
    instance_node *next = iterator->node->next;
    if (!next && !iterator->one_name && iterator->group) {
        iterator->group = iterator->group->next;
        if (iterator->group) next = iterator->group->members.first;
    }
    vesk::stand_on(*iterator, next);
}
