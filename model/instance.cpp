#include "vesk/instance.h"

#include "model/instance.h"

#include <algorithm>
#include <cstring>

#include "base/or_on_oom.h"
#include "base/text.h"
#include "core/log.h"
#include "model/instances.h"
#include "model/parking.h"
#include "model/sharing.h"

namespace {

bool any_listener = false;

/** Room for an instance of which nothing is known: some values of a usual length. */
constexpr size_t usual_values = 8;
constexpr size_t usual_text = 12;

bool is_named(unsigned type)
{
    return type == VESK_CLASS_UNIQUE_NAMED || type == VESK_CLASS_GROUP_NAMED;
}

vesk::instance_room usual_room(const vesk_class &cls)
{
    size_t properties = cls.in_order.size();
    if (cls.superclass) properties += cls.superclass->in_order.size();
    const size_t values = std::min(properties, usual_values);
    return {values, values * usual_text};
}

/** Has whoever follows the instance's collections keep what it needs. Throws std::bad_alloc. */
void before_set(vesk_instance &instance, vesk::slot_id slot)
{
    vesk::for_each_membership(instance, [&](vesk_instances_class &store, uint32_t place) {
        vesk::before_value(store, place);
        for (auto *watch = store.collection->watches.first; watch; watch = watch->next)
            watch->before_set(watch->owner, instance, slot);
    });
}

/** The watch that began last of those that listen to the instance; null when its own listener
 * counts. */
const vesk::instances_watch *listening_watch(const vesk_instance &instance)
{
    const vesk::instances_watch *newest = nullptr;
    vesk::for_each_membership(instance, [&](const vesk_instances_class &store, uint32_t) {
        for (auto *watch = store.collection->watches.last; watch; watch = watch->previous) {
            if (watch->since < instance.hooked_at) return;
            if (newest && watch->since < newest->since) return;
            if (!watch->listens_to(watch->owner, instance)) continue;
            newest = watch;
            return;
        }
    });
    return newest;
}

void tell_listener(vesk_instance &instance, const char *property)
{
    if (const auto *watch = listening_watch(instance)) {
        watch->listener(&instance, property, watch->owner);
        return;
    }
    const bool is_gone =
        instance.home && instance.hooked_at < instance.home->collection->hooks_since;
    if (instance.hook.listener && !is_gone)
        instance.hook.listener(&instance, property, instance.hook.data);
}

} // namespace

namespace vesk {

bool has_seen_listeners()
{
    return any_listener;
}

uint64_t next_hook_time()
{
    static uint64_t now = 0;
    return ++now;
}

const vesk_property *missing_property(const vesk_instance &instance)
{
    const vesk_property *missing = nullptr;
    for_each_property(*instance.cls, [&](const vesk_property &property) {
        if (!missing && property.required_on_insert && !value_of(instance, property.name.c_str()))
            missing = &property;
    });
    return missing;
}

vesk_instance *make_instance(vesk_class &cls, const char *name)
{
    return make_instance(cls, name, usual_room(cls));
}

vesk_instance *make_instance(vesk_class &cls, const char *name, instance_room room)
{
    const char *class_name = cls.name.c_str();
    if (cls.abstract != 0)
        return none("Cannot create instance of abstract class \"%s\".\n", class_name);
    if (cls.type < VESK_CLASS_SINGLETON || cls.type > VESK_CLASS_GROUP_NAMED) return nullptr;
    if (is_named(cls.type) && !name)
        return none("Instance of \"%s\" requires requires name.\n", class_name);
    if (!is_named(cls.type) && name)
        return none("Instance of \"%s\" may not have a name.\n", class_name);
    return new_instance(cls, name, room);
}

bool set_value(vesk_instance &instance, const char *name, const char *value)
{
    const vesk_property *property = find_property(*instance.cls, name);
    if (property) return set_found_value(instance, *property, name, value);
    return fail("Property \"%s\" not in class \"%s\" (or its superclasses).\n", name,
                instance.cls->name.c_str()) == 0;
}

bool set_found_value(vesk_instance &instance, const vesk_property &property, const char *name,
                     const char *value)
{
    if (!property.is_valid)
        vesk_debug_lprintf(5,
                           "Property \"%s\" of class \"%s\" does not have an is_valid function.\n",
                           name, instance.cls->name.c_str());
    if ((property.is_valid && !property.is_valid(value)) ||
        (property.is_instance_valid && !property.is_instance_valid(&instance, value)))
        return fail("Value \"%s\" is not valid for property \"%s\" of class \"%s\".\n", value, name,
                    instance.cls->name.c_str()) == 0;
    const slot_id slot = slot_of(*instance.cls, property);
    before_set(instance, slot);
    put_value(instance, slot, value);
    tell_listener(instance, name);
    return true;
}

} // namespace vesk

