#include "vesk/instances.h"

#include "model/instances.h"

#include "base/or_on_oom.h"
#include "core/log.h"
#include "model/classes.h"
#include "model/iterator.h"
#include "model/kinds.h"
#include "model/parking.h"
#include "model/sharing.h"

namespace {

using vesk::class_slot;

enum event { added = 0, removed = 1 };

/** The collection's own store of a class, made when there is none. Throws std::bad_alloc. */
vesk_instances_class &find_or_make_store(vesk_instances &instances, vesk_class &cls)
{
    if (auto *found = vesk::own_store_of(instances, cls.name.c_str())) return *found;
    vesk::own_class_order(instances);
    vesk::before_new_class(instances);
    auto slot = std::make_unique<class_slot>(
        class_slot{&cls, std::make_unique<vesk_instances_class>(cls, instances)});
    instances.classes.insert(cls.name.c_str(), slot.get());
    instances.class_order.append(slot.get());
    return *slot.release()->store;
}

void tell_of_disorder(const vesk_instances &instances)
{
    for (auto *watch = instances.watches.first; watch; watch = watch->next)
        watch->before_disorder(watch->owner);
}

/** Drops a class; of a shared copy it throws before anything has changed. */
void drop_class(vesk_instances &instances, const char *class_name, bool with_instances)
{
    vesk::own_class_order(instances);
    vesk_instances_class *store = vesk::own_store_of(instances, class_name);
    if (!store) return;
    class_slot *slot = instances.classes.get(class_name);
    vesk::before_emptying(*store);
    tell_of_disorder(instances);
    for (auto *watch = instances.watches.first; watch; watch = watch->next)
        vesk::for_each_instance(*store, [&](vesk_instance &instance) {
            watch->before_removal(watch->owner, instance);
        });
    vesk::empty(*store, with_instances);
    instances.classes.remove(class_name);
    instances.class_order.unlink(slot);
    delete slot;
}

int drop_class(vesk_instances *instances, const char *class_name, bool with_instances)
{
    if (!instances) return vesk::fail("Null instances.\n");
    if (!class_name) return vesk::fail("Null class_name.\n");
    if (!vesk_classes_get(class_name)) return vesk::fail("Unknown class \"%s\".\n", class_name);
    return vesk::or_on_oom(1, [&] {
        drop_class(*instances, class_name, with_instances);
        return 0;
    });
}

/** Whether the class or, by an abstract superclass, a sibling holds an instance of that name. */
bool is_name_taken(const vesk_instances &instances, const vesk_instance &instance)
{
    if (!instance.cls->superclass || !instance.name) return false; // the store itself will tell
    for (auto [name, sibling] : instance.cls->superclass->subclasses) {
        const vesk_instances_class *store = vesk::store_of(instances, name);
        if (store && vesk::has_name(*store, instance.name)) return true;
    }
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
    vesk::for_each_slot(from, [&](const class_slot &slot) {
        const auto *store = vesk::store_of(from, slot.cls->name.c_str());
        if (store)
            complete &= vesk::or_on_oom(false, [&] {
                return vesk::copy_between(store, &find_or_make_store(to, *store->cls)) == 0;
            });
    });
    return complete;
}

/** Copies that still share become independent, as far as memory suffices. */
void detach_copies(vesk_instances &instances)
{
    while (vesk_instances *copy = instances.copies.first) {
        try {
            vesk::own_class_order(*copy);
        } catch (const std::bad_alloc &) {
            copy->is_broken = true;
        }
        vesk::for_each_slot(instances,
                            [](const class_slot &slot) { vesk::before_emptying(*slot.store); });
        vesk::end_sharing(*copy);
    }
}

/** The instance of a unique name to hand out. Throws. */
vesk_instance *find_named(vesk_instances &instances, const char *class_name, const char *name)
{
    const auto *store = vesk::store_of(instances, class_name);
    const uint32_t place = store ? vesk::first_of_name(*store, name) : vesk::no_place;
    if (place == vesk::no_place) return nullptr;
    return &vesk::own_at(*vesk::own_store_of(instances, class_name), place);
}

/** Runs a look-up; without memory for a shared copy's own instance that copy is broken. */
template <typename Find> vesk_instance *found_or_broken(vesk_instances &instances, Find &&find)
{
    try {
        return find();
    } catch (const std::bad_alloc &) {
        instances.is_broken = true;
        return nullptr;
    }
}

} // namespace

vesk_instances::~vesk_instances()
{
    for (const auto &[name, slot] : classes)
        delete slot;
    if (base) vesk::end_sharing(*this);
}

