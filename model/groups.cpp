#include "model/groups.h"

#include <cstring>

#include "model/store.h"

// A shared copy sees of its base the first base_groups groups, and of their members those at places
// below base_end: whatever the base adds later has higher numbers. A group of the base that either
// side changes gets one in the copy that goes on with it; only such a group knows how many are
// left.

namespace vesk {
namespace {

const group_order &order_of(const vesk_instances_class &store)
{
    return *store.groups;
}

const group_order &base_order(const vesk_instances_class &store)
{
    return *store.base->groups;
}

const instance_group &base_group(const vesk_instances_class &store, uint32_t number)
{
    return base_order(store).groups[number];
}

uint32_t find_group(const group_order &order, const char *name)
{
    return order.names.find(name, [&](uint32_t g) { return order.groups[g].name.get(); });
}

/** The base's group of that name that the copy still sees as it is, or no_place. */
uint32_t find_base_group(const vesk_instances_class &store, const char *name)
{
    if (!store.base) return no_place;
    const uint32_t found = find_group(base_order(store), name);
    return found < order_of(store).base_groups ? found : no_place;
}

/** From a member of a group of the base on, the first that is there. */
uint32_t skip_in_base(const vesk_instances_class &store, uint32_t place)
{
    while (place < store.base_end && !store.at(place))
        place = base_order(store).links[place].next;
    return place < store.base_end ? place : no_place;
}

uint32_t skip_own(const vesk_instances_class &store, uint32_t place)
{
    while (place != no_place && !store.at(place))
        place = order_of(store).links[place - store.first_own].next;
    return place;
}

/** The first own member of the group that goes on with one of the base. */
uint32_t first_going_on(const vesk_instances_class &store, uint32_t base_number)
{
    const group_order &order = order_of(store);
    const uint32_t own = find_group(order, base_group(store, base_number).name.get());
    if (own == no_place || order.groups[own].base_group != base_number) return no_place;
    return skip_own(store, order.groups[own].first);
}

uint32_t first_of_base_group(const vesk_instances_class &store, uint32_t base_number)
{
    const uint32_t place = skip_in_base(store, base_group(store, base_number).first);
    return place != no_place ? place : first_going_on(store, base_number);
}

uint32_t first_from_own(const vesk_instances_class &store, uint32_t number)
{
    const group_order &order = order_of(store);
    for (; number < order.groups.size(); ++number) {
        if (order.groups[number].base_group != no_place) continue; // met with the base's
        const uint32_t place = skip_own(store, order.groups[number].first);
        if (place != no_place) return place;
    }
    return no_place;
}

uint32_t first_from_base(const vesk_instances_class &store, uint32_t number)
{
    for (; number < order_of(store).base_groups; ++number) {
        const uint32_t place = first_of_base_group(store, number);
        if (place != no_place) return place;
    }
    return first_from_own(store, 0);
}

uint32_t count_in_base(const vesk_instances_class &store, uint32_t base_number)
{
    uint32_t count = 0;
    uint32_t place = skip_in_base(store, base_group(store, base_number).first);
    for (; place != no_place; ++count)
        place = skip_in_base(store, base_order(store).links[place].next);
    return count;
}

template <typename T> void make_room(std::vector<T> &list)
{
    if (list.size() == list.capacity()) list.reserve(list.size() + list.size() / 2 + 4);
}

std::unique_ptr<char[]> copy_of(const char *name)
{
    const size_t size = std::strlen(name) + 1;
    std::unique_ptr<char[]> copy{new char[size]};
    std::memcpy(copy.get(), name, size);
    return copy;
}

/** Adds a group without members, which takes over the name. */
void begin_group(vesk_instances_class &store, const char *name, uint32_t base_number)
{
    group_order &order = *store.groups;
    const auto name_of = [&](uint32_t g) { return order.groups[g].name.get(); };
    instance_group fresh;
    fresh.name = copy_of(name);
    fresh.base_group = base_number;
    if (base_number != no_place) fresh.live = count_in_base(store, base_number);
    make_room(order.groups);
    order.names.reserve(1, name_of);
    if (const uint32_t over = find_group(order, name); over != no_place)
        order.names.remove(name, over, name_of);
    order.groups.push_back(std::move(fresh));
    order.names.insert(name, static_cast<uint32_t>(order.groups.size() - 1));
}

} // namespace

uint32_t first_in_groups(const vesk_instances_class &store)
{
    return first_from_base(store, 0);
}

uint32_t next_in_groups(const vesk_instances_class &store, uint32_t place)
{
    const uint32_t next = next_in_group(store, place);
    if (next != no_place) return next;
    if (place < store.first_own)
        return first_from_base(store, base_order(store).links[place].group + 1);
    const uint32_t number = order_of(store).links[place - store.first_own].group;
    const uint32_t base_number = order_of(store).groups[number].base_group;
    return base_number != no_place ? first_from_base(store, base_number + 1)
                                   : first_from_own(store, number + 1);
}

uint32_t first_in_group(const vesk_instances_class &store, const char *name)
{
    const uint32_t own = find_group(order_of(store), name);
    if (own != no_place) {
        const instance_group &group = order_of(store).groups[own];
        return group.base_group != no_place ? first_of_base_group(store, group.base_group)
                                            : skip_own(store, group.first);
    }
    const uint32_t base_number = find_base_group(store, name);
    return base_number != no_place ? first_of_base_group(store, base_number) : no_place;
}

uint32_t next_in_group(const vesk_instances_class &store, uint32_t place)
{
    if (place >= store.first_own)
        return skip_own(store, order_of(store).links[place - store.first_own].next);
    const group_link &link = base_order(store).links[place];
    const uint32_t next = skip_in_base(store, link.next);
    return next != no_place ? next : first_going_on(store, link.group);
}

void prepare_group_addition(vesk_instances_class &store, const char *name)
{
    group_order &order = *store.groups;
    make_room(order.links);
    const uint32_t own = find_group(order, name);
    if (own != no_place && order.groups[own].live > 0) return;
    begin_group(store, name, own == no_place ? find_base_group(store, name) : no_place);
}

void prepare_group_removal(vesk_instances_class &store, const char *name)
{
    if (find_group(order_of(store), name) != no_place) return;
    const uint32_t base_number = find_base_group(store, name);
    if (base_number != no_place) begin_group(store, name, base_number);
}

void add_to_group(vesk_instances_class &store, const char *name)
{
    group_order &order = *store.groups;
    const uint32_t number = find_group(order, name);
    instance_group &group = order.groups[number];
    const uint32_t place = store.end() - 1;
    order.links.push_back({number, no_place});
    if (group.last == no_place)
        group.first = place;
    else
        order.links[group.last - store.first_own].next = place;
    group.last = place;
    ++group.live;
}

void remove_from_group(vesk_instances_class &store, const char *name)
{
    group_order &order = *store.groups;
    const uint32_t number = find_group(order, name);
    if (number == no_place) return; // of a broken copy
    if (--order.groups[number].live > 0 || store.base) return;
    order.names.remove(name, number, [&](uint32_t g) { return order.groups[g].name.get(); });
}

bool is_last_of_group(const vesk_instances_class &store, const char *name)
{
    return order_of(store).groups[find_group(order_of(store), name)].live == 1;
}

std::unique_ptr<group_order> packed_groups(const vesk_instances_class &store,
                                           const std::vector<uint32_t> &new_places, uint32_t count)
{
    auto packed = std::make_unique<group_order>();
    packed->links.resize(count, {0, no_place});
    const auto name_of = [&](uint32_t g) { return packed->groups[g].name.get(); };
    for (uint32_t at = first_in_groups(store); at != no_place; at = next_in_groups(store, at)) {
        const char *name = store.at(at)->name;
        if (packed->groups.empty() || std::strcmp(packed->groups.back().name.get(), name) != 0) {
            make_room(packed->groups);
            packed->groups.push_back({});
            packed->groups.back().name = copy_of(name);
            packed->names.reserve(1, name_of);
            packed->names.insert(name, static_cast<uint32_t>(packed->groups.size() - 1));
        }
        instance_group &group = packed->groups.back();
        const uint32_t place = new_places[at];
        packed->links[place].group = static_cast<uint32_t>(packed->groups.size() - 1);
        (group.last == no_place ? group.first : packed->links[group.last].next) = place;
        group.last = place;
        ++group.live;
    }
    return packed;
}

void prepare_group_merge(vesk_instances_class &copy)
{
    group_order &base = *copy.base->groups;
    const group_order &order = order_of(copy);
    base.links.reserve(copy.end());
    base.groups.reserve(base.groups.size() + order.groups.size());
    base.names.reserve(static_cast<uint32_t>(order.groups.size()),
                       [&](uint32_t g) { return base.groups[g].name.get(); });
}

void merge_groups(vesk_instances_class &copy)
{
    group_order &base = *copy.base->groups;
    const auto name_of = [&](uint32_t g) { return base.groups[g].name.get(); };
    group_order &order = *copy.groups;
    base.links.resize(copy.end(), {0, no_place});
    for (instance_group &group : order.groups) {
        const uint32_t first = group.first;
        uint32_t number = group.base_group;
        if (number != no_place) {
            instance_group &known = base.groups[number];
            const bool was_live = find_group(base, known.name.get()) == number;
            if (group.live == 0 && was_live) base.names.remove(known.name.get(), number, name_of);
            known.live = group.live;
            if (group.first != no_place) {
                base.links[known.last].next = group.first;
                known.last = group.last;
            }
        } else if (group.live > 0) {
            number = static_cast<uint32_t>(base.groups.size());
            base.groups.push_back(std::move(group));
            base.names.insert(base.groups.back().name.get(), number);
        } else {
            continue;
        }
        for (uint32_t at = first; at != no_place;) {
            const group_link own = order.links[at - copy.first_own];
            base.links[at] = {number, own.next};
            at = own.next;
        }
    }
}

} // namespace vesk
