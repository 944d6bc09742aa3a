#include "vesk/instance.h"

#include "model/instance.h"

#include <cstring>

#include "base/or_on_oom.h"
#include "base/text.h"
#include "core/log.h"
#include "model/parking.h"

namespace {

std::unique_ptr<char[]> copy_name(const char *name)
{
    if (!name) return nullptr;
    const size_t size = std::strlen(name) + 1;
    std::unique_ptr<char[]> copy{new char[size]};
    std::memcpy(copy.get(), name, size);
    return copy;
}

bool is_named(unsigned type)
{
    return type == VESK_CLASS_UNIQUE_NAMED || type == VESK_CLASS_GROUP_NAMED;
}

/** The first property that is required on insert and has no value, or null. */
const vesk_property *missing_property(const vesk_instance &instance)
{
    const vesk_property *missing = nullptr;
    vesk::for_each_property(*instance.cls, [&](const vesk_property &property) {
        if (!missing && property.required_on_insert && !instance.values.get(property.name.c_str()))
            missing = &property;
    });
    return missing;
}

} // namespace

vesk_instance::vesk_instance(vesk_class *its_class, const char *its_name)
    : cls{its_class}, name{copy_name(its_name)}
{
}

vesk_instance::vesk_instance(const vesk_instance &other)
    : cls{other.cls}, name{copy_name(other.name.get())}, values{other.values}
{
}

namespace vesk {

vesk_instance *make_instance(vesk_class &cls, const char *name)
{
    const char *class_name = cls.name.c_str();
    if (cls.abstract != 0)
        return none("Cannot create instance of abstract class \"%s\".\n", class_name);
    if (cls.type < VESK_CLASS_SINGLETON || cls.type > VESK_CLASS_GROUP_NAMED) return nullptr;
    if (is_named(cls.type) && !name)
        return none("Instance of \"%s\" requires requires name.\n", class_name);
    if (!is_named(cls.type) && name)
        return none("Instance of \"%s\" may not have a name.\n", class_name);
    return new vesk_instance{&cls, name};
}

bool set_value(vesk_instance &instance, const char *name, const char *value)
{
    const char *class_name = instance.cls->name.c_str();
    const vesk_property *property = find_property(*instance.cls, name);
    if (!property)
        return fail("Property \"%s\" not in class \"%s\" (or its superclasses).\n", name,
                    class_name) == 0;
    if (!property->is_valid)
        vesk_debug_lprintf(5,
                           "Property \"%s\" of class \"%s\" does not have an is_valid function.\n",
                           name, class_name);
    if ((property->is_valid && !property->is_valid(value)) ||
        (property->is_instance_valid && !property->is_instance_valid(&instance, value)))
        return fail("Value \"%s\" is not valid for property \"%s\" of class \"%s\".\n", value, name,
                    class_name) == 0;
    instance.values.set(*property, value);
    if (instance.hook.listener) instance.hook.listener(&instance, name, instance.hook.data);
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
    return vesk::or_on_oom<vesk_instance *>(nullptr, [&] { return new vesk_instance{*instance}; });
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
    return instance->name.get();
}

const char *vesk_instance_get_value(const vesk_instance *instance, const char *property)
{
    if (!instance) return vesk::none("Null instance. (%s)\n", "vesk_instance_get_value");
    if (!property) return vesk::none("Null property.\n");
    return instance->values.get(property);
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
    const vesk_property *missing = missing_property(*instance);
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
    std::fprintf(stream, "Instance name: %s\tclass: %s\n",
                 instance->name ? instance->name.get() : "n/a", instance->cls->name.c_str());
    for (const auto &value : instance->values)
        std::fprintf(stream, "   %s =\t%s\n", value.property->name.c_str(), value.text());
}

int vesk_instance_set_listener(vesk_instance *instance, vesk_instance_listener listener, void *data)
{
    if (!instance) return 1;
    instance->hook = {listener, listener ? data : nullptr};
    return 0;
}