namespace vesk {

const vesk_instances_class *store_of(const vesk_instances &instances, const char *class_name)
{
    const class_slot *slot = instances.classes.get(class_name);
    if (slot && slot->store) return slot->store.get();
    if (!instances.base || (!slot && !instances.has_base_order)) return nullptr;
    slot = instances.base->classes.get(class_name);
    return slot ? slot->store.get() : nullptr;
}

vesk_instances_class *own_store_of(vesk_instances &instances, const char *class_name)
{
    const class_slot *slot = instances.classes.get(class_name);
    if (slot && slot->store) return slot->store.get();
    if (!instances.base || (!slot && !instances.has_base_order)) return nullptr;
    const class_slot *base_slot = instances.base->classes.get(class_name);
    return base_slot ? &copy_of_store(instances, *base_slot->store) : nullptr;
}

bool add_copy(const vesk_instance &instance, vesk_instances_class &to)
{
    return or_on_oom(false, [&] {
        instance_ptr copy{new_copy(instance)};
        if (!may_add(to, *copy)) return false;
        append(to, *copy);
        static_cast<void>(copy.release());
        return true;
    });
}

vesk_instances *copy_whole(const vesk_instances &instances)
{
    full_instances_ptr copy{new vesk_instances};
    copy_all(instances, *copy);
    return copy.release();
}

void copy_all(const vesk_instances &from, vesk_instances &to)
{
    if (!copy_stores(from, to)) throw std::bad_alloc{};
}

bool add_instance(vesk_instances &instances, vesk_instance &instance)
{
    const bool is_new_class = !store_of(instances, instance.cls->name.c_str());
    auto &store = find_or_make_store(instances, *instance.cls);
    if (is_name_taken(instances, instance) || !may_add(store, instance)) {
        if (is_new_class) tell_of_disorder(instances); // a class came that holds nothing
        return false;
    }
    append(store, instance);
    tell_listener(instances, &instance, added);
    return true;
}

bool remove_instance(vesk_instances &instances, vesk_instance &instance)
{
    const class_slot *slot = instances.classes.get(instance.cls->name.c_str());
    vesk_instances_class *store = slot ? slot->store.get() : nullptr;
    const uint32_t place = store ? place_of(*store, instance) : no_place;
    if (place == no_place) return false;
    take_out(*store, place);
    tell_listener(instances, &instance, removed);
    return true;
}

void empty(vesk_instances &instances, bool with_instances)
{
    leave_collection(instances);
    while (instances_watch *watch = instances.watches.take_first())
        watch->collection_gone(watch->owner);
    detach_copies(instances);
    for (const auto &[name, slot] : instances.classes)
        if (slot->store) empty(*slot->store, with_instances);
    for (const auto &[name, slot] : instances.classes)
        delete slot;
    instances.classes.clear();
    instances.class_order = {};
    if (instances.base) end_sharing(instances);
}

void free_instances(vesk_instances *instances, bool with_instances)
{
    empty(*instances, with_instances);
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
    if (!vesk::store_of(*instances, class_name))
        return vesk::none("Singleton instance of class \"%s\" is missing.\n", class_name);
    auto &all = const_cast<vesk_instances &>(*instances);
    return found_or_broken(all, [&]() -> vesk_instance * {
        auto &store = *vesk::own_store_of(all, class_name);
        const uint32_t place = vesk::first_place(store);
        return place != vesk::no_place ? &vesk::own_at(store, place) : nullptr;
    });
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
    auto &all = const_cast<vesk_instances &>(*instances);
    return found_or_broken(all, [&] { return find_named(all, class_name, instance_name); });
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
    return vesk::remove_instance(*instances, *instance) ? 0 : 1;
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
    bool is_empty = true;
    vesk::for_each_slot(*instances, [&](const class_slot &slot) {
        const auto *store = vesk::store_of(*instances, slot.cls->name.c_str());
        is_empty &= !store || store->live == 0;
    });
    return is_empty ? 1 : 0;
}

void vesk_instances_print(const vesk_instances *instances, FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    if (!instances) {
        vesk::fail("Null instances.\n");
        return;
    }
    vesk::for_each_slot(*instances, [&](const class_slot &slot) {
        if (const auto *store = vesk::store_of(*instances, slot.cls->name.c_str()))
            vesk::for_each_instance(*store, [&](const vesk_instance &instance) {
                vesk_instance_print(&instance, stream);
                std::fputc('\n', stream);
            });
        std::fputc('\n', stream);
    });
}

int vesk_instances_set_listener(vesk_instances *instances, vesk_instances_listener listener,
                                void *data)
{
    if (!instances) return 1;
    tell_of_disorder(*instances);
    instances->hook = {listener, listener ? data : nullptr};
    return 0;
}
