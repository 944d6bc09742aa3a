#ifndef VESK_MODEL_INSTANCES_H
#define VESK_MODEL_INSTANCES_H

#include "base/linked.h"
#include "model/instance.h"
#include "model/parking.h"
#include "vesk/instances.h"

namespace vesk {

/** An instance's place in the order of its class or group. */
struct instance_node {
    vesk_instance *instance;
    instance_node *next = nullptr;
    instance_node *previous = nullptr;
};

/** The instances of a group-named class that share a name. Exists while there is one. */
struct instance_group {
    std::string name;
    linked<instance_node> members;
    instance_group *next = nullptr;
    instance_group *previous = nullptr;
};

struct instances_hook {
    vesk_instances_listener listener = nullptr;
    void *data = nullptr;
};

} // namespace vesk

/** The instances of one concrete class in a collection; the part that fits the class type is used.
 */
struct vesk_instances_class {
    vesk_class *cls;
    vesk_instances *collection;
    vesk_instance *singleton = nullptr;
    vesk::linked<vesk::instance_node> nodes; // anonymous and unique-named, in the order of adding
    vesk::name_map<vesk::instance_node> unique_named{64};
    vesk::linked<vesk::instance_group> group_order;
    vesk::name_map<vesk::instance_group> groups{8};
    vesk_instances_class *next = nullptr;
    vesk_instances_class *previous = nullptr;
};

struct vesk_instances {
    vesk::name_map<vesk_instances_class> classes{64};
    vesk::linked<vesk_instances_class> class_order;
    vesk::instances_hook hook;
    mutable vesk::linked<vesk_instances_iterator> iterators; // those in use, to be moved on in time
    vesk_instances *next_parked = nullptr;
    bool parked_with_instances = false;
};

namespace vesk {

/** Calls visit(instance) for all instances in order; it must not add or remove any. */
template <typename Visit> void for_each_instance(const vesk_instances_class &store, Visit &&visit)
{
    if (store.singleton) visit(*store.singleton);
    for (const instance_node *node = store.nodes.first; node; node = node->next)
        visit(*node->instance);
    for (const instance_group *group = store.group_order.first; group; group = group->next)
        for (const instance_node *node = group->members.first; node; node = node->next)
            visit(*node->instance);
}

template <typename Visit> void for_each_instance(const vesk_instances &instances, Visit &&visit)
{
    for (const vesk_instances_class *store = instances.class_order.first; store;
         store = store->next)
        for_each_instance(*store, visit);
}

/** Deep copy like vesk_instances_copy(), but complete: throws std::bad_alloc otherwise. */
vesk_instances *copy_whole(const vesk_instances &instances);

/** The exported operations of the same names, but exhausted memory is std::bad_alloc. */
int add_anonymous(vesk_instances_class *store, vesk_instance *instance);
int add_unique_named(vesk_instances_class *store, vesk_instance *instance);
int add_group_named(vesk_instances_class *store, vesk_instance *instance);

/** The storage operations of one class type. */
struct instances_kind {
    int (*add)(vesk_instances_class *, vesk_instance *);
    int (*remove)(vesk_instances_class *, vesk_instance *);
    void (*remove_all)(vesk_instances_class *);
    void (*delete_all)(vesk_instances_class *);
    int (*copy)(const vesk_instances_class *, vesk_instances_class *);
    void (*init_iterator)(vesk_instances_iterator *);
    void (*init_group_iterator)(vesk_instances_iterator *, const char *name); // named kinds only
    void (*iterator_next)(vesk_instances_iterator *);
};

/** Those of a class, which has a type: no instance of another can be made. */
const instances_kind &kind_of(const vesk_class &cls);

/** Adds a copy of instance to a store. 1 without memory. */
int add_copy(const vesk_instance &instance, vesk_instances_class &to,
             int (*add)(vesk_instances_class *, vesk_instance *));

/** vesk_instances_add() that throws std::bad_alloc; false when the class type or name forbids it.
 */
bool add_instance(vesk_instances &instances, vesk_instance &instance);

/** Frees a collection that nobody uses any more. */
void free_instances(vesk_instances *instances, bool with_instances);

struct delete_instances {
    void operator()(vesk_instances *instances) const { vesk_instances_delete(instances); }
};
struct delete_instances_all {
    void operator()(vesk_instances *instances) const { vesk_instances_delete_all(instances); }
};
using full_instances_ptr = std::unique_ptr<vesk_instances, delete_instances_all>;

/** Owns a collection that nobody else may keep, without and with its instances. */
struct free_own_instances {
    void operator()(vesk_instances *instances) const { free_at_once(instances, false); }
};
struct free_own_instances_all {
    void operator()(vesk_instances *instances) const { free_at_once(instances, true); }
};
using own_instances_ptr = std::unique_ptr<vesk_instances, free_own_instances>;
using own_full_instances_ptr = std::unique_ptr<vesk_instances, free_own_instances_all>;

} // namespace vesk

#endif
