#ifndef VESK_MODEL_GROUPS_H
#define VESK_MODEL_GROUPS_H

#include <cstdint>
#include <memory>
#include <vector>

#include "base/name_index.h"

struct vesk_instances_class;

namespace vesk {

constexpr uint32_t no_place = ~uint32_t{0};

/** The instances of a group-named class that share a name. It is over when none is left. */
struct instance_group {
    std::unique_ptr<char[]> name;
    uint32_t first = no_place; // places of members; some may be empty by now
    uint32_t last = no_place;
    uint32_t live = 0; // members that are there
    /** In a shared copy: the group of the base that this one goes on with, or no_place. */
    uint32_t base_group = no_place;
};

/** A member's group, and the next member of it. */
struct group_link {
    uint32_t group;
    uint32_t next;
};

/**
 * The order of a group-named class: groups in the order in which they came to be, in each its
 * members in the order of adding. Nothing is unlinked before the store is packed, so that a shared
 * copy finds in its base's order what was there when it was made. A shared copy has an order of its
 * own for what it added; its groups that go on with one of the base follow that one's members.
 */
struct group_order {
    std::vector<instance_group> groups;
    name_index names; // of the groups that are not over; in a shared copy also of those that are
    std::vector<group_link> links; // by place, those of the base's left out
    uint32_t base_groups = 0;      // how many of the base's there were when it was shared
};

/** The first place of the store's order that holds an instance, or no_place. */
uint32_t first_in_groups(const vesk_instances_class &store);
uint32_t next_in_groups(const vesk_instances_class &store, uint32_t place);

/** The same within the group of a name. */
uint32_t first_in_group(const vesk_instances_class &store, const char *name);
uint32_t next_in_group(const vesk_instances_class &store, uint32_t place);

/** Makes all ready that the next two need; throws std::bad_alloc. */
void prepare_group_addition(vesk_instances_class &store, const char *name);
void prepare_group_removal(vesk_instances_class &store, const char *name);

/** What follows the addition of the last place, before the removal of any. */
void add_to_group(vesk_instances_class &store, const char *name);
void remove_from_group(vesk_instances_class &store, const char *name);

/** Whether the removal of one instance of that name ends its group. */
bool is_last_of_group(const vesk_instances_class &store, const char *name);

/**
 * The order as one of its own: no base, nothing that is over; its members stand at other places,
 * below count. Throws std::bad_alloc.
 */
std::unique_ptr<group_order> packed_groups(const vesk_instances_class &store,
                                           const std::vector<uint32_t> &new_places, uint32_t count);

/** Adds to the base's order what its shared copy did; room is made by the first. */
void prepare_group_merge(vesk_instances_class &copy); // throws
void merge_groups(vesk_instances_class &copy);

} // namespace vesk

#endif
