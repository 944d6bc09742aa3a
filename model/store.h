#ifndef VESK_MODEL_STORE_H
#define VESK_MODEL_STORE_H

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "base/name_index.h"
#include "model/groups.h"
#include "model/instance.h"

/**
 * The instances of one concrete class in a collection, by place: in the order of adding, a removed
 * one leaves its place empty until the store is packed. A store of a shared copy holds what is its
 * own; any other place below base_end is that of its base.
 */
struct vesk_instances_class {
    vesk_class *cls;
    vesk_instances *collection;
    vesk_instances_class *base = nullptr;
    uint32_t base_end = 0;                             // places of the base that count
    uint32_t first_own = 0;                            // place of the first of nodes
    std::unordered_map<uint32_t, vesk_instance *> own; // below first_own; null: removed
    std::vector<vesk_instance *> nodes;                // from first_own on; null: removed
    uint32_t live = 0;                                 // instances there are
    uint32_t first_used = 0;                           // below this place there is none
    vesk::name_index names;                            // of a unique-named class, own places
    std::unique_ptr<vesk::group_order> groups;         // of a group-named class

    vesk_instances_class(vesk_class &its_class, vesk_instances &its_collection);

    uint32_t end() const { return first_own + static_cast<uint32_t>(nodes.size()); }

    /** What is at a place, null when it is empty. In a shared copy it may be the base's. */
    vesk_instance *at(uint32_t place) const
    {
        if (place >= first_own) return nodes[place - first_own];
        if (const auto found = own.find(place); found != own.end()) return found->second;
        return base && place < base_end ? base->nodes[place] : nullptr;
    }

    bool is_own(uint32_t place) const { return place >= first_own || own.contains(place); }
    const char *name_at(uint32_t place) const { return at(place)->name; }
};

namespace vesk {

/** The places that hold instances, in the order of the class; no_place at the end. */
uint32_t first_place(const vesk_instances_class &store);
uint32_t next_place(const vesk_instances_class &store, uint32_t place);

/** The same for one name of a named class. */
uint32_t first_of_name(const vesk_instances_class &store, const char *name);
uint32_t next_of_name(const vesk_instances_class &store, uint32_t place);

/** The place of this very instance, or no_place. */
uint32_t place_of(const vesk_instances_class &store, const vesk_instance &instance);

/** The instance at a place to be handed out: the store's own, made from the base's if need be.
 * Throws std::bad_alloc. */
vesk_instance &own_at(vesk_instances_class &store, uint32_t place);

/** Adds an instance, whose name must not be taken, behind all others. Strong guarantee. */
void append(vesk_instances_class &store, vesk_instance &instance);

/** Takes an instance out of its place. */
void take_out(vesk_instances_class &store, uint32_t place) noexcept;

/** Whether an instance of that unique name is there. */
bool has_name(const vesk_instances_class &store, const char *name);

/** Notes that no instance is in the store any more, which still finds them. */
void give_up_all(vesk_instances_class &store) noexcept;

/** Gives up all instances, freeing them if told so, without telling anyone. */
void empty(vesk_instances_class &store, bool with_instances);

/** Closes the gaps once they outnumber the instances. Never fails, at worst does nothing. */
void pack(vesk_instances_class &store) noexcept;

/** Calls visit(instance) for all in order; it must not add or remove any. */
template <typename Visit> void for_each_instance(const vesk_instances_class &store, Visit &&visit)
{
    for (uint32_t place = first_place(store); place != no_place; place = next_place(store, place))
        visit(*store.at(place));
}

/**
 * Of the collections that an instance is in, the first is its home; in others it is a guest, which
 * a list apart notes. A collection that only refers to instances is not noted.
 */
void leave(vesk_instances_class &store, vesk_instance &instance) noexcept;
void move_membership(vesk_instances_class &from, vesk_instances_class &to, vesk_instance &instance,
                     uint32_t place) noexcept;
void forget_guest(const vesk_instance &instance) noexcept;

/** An instance's place in a store. */
struct membership {
    vesk_instances_class *store;
    uint32_t place;
};

/** The stores of other collections that a guest is in. */
const std::vector<membership> &guest_memberships(const vesk_instance &instance);

/** Calls visit(store, place) for every collection that the instance is in. */
template <typename Visit> void for_each_membership(const vesk_instance &instance, Visit &&visit)
{
    if (instance.home) visit(*instance.home, instance.place);
    if (!instance.is_guest) return;
    for (const membership &there : guest_memberships(instance))
        visit(*there.store, there.place);
}

} // namespace vesk

#endif
