#include "vesk/instances.h"

#include "model/instances.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/classes.h"
#include "model/iterator.h"
#include "model/parking.h"

namespace {

enum event { added = 0, removed = 1 };

int copy_singleton(const vesk_instances_class *from, vesk_instances_class *to)
{
    if (!from->singleton) return 0;
    return vesk::add_copy(*from->singleton, *to, vesk_instances_singleton_add);
}

constexpr vesk::instances_kind kinds[] = {
    {vesk_instances_singleton_add, vesk_instances_singleton_remove,
     vesk_instances_singleton_remove_all, vesk_instances_singleton_delete_all, copy_singleton,
     vesk_instances_singleton_init_iterator, nullptr, vesk_instances_singleton_iterator_next},
    {vesk::add_anonymous, vesk_instances_anonymous_remove, vesk_instances_anonymous_remove_all,
     vesk_instances_anonymous_delete_all, vesk_instances_anonymous_copy,
     vesk_instances_anonymous_init_iterator, nullptr, vesk_instances_anonymous_iterator_next},
    {vesk::add_unique_named, vesk_instances_unique_named_remove,
     vesk_instances_unique_named_remove_all, vesk_instances_unique_named_delete_all,
     vesk_instances_unique_named_copy, vesk_instances_unique_named_init_iterator,
     vesk_instances_unique_named_init_group_iterator, vesk_instances_unique_named_iterator_next},
    {vesk::add_group_named, vesk_instances_group_named_remove,
     vesk_instances_group_named_remove_all, vesk_instances_group_named_delete_all,
     vesk_instances_group_named_copy, vesk_instances_group_named_init_iterator,
     vesk_instances_group_named_init_group_iterator, vesk_instances_group_named_iterator_next},
};

/** The store of a class, made when there is none. Throws std::bad_alloc. */
vesk_instances_class &find_or_make_store(vesk_instances &instances, vesk_class &cls)
{
    const char *name = cls.name.c_str();
    if (vesk_instances_class *found = instances.classes.get(name)) return *found;
    auto store = std::make_unique<vesk_instances_class>();
    store->cls = &cls;
    store->collection = &instances;
    instances.classes.insert(name, store.get());
    instances.class_order.append(store.get());
    return *store.release();
}

void drop_store(vesk_instances &instances, vesk_instances_class *store, bool with_instances)
{
    const vesk::instances_kind &kind = vesk::kind_of(*store->cls);
    (with_instances ? kind.delete_all : kind.remove_all)(store);
    instances.classes.remove(store->cls->name.c_str());
    instances.class_order.unlink(store);
    delete store;
}

int drop_class(vesk_instances *instances, const char *class_name, bool with_instances)
{
    if (!instances) return vesk::fail("Null instances.\n");
    if (!class_name) return vesk::fail("Null class_name.\n");
    if (!vesk_classes_get(class_name)) return vesk::fail("Unknown class \"%s\".\n", class_name);
    if (vesk_instances_class *store = instances->classes.get(class_name))
        drop_store(*instances, store, with_instances);
    return 0;
}

/** Whether the class or, by an abstract superclass, a sibling holds an instance of that name. */
bool is_name_taken(const vesk_instances &instances, const vesk_instance &instance)
{
    if (!instance.cls->superclass || !instance.name) return false; // the store itself will tell
    for (auto [name, sibling] : instance.cls->superclass->subclasses)
        if (vesk_instances_get(&instances, name, instance.name.get())) return true;
    return false;
}

void tell_listener(const vesk_instances &instances, vesk_instance *instance, event what)
{
    if (instances.hook.listener) instances.hook.listener(instance, what, instances.hook.data);
}

/** Copies all that memory suffices for; whether that was everything. */
bool copy_stores(const vesk_instances &from, vesk_instances &to)
{
    bool complete = true;
    for (const vesk_instances_class *store = from.class_order.first; store; store = store->next)
        complete &= vesk::or_on_oom(false, [&] {
            auto &copy = find_or_make_store(to, *store->cls);
            return vesk::kind_of(*store->cls).copy(store, &copy) == 0;
        });
    return complete;
}

} // namespace

namespace vesk {

const instances_kind &kind_of(const vesk_class &cls)
{
    return kinds[cls.type - VESK_CLASS_SINGLETON];
}

int add_copy(const vesk_instance &instance, vesk_instances_class &to,
             int (*add)(vesk_instances_class *, vesk_instance *))
{
    return or_on_oom(1, [&] {
        instance_ptr copy{new vesk_instance{instance}};
        if (add(&to, copy.get()) != 0) return 1;
        static_cast<void>(copy.release());
        return 0;
    });
}

vesk_instances *copy_whole(const vesk_instances &instances)
{
    full_instances_ptr copy{new vesk_instances};
    if (!copy_stores(instances, *copy)) throw std::bad_alloc{};
    return copy.release();
}

bool add_instance(vesk_instances &instances, vesk_instance &instance)
{
    auto &store = find_or_make_store(instances, *instance.cls);
    if (instance.cls->type == VESK_CLASS_UNIQUE_NAMED && is_name_taken(instances, instance))
        return false;
    if (kind_of(*instance.cls).add(&store, &instance) != 0) return false;
    tell_listener(instances, &instance, added);
    return true;
}

void free_instances(vesk_instances *instances, bool with_instances)
{
    leave_collection(*instances);
    while (vesk_instances_class *store = instances->class_order.first)
        drop_store(*instances, store, with_instances);
    delete instances;
}

} // namespace vesk