vesk_instance *vesk_instance_new(vesk_class *cls, const char *name)
{
    if (!cls) return vesk::none("Null class.\n");
    return vesk::or_on_oom<vesk_instance *>(nullptr,
                                            [&] { return vesk::make_instance(*cls, name); });
}

vesk_instance *vesk_instance_copy(const vesk_instance *instance)
{
    if (!instance) return vesk::none("Null instance. (%s)\n", "vesk_instance_copy");
    return vesk::or_on_oom<vesk_instance *>(nullptr, [&] { return vesk::new_copy(*instance); });
}

int vesk_instance_delete(vesk_instance *instance)
{
    if (!instance) return vesk::fail("Null instance. (%s)\n", "vesk_instance_delete");
    vesk::free_or_park(instance);
    return 0;
}

const char *vesk_instance_get_name(const vesk_instance *instance)
{
    if (!instance) return vesk::none("Null instance. (%s)\n", "vesk_instance_get_name");
    return instance->name;
}

const char *vesk_instance_get_value(const vesk_instance *instance, const char *property)
{
    if (!instance) return vesk::none("Null instance. (%s)\n", "vesk_instance_get_value");
    if (!property) return vesk::none("Null property.\n");
    return vesk::value_of(*instance, property);
}

int vesk_instance_set_value(vesk_instance *instance, const char *name, const char *value)
{
    if (!instance) return vesk::fail("Null instance. (%s)\n", "vesk_instance_set_value");
    if (!name) return vesk::fail("Null property.\n");
    if (!value) return vesk::fail("Null value.\n");
    const vesk::busy_scope busy; // a validator may delete the instance through a request of its own
    return vesk::or_on_oom(1, [&] { return vesk::set_value(*instance, name, value) ? 0 : 1; });
}

int vesk_instance_get_status(const vesk_instance *instance)
{
    const char *status = vesk_instance_get_value(instance, "status");
    return status && std::strcmp(status, "up") == 0;
}

int vesk_instance_is_valid(const vesk_instance *instance, char **message)
{
    const auto tell = [&](const auto &text) {
        if (message) *message = vesk::or_on_oom<char *>(nullptr, text);
        return 0;
    };
    if (!instance) return tell([] { return vesk::malloc_copy("Null instance."); });
    const vesk_property *missing = vesk::missing_property(*instance);
    if (!missing) return 1;
    return tell([&] {
        return vesk::malloc_copy(vesk::format_text(
            vesk::any_length, "Property \"%s\" of class \"%s\" is required on insert but not set.",
            missing->name.c_str(), instance->cls->name.c_str()));
    });
}

void vesk_instance_print(const vesk_instance *instance, FILE *stream)
{
    if (!vesk::is_stream(stream)) return;
    if (!instance) {
        vesk::fail("Instance is null.\n");
        return;
    }
    std::fprintf(stream, "Instance name: %s\tclass: %s\n", instance->name ? instance->name : "n/a",
                 instance->cls->name.c_str());
    vesk::for_each_value(*instance, [&](const vesk_property &property, const char *text) {
        std::fprintf(stream, "   %s =\t%s\n", property.name.c_str(), text);
    });
}

int vesk_instance_set_listener(vesk_instance *instance, vesk_instance_listener listener, void *data)
{
    if (!instance) return 1;
    instance->hook = {listener, listener ? data : nullptr};
    any_listener = true;
    instance->hooked_at = vesk::next_hook_time();
    vesk::for_each_membership(*instance, [&](const vesk_instances_class &store, uint32_t) {
        store.collection->last_hooked = instance->hooked_at;
    });
    return 0;
}
