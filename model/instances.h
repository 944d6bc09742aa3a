#ifndef VESK_MODEL_INSTANCES_H
#define VESK_MODEL_INSTANCES_H

#include "base/linked.h"
#include "base/name_map.h"
#include "model/instance.h"
#include "model/parking.h"
#include "model/store.h"
#include "model/watch.h"
#include "vesk/instances.h"

namespace vesk {

struct instances_hook {
    vesk_instances_listener listener = nullptr;
    void *data = nullptr;
};

/** A class's place in the order of a collection. */
struct class_slot {
    vesk_class *cls;
    std::unique_ptr<vesk_instances_class> store; // null in a shared copy: as in its base
    class_slot *next = nullptr;
    class_slot *previous = nullptr;
};

} // namespace vesk

struct vesk_instances {
    explicit vesk_instances(unsigned classes_hint = 64) : classes{classes_hint} {}
    vesk_instances(const vesk_instances &) = delete;
    ~vesk_instances();

    vesk::name_map<vesk::class_slot> classes;
    vesk::linked<vesk::class_slot> class_order;
    vesk::instances_hook hook;
    mutable vesk::linked<vesk_instances_iterator> iterators; // those in use, to be moved on in time
    vesk::linked<vesk::instances_watch> watches;             // in the order of their beginning

    vesk_instances *base = nullptr;      // what this is a copy of, as long as they share
    bool has_base_order = false;         // the order of the classes is still the base's
    bool is_broken = false;              // memory ran out: something is missing
    bool refers = false;                 // holds instances of another collection
    bool has_given_up = false;           // its instances: it waits to be freed without them
    uint64_t since = 0;                  // a shared copy: when it was made
    uint64_t hooks_since = 0;            // listeners of instances that are older are gone
    uint64_t last_hooked = 0;            // when one of its instances last got a listener
    vesk::linked<vesk_instances> copies; // those that share with this
    vesk_instances *next = nullptr;      // of the copies of base
    vesk_instances *previous = nullptr;

    vesk_instances *next_parked = nullptr;
    bool parked_with_instances = false;
};

namespace vesk {

/** Whether there never was an instance in it: it knows no class. */
inline bool is_empty(const vesk_instances &instances)
{
    return instances.classes.size() == 0 && !instances.has_base_order;
}

/** The store of a class to look into: of a shared copy that has none of its own, the base's. Null:
 * none. */
const vesk_instances_class *store_of(const vesk_instances &instances, const char *class_name);

/** The collection's own store of a class, null when it has no instances of it. Throws. */
vesk_instances_class *own_store_of(vesk_instances &instances, const char *class_name);

/** Calls visit(slot) for the classes in order. */
template <typename Visit> void for_each_slot(const vesk_instances &instances, Visit &&visit)
{
    const vesk_instances &ordered = instances.has_base_order ? *instances.base : instances;
    for (const class_slot *slot = ordered.class_order.first; slot; slot = slot->next)
        visit(*slot);
}

/** Calls visit(instance) for all instances in order; it must not add or remove any. */
template <typename Visit> void for_each_instance(const vesk_instances &instances, Visit &&visit)
{
    for_each_slot(instances, [&](const class_slot &slot) {
        if (const auto *store = store_of(instances, slot.cls->name.c_str()))
            for_each_instance(*store, visit);
    });
}

/** Deep copy like vesk_instances_copy(), but complete: throws std::bad_alloc otherwise. */
vesk_instances *copy_whole(const vesk_instances &instances);

/** The same into a collection that is empty. */
void copy_all(const vesk_instances &from, vesk_instances &to);

/** vesk_instances_add() that throws std::bad_alloc; false when the class type or name forbids it.
 */
bool add_instance(vesk_instances &instances, vesk_instance &instance);

/** vesk_instances_remove(); false when it is not there. */
bool remove_instance(vesk_instances &instances, vesk_instance &instance);

/** The checks of a class type; false, logged where documented, when they forbid adding. */
bool may_add(const vesk_instances_class &store, const vesk_instance &instance);

/** Adds a copy of instance to a store; false when that is refused or without memory. */
bool add_copy(const vesk_instance &instance, vesk_instances_class &to);

/** Empties a collection that nobody uses any more. */
void empty(vesk_instances &instances, bool with_instances);

/** Frees a collection that nobody uses any more. */
void free_instances(vesk_instances *instances, bool with_instances);

struct delete_instances_all {
    void operator()(vesk_instances *instances) const { vesk_instances_delete_all(instances); }
};
using full_instances_ptr = std::unique_ptr<vesk_instances, delete_instances_all>;

} // namespace vesk

#endif
