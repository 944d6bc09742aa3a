#include "model/store.h"

#include <algorithm>
#include <new>

#include "base/never_destroyed.h"
#include "model/instances.h"
#include "model/iterator.h"
#include "model/sharing.h"

namespace vesk {
namespace {

/** Fewer empty places than this are not worth closing. */
constexpr uint32_t tolerated_gaps = 16;

bool is_grouped(const vesk_instances_class &store)
{
    return store.groups != nullptr;
}

bool has_unique_names(const vesk_instances_class &store)
{
    return store.cls->type == VESK_CLASS_UNIQUE_NAMED;
}

auto names_of(const vesk_instances_class &store)
{
    return [&store](uint32_t place) { return store.name_at(place); };
}

uint32_t skip_gaps(const vesk_instances_class &store, uint32_t place)
{
    const uint32_t end = store.end();
    while (place < end && !store.at(place))
        ++place;
    return place < end ? place : no_place;
}

/** The place of a unique name, or no_place. */
uint32_t find_name(const vesk_instances_class &store, const char *name)
{
    const uint32_t own = store.names.find(name, names_of(store));
    if (own != name_index::none) return own;
    if (!store.base) return no_place;
    const uint32_t place = store.base->names.find(name, names_of(*store.base));
    return place < store.base_end && store.at(place) ? place : no_place;
}

/** Finds an instance whose place nobody has kept: the collection only refers to it. */
uint32_t search(const vesk_instances_class &store, const vesk_instance &instance)
{
    if (is_grouped(store)) {
        uint32_t place = first_in_group(store, instance.name);
        while (place != no_place && store.at(place) != &instance)
            place = next_in_group(store, place);
        return place;
    }
    if (has_unique_names(store)) {
        const uint32_t place = find_name(store, instance.name);
        return place != no_place && store.at(place) == &instance ? place : no_place;
    }
    if (!store.nodes.empty() && store.nodes.back() == &instance) return store.end() - 1;
    uint32_t place = store.first_used;
    while (place < store.end() && store.at(place) != &instance)
        ++place;
    return place < store.end() ? place : no_place;
}

std::unordered_map<const vesk_instance *, std::vector<membership>> &guests()
{
    static never_destroyed<std::unordered_map<const vesk_instance *, std::vector<membership>>> all;
    return *all;
}

/** A guest's note of its place in a store, null when it has none. */
membership *find_membership(const vesk_instance &instance, const vesk_instances_class &store)
{
    if (!instance.is_guest) return nullptr;
    for (membership &there : guests()[&instance])
        if (there.store == &store) return &there;
    return nullptr;
}

/** Nobody counts on a place staying the same. */
bool may_move(const vesk_instances_class &store)
{
    const vesk_instances &all = *store.collection;
    return !store.base && !all.copies.first && !all.watches.first && !all.iterators.first;
}

void close_gaps(vesk_instances_class &store)
{
    std::vector<uint32_t> new_places(store.end());
    uint32_t count = 0;
    for (uint32_t place = 0; place < store.end(); ++place)
        if (store.nodes[place]) new_places[place] = count++;
    auto order = is_grouped(store) ? packed_groups(store, new_places, count) : nullptr;
    name_index names;
    if (has_unique_names(store)) names.reserve(count, [](uint32_t) { return ""; });
    // From here on nothing can fail.
    for (uint32_t place = 0; place < store.end(); ++place) {
        vesk_instance *instance = store.nodes[place];
        if (!instance) continue;
        store.nodes[new_places[place]] = instance;
        if (instance->home == &store) instance->place = new_places[place];
        if (membership *there = find_membership(*instance, store)) there->place = new_places[place];
        if (has_unique_names(store)) names.insert(instance->name, new_places[place]);
    }
    store.nodes.resize(count);
    store.names = std::move(names);
    if (order) store.groups = std::move(order);
    store.first_used = 0;
}

void forget_all(vesk_instances_class &store)
{
    store.own.clear();
    store.nodes.clear();
    store.names.clear();
    if (store.groups) {
        const uint32_t base_groups = store.groups->base_groups;
        *store.groups = group_order{};
        store.groups->base_groups = base_groups;
    }
    store.base_end = 0;
    store.live = store.first_used = 0;
}

void prepare_removal_from_copy(vesk_instances_class &store, const char *name)
{
    try {
        prepare_group_removal(store, name);
    } catch (const std::bad_alloc &) {
        store.collection->is_broken = true;
    }
}

/** Makes sure that a guest's place can be noted. */
void prepare_join(vesk_instances_class &store, vesk_instance &instance)
{
    if (store.collection->refers || !instance.home) return;
    guests()[&instance].push_back({&store, no_place});
    instance.is_guest = true;
}

} // namespace

uint32_t first_place(const vesk_instances_class &store)
{
    return is_grouped(store) ? first_in_groups(store) : skip_gaps(store, store.first_used);
}

uint32_t next_place(const vesk_instances_class &store, uint32_t place)
{
    return is_grouped(store) ? next_in_groups(store, place) : skip_gaps(store, place + 1);
}

uint32_t first_of_name(const vesk_instances_class &store, const char *name)
{
    if (is_grouped(store)) return first_in_group(store, name);
    return has_unique_names(store) ? find_name(store, name) : no_place;
}

uint32_t next_of_name(const vesk_instances_class &store, uint32_t place)
{
    return is_grouped(store) ? next_in_group(store, place) : no_place;
}

uint32_t place_of(const vesk_instances_class &store, const vesk_instance &instance)
{
    if (instance.home == &store) return instance.place;
    if (const membership *there = find_membership(instance, store)) return there->place;
    return store.collection->refers ? search(store, instance) : no_place;
}

bool has_name(const vesk_instances_class &store, const char *name)
{
    return find_name(store, name) != no_place;
}

vesk_instance &own_at(vesk_instances_class &store, uint32_t place)
{
    if (store.is_own(place)) return *store.at(place);
    vesk_instance *copy = new_copy(*store.base->nodes[place]);
    try {
        store.own.emplace(place, copy);
    } catch (...) {
        free_instance(copy);
        throw;
    }
    copy->home = &store;
    copy->place = place;
    return *copy;
}

void append(vesk_instances_class &store, vesk_instance &instance)
{
    if (store.nodes.size() == store.nodes.capacity()) {
        pack(store);
        if (store.nodes.size() == store.nodes.capacity())
            store.nodes.reserve(store.nodes.size() + store.nodes.size() / 2 + 4);
    }
    if (store.nodes.capacity() + size_t{store.first_own} >= no_place) throw std::bad_alloc{};
    if (has_unique_names(store)) store.names.reserve(1, names_of(store));
    before_addition(store);
    if (is_grouped(store)) prepare_group_addition(store, instance.name);
    for (instances_watch *w = store.collection->watches.first; w; w = w->next)
        w->before_adding(w->owner, instance);
    prepare_join(store, instance);
    // From here on nothing can fail.
    const uint32_t place = store.end();
    store.nodes.push_back(&instance);
    if (has_unique_names(store)) store.names.insert(instance.name, place);
    if (is_grouped(store)) add_to_group(store, instance.name);
    ++store.live;
    if (store.collection->refers) return;
    if (membership *there = find_membership(instance, store)) {
        there->place = place;
        return;
    }
    instance.home = &store;
    instance.place = place;
}

void take_out(vesk_instances_class &store, uint32_t place) noexcept
{
    vesk_instance &instance = *store.at(place);
    before_removal(store, place);
    if (is_grouped(store) && store.base) prepare_removal_from_copy(store, instance.name);
    for (instances_watch *w = store.collection->watches.first; w; w = w->next)
        w->before_removal(w->owner, instance);
    leave_place(store, place);
    if (has_unique_names(store) && store.names.find(instance.name, names_of(store)) == place)
        store.names.remove(instance.name, place, names_of(store));
    if (is_grouped(store)) remove_from_group(store, instance.name);
    (place >= store.first_own ? store.nodes[place - store.first_own] : store.own[place]) = nullptr;
    --store.live;
    leave(store, instance);
    while (!store.base && store.first_used < store.end() && !store.at(store.first_used))
        ++store.first_used;
    pack(store);
}

void give_up_all(vesk_instances_class &store) noexcept
{
    for (const auto &[place, instance] : store.own)
        if (instance) leave(store, *instance);
    for (vesk_instance *instance : store.nodes)
        if (instance) leave(store, *instance);
}

void empty(vesk_instances_class &store, bool with_instances)
{
    leave_store(store);
    // What is only referred to, or was given up before, may have been freed by now.
    if (!store.collection->refers && !store.collection->has_given_up) give_up_all(store);
    if (with_instances) {
        for (const auto &[place, instance] : store.own)
            if (instance) vesk_instance_delete(instance);
        for (vesk_instance *instance : store.nodes)
            if (instance) vesk_instance_delete(instance);
    }
    forget_all(store);
}

void pack(vesk_instances_class &store) noexcept
{
    const uint32_t gaps = store.end() - store.live;
    if (gaps == 0 || !may_move(store)) return;
    if (store.live == 0)
        forget_all(store);
    else if (gaps > store.live + tolerated_gaps)
        try {
            close_gaps(store);
        } catch (const std::bad_alloc &) {
            // The gaps cost a little time; they can be closed another time.
        }
}

void leave(vesk_instances_class &store, vesk_instance &instance) noexcept
{
    if (instance.home == &store) {
        instance.home = nullptr;
        if (instance.hooked_at < store.collection->hooks_since) instance.hook = {};
        return;
    }
    if (!find_membership(instance, store)) return;
    auto &there = guests()[&instance];
    std::erase_if(there, [&](const membership &m) { return m.store == &store; });
    if (!there.empty()) return;
    guests().erase(&instance);
    instance.is_guest = false;
}

void move_membership(vesk_instances_class &from, vesk_instances_class &to, vesk_instance &instance,
                     uint32_t place) noexcept
{
    if (instance.home == &from) {
        instance.home = &to;
        instance.place = place;
    } else if (membership *there = find_membership(instance, from)) {
        *there = {&to, place};
    }
}

const std::vector<membership> &guest_memberships(const vesk_instance &instance)
{
    return guests()[&instance];
}

void forget_guest(const vesk_instance &instance) noexcept
{
    guests().erase(&instance);
}

} // namespace vesk

vesk_instances_class::vesk_instances_class(vesk_class &its_class, vesk_instances &its_collection)
    : cls{&its_class}, collection{&its_collection}
{
    if (cls->type == VESK_CLASS_GROUP_NAMED) groups = std::make_unique<vesk::group_order>();
}
