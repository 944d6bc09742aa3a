#include "model/sharing.h"

#include <algorithm>
#include <new>
#include <utility>

#include "model/iterator.h"

namespace vesk {
namespace {

auto names_of(const vesk_instances_class &store)
{
    return [&store](uint32_t place) { return store.name_at(place); };
}

/** A copy's slot for a class of its base; it has no place in the order yet. Throws. */
class_slot &make_slot(vesk_instances &copy, vesk_class &cls)
{
    auto fresh = std::make_unique<class_slot>(class_slot{&cls, nullptr});
    copy.classes.insert(cls.name.c_str(), fresh.get());
    return *fresh.release();
}

template <typename Action> void for_each_copy(const vesk_instances &base, Action &&action)
{
    for (vesk_instances *copy = base.copies.first; copy; copy = copy->next)
        action(*copy);
}

class_slot *slot_for(const vesk_instances &copy, const vesk_instances_class &base)
{
    return copy.classes.get(base.cls->name.c_str());
}

/** Whether a store of the copy, whose slot that is, rests on one of the base, even if it is not
 * made yet. */
bool rests_on(const vesk_instances &copy, const class_slot *slot, const vesk_instances_class &base)
{
    if (slot && slot->store) return slot->store->base == &base;
    return slot || copy.has_base_order;
}

/** The store of a copy that rests on one of the base's, made if it has none yet. Throws. */
vesk_instances_class &store_in(class_slot *slot, vesk_instances &copy, vesk_instances_class &base)
{
    if (slot && slot->store) return *slot->store;
    auto store = std::make_unique<vesk_instances_class>(*base.cls, copy);
    store->base = &base;
    store->base_end = store->first_own = base.end();
    store->live = base.live;
    store->first_used = base.first_used;
    if (base.groups) store->groups->base_groups = static_cast<uint32_t>(base.groups->groups.size());
    if (!slot) slot = &make_slot(copy, *base.cls);
    slot->store = std::move(store);
    return *slot->store;
}

/** Calls action(store) for the stores of the copies that rest on one of the base's. */
template <typename Action> void for_each_copy_of(vesk_instances_class &base, Action &&action)
{
    for_each_copy(*base.collection, [&](vesk_instances &copy) {
        class_slot *slot = slot_for(copy, base);
        if (rests_on(copy, slot, base)) action(store_in(slot, copy, base));
    });
}

/** A copy goes on without what it has not taken yet of a store of its base. */
void lose(vesk_instances &copy, const vesk_instances_class &base) noexcept
{
    copy.is_broken = true;
    for (const auto &[name, slot] : copy.classes) {
        if (!slot->store || slot->store->base != &base) continue;
        leave_store(*slot->store);
        slot->store->base = nullptr;
        slot->store->base_end = 0;
        if (slot->store->groups) *slot->store->groups = group_order{};
    }
}

bool sees(const vesk_instances_class &store, uint32_t place)
{
    return place < store.base_end && store.at(place);
}

/** Before the base has something else at a place. */
void keep_value(vesk_instances_class &store, uint32_t place)
{
    if (sees(store, place)) own_at(store, place);
}

/** Before the base has nothing there any more: the copy must find it by itself as well. */
void keep_removed(vesk_instances_class &store, uint32_t place)
{
    if (!sees(store, place)) return;
    vesk_instances_class &base = *store.base;
    const char *name = own_at(store, place).name;
    if (base.cls->type == VESK_CLASS_UNIQUE_NAMED &&
        store.names.find(name, names_of(store)) == name_index::none) {
        store.names.reserve(1, names_of(store));
        store.names.insert(name, place);
    }
    if (base.groups && base.nodes[place] && is_last_of_group(base, name))
        prepare_group_removal(store, name);
}

/** Whether only a store as a whole can take the place of its base. */
bool must_detach(const vesk_instances_class &copy)
{
    if (!copy.groups) return false;
    if (copy.base->end() > copy.base_end) return true;
    return std::any_of(copy.own.begin(), copy.own.end(), [&](const auto &entry) {
        return entry.second && !copy.base->nodes[entry.first];
    });
}

/** Has the other copies keep what the base loses to this store of a copy, and makes room. */
void prepare_merge(vesk_instances_class &store)
{
    vesk_instances_class &base = *store.base;
    for_each_copy_of(base, [&](vesk_instances_class &other) {
        if (&other == &store) return;
        for (const auto &[place, instance] : store.own)
            instance ? keep_value(other, place) : keep_removed(other, place);
        for (uint32_t place = store.base_end; place < base.end(); ++place)
            if (base.nodes[place]) keep_removed(other, place);
        if (!store.groups) return;
        for (const instance_group &group : store.groups->groups)
            if (group.base_group != no_place) prepare_group_removal(other, group.name.get());
    });
    base.nodes.reserve(store.end());
    base.names.reserve(static_cast<uint32_t>(store.nodes.size() + store.own.size()),
                       names_of(base));
    if (store.groups) prepare_group_merge(store);
}

/** Puts an instance of the copy, or nothing, in the place of the base's, which the copy gets. */
void exchange(vesk_instances_class &store, uint32_t place, vesk_instance *&own)
{
    vesk_instances_class &base = *store.base;
    const bool is_unique = base.cls->type == VESK_CLASS_UNIQUE_NAMED;
    vesk_instance *old = base.nodes[place];
    if (is_unique && old && !own) base.names.remove(old->name, place, names_of(base));
    base.nodes[place] = own;
    if (is_unique && own && !old) base.names.insert(own->name, place);
    if (own) move_membership(store, base, *own, place);
    if (old) move_membership(base, store, *old, place);
    own = old;
}

/** The base's store becomes what the copy's is; that one is left with what is no longer there. */
void merge(vesk_instances_class &store)
{
    vesk_instances_class &base = *store.base;
    const bool is_unique = base.cls->type == VESK_CLASS_UNIQUE_NAMED;
    if (store.groups) merge_groups(store);
    std::vector<vesk_instance *> added;
    added.swap(store.nodes);
    const uint32_t first_added = store.first_own;
    for (uint32_t place = store.base_end; place < base.end(); ++place) {
        vesk_instance *late = base.nodes[place];
        if (!late) continue;
        if (is_unique) base.names.remove(late->name, place, names_of(base));
        leave(base, *late);
        vesk_instance_delete(late); // the base is not looked at any more
    }
    base.nodes.resize(store.base_end);
    for (auto &[place, own] : store.own)
        if (place < store.base_end) exchange(store, place, own);
    base.nodes.resize(first_added);
    for (auto &[place, own] : store.own)
        if (place >= store.base_end) exchange(store, place, own);
    for (vesk_instance *instance : added) {
        const uint32_t place = base.end();
        base.nodes.push_back(instance);
        if (!instance) continue;
        move_membership(store, base, *instance, place);
        if (is_unique) base.names.insert(instance->name, place);
    }
    base.live = store.live;
    base.first_used = 0;
    while (base.first_used < base.end() && !base.nodes[base.first_used])
        ++base.first_used;
    for_each_copy_of(base, [&](vesk_instances_class &other) {
        if (&other != &store) other.base_end = std::min(other.base_end, store.base_end);
    });
    store.base = nullptr;
    store.base_end = 0;
}

/** Walks over a copy go on in the base's store. */
void move_iterators(const vesk_instances &copy, const vesk_instances_class &from,
                    vesk_instances_class &to)
{
    for (vesk_instances_iterator *i = copy.iterators.first; i; i = i->next)
        if (i->store == &from) i->store = &to;
}

/** Other copies become independent of a store that goes away with the base. */
void detach_others(const vesk_instances &copy, vesk_instances_class &base)
{
    for_each_copy_of(base, [&](vesk_instances_class &store) {
        if (store.collection != &copy) detach(store);
    });
}

/** Of a class that both know: the base's store is about to become what the copy's is. */
void prepare_class(vesk_instances &copy, const class_slot &slot, vesk_instances_class &base)
{
    if (slot.store && slot.store->base)
        prepare_merge(*slot.store);
    else if (slot.store)
        detach_others(copy, base);
}

void prepare_take_over(vesk_instances &copy)
{
    vesk_instances &base = *copy.base;
    for (const auto &[name, slot] : copy.classes)
        if (slot->store && slot->store->base && must_detach(*slot->store)) detach(*slot->store);
    for (const auto &[name, slot] : copy.classes)
        if (const class_slot *base_slot = base.classes.get(name))
            prepare_class(copy, *slot, *base_slot->store);
    if (copy.has_base_order) return; // it knows what it touched; all else stays
    for (const auto &[name, base_slot] : base.classes)
        if (!copy.classes.get(name)) detach_others(copy, *base_slot->store);
    for_each_copy(base, [](vesk_instances &other) { own_class_order(other); });
}

/** Gives copy the stores of its base, and the base what is left of the copy's. */
void exchange_stores(vesk_instances &copy)
{
    vesk_instances &base = *copy.base;
    for (const auto &[name, slot] : copy.classes) {
        class_slot *base_slot = base.classes.get(name);
        if (!base_slot || (slot->store && !slot->store->base)) continue; // the copy's own stays
        if (slot->store) {
            move_iterators(copy, *slot->store, *base_slot->store);
            merge(*slot->store);
        }
        slot->store.swap(base_slot->store);
    }
    if (!copy.has_base_order) return;
    // The copy has slots for what it touched only: these stores go back into the base's slots.
    for (const auto &[name, slot] : copy.classes)
        slot->store.swap(base.classes.get(name)->store);
    std::swap(copy.classes, base.classes);
    std::swap(copy.class_order, base.class_order);
}

/** Listeners that were set on the base's instances do not go with them. */
void drop_late_hooks(vesk_instances &base, uint64_t since)
{
    if (base.last_hooked < since) return;
    for_each_instance(base, [&](vesk_instance &instance) {
        if (instance.hooked_at >= since) instance.hook = {};
    });
}

void give_collection(vesk_instances &instances)
{
    for (const auto &[name, slot] : instances.classes)
        if (slot->store) slot->store->collection = &instances;
}

} // namespace

bool can_be_shared(const vesk_instances &instances)
{
    return !instances.base || (instances.has_base_order && instances.classes.size() == 0);
}

void begin_sharing(vesk_instances &copy, vesk_instances &instances)
{
    copy.base = instances.base ? instances.base : &instances;
    copy.has_base_order = true;
    copy.since = next_hook_time();
    copy.base->copies.append(&copy);
}

void end_sharing(vesk_instances &copy) noexcept
{
    vesk_instances *base = std::exchange(copy.base, nullptr);
    copy.has_base_order = false;
    base->copies.unlink(&copy);
    if (base->copies.first) return;
    for (class_slot *slot = base->class_order.first; slot; slot = slot->next)
        pack(*slot->store);
}

vesk_instances_class &copy_of_store(vesk_instances &copy, vesk_instances_class &base)
{
    return store_in(slot_for(copy, base), copy, base);
}

void own_class_order(vesk_instances &copy)
{
    if (!copy.has_base_order) return;
    for (class_slot *slot = copy.base->class_order.first; slot; slot = slot->next)
        if (!copy.classes.get(slot->cls->name.c_str())) make_slot(copy, *slot->cls);
    for (class_slot *slot = copy.base->class_order.first; slot; slot = slot->next)
        copy.class_order.append(copy.classes.get(slot->cls->name.c_str()));
    copy.has_base_order = false;
}

void detach(vesk_instances_class &store)
{
    if (!store.base) return;
    for (uint32_t place = 0; place < store.first_own; ++place)
        if (store.at(place)) own_at(store, place);
    std::vector<vesk_instance *> nodes(store.end());
    std::vector<uint32_t> same_places(store.end());
    name_index names;
    if (store.cls->type == VESK_CLASS_UNIQUE_NAMED)
        names.reserve(store.live, [](uint32_t) { return ""; });
    for (uint32_t place = 0; place < store.end(); ++place) {
        nodes[place] = store.at(place);
        same_places[place] = place;
        if (nodes[place] && store.cls->type == VESK_CLASS_UNIQUE_NAMED)
            names.insert(nodes[place]->name, place);
    }
    if (store.groups) store.groups = packed_groups(store, same_places, store.end());
    store.base = nullptr;
    store.base_end = store.first_own = 0;
    store.own.clear();
    store.nodes = std::move(nodes);
    store.names = std::move(names);
}

void detach_all(vesk_instances &copy)
{
    own_class_order(copy);
    for (class_slot *slot = copy.class_order.first; slot; slot = slot->next)
        detach(*own_store_of(copy, slot->cls->name.c_str()));
    end_sharing(copy);
}

void before_value(vesk_instances_class &store, uint32_t place)
{
    for_each_copy_of(store, [&](vesk_instances_class &copy) { keep_value(copy, place); });
}

void before_addition(vesk_instances_class &store)
{
    for_each_copy_of(store,
                     [](vesk_instances_class &) {}); // each has a store of its own from now on
}

void before_new_class(vesk_instances &instances)
{
    for_each_copy(instances, [](vesk_instances &copy) { own_class_order(copy); });
}

void before_removal(vesk_instances_class &store, uint32_t place) noexcept
{
    for_each_copy(*store.collection, [&](vesk_instances &copy) {
        class_slot *slot = slot_for(copy, store);
        if (!rests_on(copy, slot, store)) return;
        try {
            keep_removed(store_in(slot, copy, store), place);
        } catch (const std::bad_alloc &) {
            copy.is_broken = true;
        }
    });
}

void before_emptying(vesk_instances_class &store) noexcept
{
    for_each_copy(*store.collection, [&](vesk_instances &copy) {
        try {
            own_class_order(copy);
            class_slot *slot = slot_for(copy, store);
            if (rests_on(copy, slot, store)) detach(store_in(slot, copy, store));
        } catch (const std::bad_alloc &) {
            lose(copy, store);
        }
    });
}

void take_over_base(vesk_instances &copy)
{
    prepare_take_over(copy);
    // From here on nothing can fail.
    vesk_instances &base = *copy.base;
    drop_late_hooks(base, copy.since);
    leave_collection(base);
    exchange_stores(copy);
    give_collection(copy);
    give_collection(base);
    base.copies.unlink(&copy);
    copy.base = nullptr;
    copy.has_base_order = false;
    copy.hooks_since = copy.since;
    while (vesk_instances *other = base.copies.take_first()) {
        other->base = &copy;
        copy.copies.append(other);
    }
}

} // namespace vesk
