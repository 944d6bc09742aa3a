#include "vesk/instances.h"

#include "model/iterator.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/classes.h"
#include "model/sharing.h"

namespace {

using vesk::no_place;

/** The collection's own store of a class, null when there is none or no memory for it. */
vesk_instances_class *store_to_walk(vesk_instances &instances, const char *class_name)
{
    try {
        return vesk::own_store_of(instances, class_name);
    } catch (const std::bad_alloc &) {
        instances.is_broken = true;
        return nullptr;
    }
}

void enter_store(vesk_instances_iterator &iterator, vesk_instances_class *store)
{
    iterator.store = store;
    iterator.place = store ? vesk::first_place(*store) : no_place;
}

void enter_slot(vesk_instances_iterator &iterator, vesk::class_slot *slot)
{
    iterator.slot = slot;
    enter_store(iterator,
                slot ? store_to_walk(*iterator.collection, slot->cls->name.c_str()) : nullptr);
}

/** Steps on class by class until one has an instance or none remain. */
void find_instance(vesk_instances_iterator &iterator)
{
    while (iterator.is_at_end()) {
        if (iterator.all_classes && iterator.slot) {
            enter_slot(iterator, iterator.slot->next);
        } else if (iterator.abstract_class) {
            const vesk_class *subclass = (*iterator.next_subclass).value;
            if (!subclass) return;
            ++iterator.next_subclass;
            enter_store(iterator, store_to_walk(*iterator.collection, subclass->name.c_str()));
        } else {
            return;
        }
    }
}

void step_within(vesk_instances_iterator &iterator)
{
    iterator.place = iterator.one_name ? vesk::next_of_name(*iterator.store, iterator.place)
                                       : vesk::next_place(*iterator.store, iterator.place);
}

void step(vesk_instances_iterator &iterator)
{
    step_within(iterator);
    if (!iterator.one_name) find_instance(iterator);
}

void end(vesk_instances_iterator &iterator)
{
    iterator.all_classes = false;
    iterator.abstract_class = nullptr;
    iterator.slot = nullptr;
    enter_store(iterator, nullptr);
}

void start_all(vesk_instances_iterator &iterator)
{
    vesk::own_class_order(*iterator.collection);
    iterator.all_classes = true;
    enter_slot(iterator, iterator.collection->class_order.first);
    find_instance(iterator);
}

void start_class(vesk_instances_iterator &iterator, const vesk_class &cls)
{
    if (cls.abstract != 1) {
        enter_store(iterator, store_to_walk(*iterator.collection, cls.name.c_str()));
        return;
    }
    iterator.abstract_class = &cls;
    iterator.next_subclass = cls.subclasses.begin();
    find_instance(iterator);
}

/** The class with instances of that name: of an abstract one, the subclass that has one. */
const vesk_class *class_with_name(const vesk_instances &instances, const vesk_class &cls,
                                  const char *name)
{
    if (cls.abstract != 1) return &cls;
    for (auto [subclass_name, subclass] : cls.subclasses) {
        const vesk_instances_class *store = vesk::store_of(instances, subclass_name);
        if (store && vesk::has_name(*store, name)) return subclass;
    }
    return nullptr;
}

void start_name(vesk_instances_iterator &iterator, const vesk_class &cls, const char *name)
{
    iterator.one_name = true;
    const vesk_class *concrete = class_with_name(*iterator.collection, cls, name);
    if (!concrete) return;
    iterator.store = store_to_walk(*iterator.collection, concrete->name.c_str());
    if (iterator.store) iterator.place = vesk::first_of_name(*iterator.store, name);
}

bool is_named(const vesk_class &cls)
{
    return cls.type == VESK_CLASS_UNIQUE_NAMED || cls.type == VESK_CLASS_GROUP_NAMED;
}

/** Makes an iterator known to its collection. */
void attach(vesk_instances_iterator &iterator, vesk_instances &instances)
{
    iterator.collection = &instances;
    instances.iterators.append(&iterator);
}

/** Makes a shared copy own the stores to be walked, so that the walk misses no class. Throws. */
void prepare_walk(vesk_instances &instances, const vesk_class *cls)
{
    if (!instances.base) return;
    if (!cls) {
        vesk::own_class_order(instances);
        vesk::for_each_slot(instances, [&](const vesk::class_slot &slot) {
            vesk::own_store_of(instances, slot.cls->name.c_str());
        });
    } else if (cls->abstract == 1) {
        for (auto [name, subclass] : cls->subclasses)
            vesk::own_store_of(instances, name);
    } else {
        vesk::own_store_of(instances, cls->name.c_str());
    }
}

/** vesk_instances_new_group_iterator() that throws std::bad_alloc; null when it is refused. */
vesk::iterator_ptr group_iterator(vesk_instances *instances, const char *class_name,
                                  const char *group_name)
{
    if (!instances) return vesk::none("Null instances.\n");
    if (group_name && !class_name)
        return vesk::none("group_name specified but class_name is null.\n");
    const vesk_class *cls = class_name ? vesk_classes_get(class_name) : nullptr;
    if (class_name && !cls) return vesk::none("Unknown class \"%s\".\n", class_name);
    if (group_name && !is_named(*cls))
        return vesk::none("Group iterators can only be used on named classes.\n");
    prepare_walk(*instances, cls);
    vesk::iterator_ptr iterator{new vesk_instances_iterator{}};
    attach(*iterator, *instances);
    if (group_name)
        start_name(*iterator, *cls, group_name);
    else if (cls)
        start_class(*iterator, *cls);
    else
        start_all(*iterator);
    return iterator;
}

template <typename Action> void for_each_iterator(const vesk_instances &instances, Action &&action)
{
    for (vesk_instances_iterator *i = instances.iterators.first; i; i = i->next)
        action(*i);
}

/** The instance to hand out; null without memory for a shared copy's own. */
vesk_instance *take(vesk_instances_iterator &iterator)
{
    try {
        return &vesk::own_at(*iterator.store, iterator.place);
    } catch (const std::bad_alloc &) {
        iterator.collection->is_broken = true;
        end(iterator);
        return nullptr;
    }
}

} // namespace

