#include "vesk/instances.h"

#include "model/iterator.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/classes.h"

namespace {

void enter_store(vesk_instances_iterator &iterator, vesk_instances_class *store)
{
    iterator.store = store;
    iterator.current = nullptr;
    iterator.node = nullptr;
    iterator.group = nullptr;
    if (store) vesk::kind_of(*store->cls).init_iterator(&iterator);
}

/** Steps on class by class until one has an instance or none remain. */
void find_instance(vesk_instances_iterator &iterator)
{
    while (!iterator.current) {
        if (iterator.all_classes && iterator.store) {
            enter_store(iterator, iterator.store->next);
            if (!iterator.store) return;
        } else if (iterator.abstract_class) {
            const vesk_class *subclass = (*iterator.next_subclass).value;
            if (!subclass) return;
            ++iterator.next_subclass;
            enter_store(iterator, iterator.collection->classes.get(subclass->name.c_str()));
        } else {
            return;
        }
    }
}

void step(vesk_instances_iterator &iterator)
{
    vesk::kind_of(*iterator.store->cls).iterator_next(&iterator);
    if (!iterator.one_name) find_instance(iterator);
}

void end(vesk_instances_iterator &iterator)
{
    iterator.all_classes = false;
    iterator.abstract_class = nullptr;
    enter_store(iterator, nullptr);
}

void start_all(vesk_instances_iterator &iterator)
{
    iterator.all_classes = true;
    enter_store(iterator, iterator.collection->class_order.first);
    find_instance(iterator);
}

void start_class(vesk_instances_iterator &iterator, const vesk_class &cls)
{
    if (cls.abstract != 1) {
        enter_store(iterator, iterator.collection->classes.get(cls.name.c_str()));
        return;
    }
    iterator.abstract_class = &cls;
    iterator.next_subclass = cls.subclasses.begin();
    find_instance(iterator);
}

/** The store with instances of that name: of an abstract class, that of the subclass that has one.
 */
vesk_instances_class *store_with_name(const vesk_instances &instances, const vesk_class &cls,
                                      const char *name)
{
    if (cls.abstract != 1) return instances.classes.get(cls.name.c_str());
    for (auto [subclass_name, subclass] : cls.subclasses) {
        vesk_instances_class *store = instances.classes.get(subclass_name);
        if (store && store->unique_named.get(name)) return store;
    }
    return nullptr;
}

void start_name(vesk_instances_iterator &iterator, const vesk_class &cls, const char *name)
{
    iterator.one_name = true;
    iterator.store = store_with_name(*iterator.collection, cls, name);
    if (iterator.store) vesk::kind_of(cls).init_group_iterator(&iterator, name);
}

/** A new iterator that is known to its collection. Throws std::bad_alloc. */
vesk::iterator_ptr make_iterator(const vesk_instances &instances)
{
    vesk::iterator_ptr iterator{new vesk_instances_iterator{}};
    iterator->collection = &instances;
    instances.iterators.append(iterator.get());
    return iterator;
}

template <typename Action> void for_each_iterator(const vesk_instances &instances, Action &&action)
{
    for (vesk_instances_iterator *i = instances.iterators.first; i; i = i->next)
        action(*i);
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

void leave_place(const vesk_instances_class &store, const instance_node *node)
{
    for_each_iterator(*store.collection, [&](vesk_instances_iterator &iterator) {
        if (iterator.store == &store && iterator.current && iterator.node == node) step(iterator);
    });
}

instance_node *find_node(const vesk_instances_class &store, const linked<instance_node> &list,
                         const vesk_instance *instance)
{
    const auto holds = [&](const instance_node *node) {
        return node && node->instance == instance;
    };
    if (holds(list.last)) return list.last;
    for (const vesk_instances_iterator *i = store.collection->iterators.first; i; i = i->next) {
        if (i->store != &store || !i->node) continue;
        if (holds(i->node->previous)) return i->node->previous;
    }
    instance_node *node = list.first;
    while (node && !holds(node))
        node = node->next;
    return node;
}

void leave_store(const vesk_instances_class &store)
{
    for_each_iterator(*store.collection, [&](vesk_instances_iterator &iterator) {
        if (iterator.store != &store) return;
        iterator.current = nullptr;
        find_instance(iterator);
        if (!iterator.current) end(iterator);
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

iterator_ptr group_iterator(const vesk_instances *instances, const char *class_name,
                            const char *group_name)
{
    if (!instances) return none("Null instances.\n");
    if (group_name && !class_name) return none("group_name specified but class_name is null.\n");
    const vesk_class *cls = class_name ? vesk_classes_get(class_name) : nullptr;
    if (class_name && !cls) return none("Unknown class \"%s\".\n", class_name);
    if (group_name && cls->type != VESK_CLASS_UNIQUE_NAMED && cls->type != VESK_CLASS_GROUP_NAMED)
        return none("Group iterators can only be used on named classes.\n");
    auto iterator = make_iterator(*instances);
    if (group_name)
        start_name(*iterator, *cls, group_name);
    else if (cls)
        start_class(*iterator, *cls);
    else
        start_all(*iterator);
    return iterator;
}

class_walk::class_walk(const vesk_instances *instances, const char *class_name)
{
    const vesk_class *cls = vesk_classes_get(class_name);
    if (!instances || !cls) return;
    iterator_.collection = instances;
    instances->iterators.append(&iterator_);
    start_class(iterator_, *cls);
}

class_walk::~class_walk()
{
    if (iterator_.collection) iterator_.collection->iterators.unlink(&iterator_);
}

vesk_instance *class_walk::next()
{
    return vesk_instances_iterator_next(&iterator_);
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
    return vesk::or_on_oom<vesk_instances_iterator *>(
        nullptr, [&] { return vesk::group_iterator(instances, class_name, group_name).release(); });
}

int vesk_instances_iterator_has_next(const vesk_instances_iterator *iterator)
{
    if (!iterator) {
        vesk::fail("Null iterator.\n");
        return 0;
    }
    return iterator->current != nullptr;
}

vesk_instance *vesk_instances_iterator_next(vesk_instances_iterator *iterator)
{
    if (!iterator) return vesk::none("Null iterator.\n");
    vesk_instance *instance = iterator->current;
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
