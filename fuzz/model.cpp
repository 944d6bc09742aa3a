#include "fuzz/model.h"

#include <cstring>
#include <initializer_list>

#include "core/log.h"

namespace vesk::fuzz {
namespace {

int is_not_bad(const char *value)
{
    return std::strcmp(value, "bad") != 0;
}

vesk_class *add_class(const char *name, unsigned type, std::initializer_list<const char *> names)
{
    vesk_class *cls = vesk_class_new(name);
    vesk_class_set_type(cls, type);
    vesk_class_set_persistence(cls, 1);
    for (const char *property_name : names) {
        vesk_property *property = vesk_property_new(property_name);
        vesk_property_set_is_valid_fn(property, is_not_bad);
        vesk_class_add_property(cls, property);
    }
    vesk_classes_add(cls);
    return cls;
}

void add(vesk_instances &all, const char *cls, const char *name, const char *property,
         const char *value)
{
    vesk_instance *instance = vesk_instance_new(vesk_classes_get(cls), name);
    vesk_instance_set_value(instance, property, value);
    vesk_instances_add(&all, instance);
}

} // namespace

void prepare_model()
{
    if (vesk_classes_get("system")) return;
    exchange_log_stream(std::fopen("/dev/null", "w"));
    add_class("system", VESK_CLASS_SINGLETON, {"contact"});
    add_class("user", VESK_CLASS_ANONYMOUS, {"login"});
    add_class("radio", VESK_CLASS_UNIQUE_NAMED, {"channel", "ssid"});
    add_class("acl", VESK_CLASS_GROUP_NAMED, {"address"});
    vesk_class *port = add_class("port", VESK_CLASS_UNIQUE_NAMED, {"mtu"});
    vesk_class_set_abstract(port, 1);
    vesk_class_set_subclass_identifier(port, vesk_property_new("type"));
    vesk_class_set_superclass(add_class("wired", VESK_CLASS_UNIQUE_NAMED, {"speed"}), "port");
    vesk_property *needed = vesk_class_get_property(vesk_classes_get("wired"), "speed");
    vesk_property_set_required_on_insert(needed, 1);
    vesk_classes_done_adding();
}

full_instances_ptr make_configuration()
{
    full_instances_ptr all{vesk_instances_new()};
    add(*all, "system", nullptr, "contact", "somebody");
    add(*all, "user", nullptr, "login", "one");
    add(*all, "radio", "wlan0", "channel", "1");
    add(*all, "acl", "guests", "address", "1");
    add(*all, "wired", "eth0", "speed", "1000");
    return all;
}

} // namespace vesk::fuzz
