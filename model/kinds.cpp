#include "model/kinds.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/sharing.h"

// The class types differ in what may be added and, of groups, in the order.

namespace vesk {
namespace {

bool refused(int)
{
    return false;
}

} // namespace

bool may_add(const vesk_instances_class &store, const vesk_instance &instance)
{
    switch (store.cls->type) {
    case VESK_CLASS_SINGLETON:
        if (store.live > 0)
            return refused(fail("Singleton class may not have multiple instances.\n"));
        if (instance.name) return refused(fail("Singleton instance may not have a name.\n"));
        return true;
    case VESK_CLASS_ANONYMOUS:
        return !instance.name || refused(fail("Anonymous instance may not have a name.\n"));
    case VESK_CLASS_UNIQUE_NAMED:
        if (!instance.name) return refused(fail("Unique-named instance must have a name.\n"));
        return !has_name(store, instance.name);
    default:
        return instance.name || refused(fail("Group-named instance must have a name.\n"));
    }
}

int add_to(vesk_instances_class *store, vesk_instance *instance, const char *function)
{
    if (!are_given(store, instance, function)) return 1;
    return or_on_oom(1, [&] {
        if (!may_add(*store, *instance)) return 1;
        append(*store, *instance);
        return 0;
    });
}

int remove_from(vesk_instances_class *store, const vesk_instance *instance, const char *function)
{
    if (!are_given(store, instance, function)) return 1;
    const uint32_t place = place_of(*store, *instance);
    if (place == no_place) return 1;
    take_out(*store, place);
    return 0;
}

void empty_store(vesk_instances_class *store, bool with_instances)
{
    if (!is_given(store)) return;
    before_emptying(*store);
    empty(*store, with_instances);
}

int copy_between(const vesk_instances_class *from, vesk_instances_class *to)
{
    if (!can_copy(from, to)) return 1;
    bool complete = true;
    for_each_instance(*from, [&](const vesk_instance &instance) {
        // An anonymous list that is cut short must not go on behind the gap.
        if (complete || from->cls->type != VESK_CLASS_ANONYMOUS)
            complete &= add_copy(instance, *to);
    });
    return complete ? 0 : 1;
}

void stand_on_first(vesk_instances_iterator *iterator)
{
    if (is_walking(iterator)) iterator->place = first_place(*iterator->store);
}

void stand_on_first_of(vesk_instances_iterator *iterator, const char *name)
{
    if (!is_walking(iterator) || !name) return;
    iterator->one_name = true;
    iterator->place = first_of_name(*iterator->store, name);
}

void stand_on_next(vesk_instances_iterator *iterator)
{
    if (!is_walking(iterator) || iterator->is_at_end()) return;
    iterator->place = iterator->one_name ? next_of_name(*iterator->store, iterator->place)
                                         : next_place(*iterator->store, iterator->place);
}

} // namespace vesk