vesk_instances *vesk_instances_new(void)
{
    return vesk::or_on_oom<vesk_instances *>(nullptr, [] { return new vesk_instances; });
}

vesk_instances *vesk_instances_copy(const vesk_instances *instances)
{
    if (!instances) return vesk::none("Null instances.\n");
    return vesk::or_on_oom<vesk_instances *>(nullptr, [&] {
        auto *copy = new vesk_instances;
        copy_stores(*instances, *copy);
        return copy;
    });
}

vesk_instance *vesk_instances_get_singleton(const vesk_instances *instances, const char *class_name)
{
    if (!instances) return vesk::none("Null instances.\n");
    if (!class_name) return vesk::none("Null class_name.\n");
    const vesk_class *cls = vesk_classes_get(class_name);
    if (!cls) return vesk::none("Unknown class \"%s\".\n", class_name);
    if (cls->type != VESK_CLASS_SINGLETON)
        return vesk::none("Class \"%s\" is not a singleton.\n", class_name);
    const vesk_instances_class *store = instances->classes.get(class_name);
    if (!store) return vesk::none("Singleton instance of class \"%s\" is missing.\n", class_name);
    return store->singleton;
}

vesk_instance *vesk_instances_get(const vesk_instances *instances, const char *class_name,
                                  const char *instance_name)
{
    if (!instances) return vesk::none("Null instances.\n");
    if (!class_name) return vesk::none("Null class_name.\n");
    const vesk_class *cls = vesk_classes_get(class_name);
    if (!cls) return vesk::none("Unknown class \"%s\".\n", class_name);
    if (cls->type != VESK_CLASS_UNIQUE_NAMED)
        return vesk::none("Class \"%s\" is not unique named.\n", class_name);
    if (!instance_name) return vesk::none("Null instance_name.\n");
    if (cls->abstract == 1) {
        for (auto [name, subclass] : cls->subclasses)
            if (vesk_instance *found = vesk_instances_get(instances, name, instance_name))
                return found;
        return nullptr;
    }
    const vesk_instances_class *store = instances->classes.get(class_name);
    const vesk::instance_node *node = store ? store->unique_named.get(instance_name) : nullptr;
    return node ? node->instance : nullptr;
}

int vesk_instances_add(vesk_instances *instances, vesk_instance *instance)
{
    if (!instances) return vesk::fail("Null instances.\n");
    if (!instance) return vesk::fail("Null instance. (%s)\n", "vesk_instances_add");
    return vesk::or_on_oom(1, [&] { return vesk::add_instance(*instances, *instance) ? 0 : 1; });
}

int vesk_instances_remove(vesk_instances *instances, vesk_instance *instance)
{
    if (!instances) return vesk::fail("Null instances.\n");
    if (!instance) return vesk::fail("Null instance. (%s)\n", "vesk_instances_remove");
    vesk_instances_class *store = instances->classes.get(instance->cls->name.c_str());
    if (!store || vesk::kind_of(*store->cls).remove(store, instance) != 0) return 1;
    tell_listener(*instances, instance, removed);
    return 0;
}

int vesk_instances_remove_class(vesk_instances *instances, const char *class_name)
{
    return drop_class(instances, class_name, false);
}

int vesk_instances_delete_class(vesk_instances *instances, const char *class_name)
{
    return drop_class(instances, class_name, true);
}

void vesk_instances_delete(vesk_instances *instances)
{
    if (instances) vesk::free_or_park(instances, false);
}

void vesk_instances_delete_all(vesk_instances *instances)
{
    if (instances) vesk::free_or_park(instances, true);
}

int vesk_instances_is_empty(const vesk_instances *instances)
{
    if (!instances) return vesk::fail("Null instances.\n");
    for (const vesk_instances_class *store = instances->class_order.first; store;
         store = store->next)
        if (store->singleton || store->nodes.first || store->group_order.first) return 0;
    return 1;
}

void vesk_instances_print(const vesk_instances *instances, FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    if (!instances) {
        vesk::fail("Null instances.\n");
        return;
    }
    for (const vesk_instances_class *store = instances->class_order.first; store;
         store = store->next) {
        vesk::for_each_instance(*store, [&](const vesk_instance &instance) {
            vesk_instance_print(&instance, stream);
            std::fputc('\n', stream);
        });
        std::fputc('\n', stream);
    }
}

int vesk_instances_set_listener(vesk_instances *instances, vesk_instances_listener listener,
                                void *data)
{
    if (!instances) return 1;
    instances->hook = {listener, listener ? data : nullptr};
    return 0;
}