namespace vesk {

bool is_given(const vesk_instances_class *store)
{
    if (store) return true;
    fail("Null instances.\n");
    return false;
}

bool are_given(const vesk_instances_class *store, const vesk_instance *instance,
               const char *function)
{
    if (!is_given(store)) return false;
    if (instance) return true;
    fail("Null instance. (%s)\n", function);
    return false;
}

bool can_copy(const vesk_instances_class *from, const vesk_instances_class *to)
{
    return is_given(from) && is_given(to) && from != to;
}

bool is_walking(const vesk_instances_iterator *iterator)
{
    if (iterator) return iterator->store != nullptr;
    fail("Null iterator.\n");
    return false;
}

void leave_place(const vesk_instances_class &store, uint32_t place)
{
    for_each_iterator(*store.collection, [&](vesk_instances_iterator &iterator) {
        if (iterator.store == &store && iterator.place == place) step(iterator);
    });
}

void leave_store(const vesk_instances_class &store)
{
    for_each_iterator(*store.collection, [&](vesk_instances_iterator &iterator) {
        if (iterator.store != &store) return;
        iterator.place = no_place;
        find_instance(iterator);
        if (iterator.is_at_end()) end(iterator);
    });
}

void leave_collection(const vesk_instances &instances)
{
    while (vesk_instances_iterator *iterator = instances.iterators.first) {
        end(*iterator);
        instances.iterators.unlink(iterator);
        iterator->collection = nullptr;
    }
}

instances_walk::instances_walk(vesk_instances *instances, const char *class_name, const char *name)
{
    if (!instances || vesk::is_empty(*instances)) return;
    const vesk_class *cls = vesk_classes_get(class_name);
    if (!cls || (name && !is_named(*cls))) return;
    attach(iterator_, *instances);
    name ? start_name(iterator_, *cls, name) : start_class(iterator_, *cls);
}

instances_walk::~instances_walk()
{
    if (iterator_.collection) iterator_.collection->iterators.unlink(&iterator_);
}

vesk_instance *instances_walk::next()
{
    return vesk_instances_iterator_next(&iterator_);
}

void instances_walk::skip()
{
    step(iterator_);
}

} // namespace vesk

vesk_instances_iterator *vesk_instances_new_iterator(const vesk_instances *instances)
{
    return vesk_instances_new_group_iterator(instances, nullptr, nullptr);
}

vesk_instances_iterator *vesk_instances_new_class_iterator(const vesk_instances *instances,
                                                           const char *class_name)
{
    return vesk_instances_new_group_iterator(instances, class_name, nullptr);
}

vesk_instances_iterator *vesk_instances_new_group_iterator(const vesk_instances *instances,
                                                           const char *class_name,
                                                           const char *group_name)
{
    // What is handed out may be changed, whoever looks: a shared copy takes it then.
    return vesk::or_on_oom<vesk_instances_iterator *>(nullptr, [&] {
        return group_iterator(const_cast<vesk_instances *>(instances), class_name, group_name)
            .release();
    });
}

int vesk_instances_iterator_has_next(const vesk_instances_iterator *iterator)
{
    if (!iterator) {
        vesk::fail("Null iterator.\n");
        return 0;
    }
    return !iterator->is_at_end();
}

vesk_instance *vesk_instances_iterator_next(vesk_instances_iterator *iterator)
{
    if (!iterator) return vesk::none("Null iterator.\n");
    if (iterator->is_at_end()) return nullptr;
    vesk_instance *instance = take(*iterator);
    if (instance) step(*iterator);
    return instance;
}

int vesk_instances_delete_iterator(vesk_instances_iterator *iterator)
{
    if (!iterator) return vesk::fail("Null iterator.\n");
    if (iterator->collection) iterator->collection->iterators.unlink(iterator);
    delete iterator;
    return 0;
}
