// The data model as data: classes, properties, providers and services as read-only objects, so that
// a client learns from ordinary requests what there is to configure. The objects are made anew
// whenever a request asks for a property of their class; they live in memory only.
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <utility>

#include "common.h"
#include "model.h"

namespace {

using values = std::initializer_list<std::pair<const char *, std::string>>;

const char *yes(bool condition)
{
    return condition ? "yes" : "no";
}

void add(vesk_instances *instances, const char *cls, const std::string &name, values row)
{
    vesk_instance *instance = vesk_instance_new(vesk_classes_get(cls), name.c_str());
    if (!instance) return;
    for (const auto &[property, value] : row)
        if (!value.empty()) vesk_instance_set_value(instance, property, value.c_str());
    if (vesk_instances_add(instances, instance) != 0) vesk_instance_delete(instance);
}

void remove_all(vesk_instances *instances, const char *cls)
{
    vesk_instances_iterator *each = vesk_instances_new_class_iterator(instances, cls);
    while (vesk_instances_iterator_has_next(each)) {
        vesk_instance *instance = vesk_instances_iterator_next(each);
        vesk_instances_remove(instances, instance);
        vesk_instance_delete(instance);
    }
    vesk_instances_delete_iterator(each);
}

void add_classes(vesk_instances *instances)
{
    for (const class_facts &cls : registered_classes())
        add(instances, "schema_class", cls.name,
            {{"type", cls.type},
             {"persistent", yes(cls.persistent)},
             {"abstract", yes(cls.abstract())},
             {"superclass", cls.superclass}});
}

/** The group's name is that of the class; what a class inherits stands in its superclass's group.
 */
void add_properties(vesk_instances *instances)
{
    for (const class_facts &cls : registered_classes())
        for (const property_facts &property : cls.properties)
            add(instances, "schema_property", cls.name,
                {{"property", property.name},
                 {"readable", yes(property.readable)},
                 {"writable", yes(property.writable)},
                 {"required", yes(property.required)},
                 {"persistent", yes(property.persistent)},
                 {"identifier", yes(property.name == cls.identifier)}});
}

/**
 * Whether a provider has a refresh function: its call puts the provider's own data into the record.
 * A record that wants nothing is what each provider meets with every request that is not for it.
 */
bool refreshes(vesk_provider *provider, vesk_instances *instances)
{
    static char mark;
    vesk_refresh_info *nothing = vesk_refresh_info_new(instances);
    if (!nothing) throw std::bad_alloc{};
    vesk_refresh_info_set_data(nothing, &mark);
    vesk_provider_refresh(provider, nothing);
    const bool called = vesk_refresh_info_get_data(nothing) != &mark;
    vesk_refresh_info_delete(nothing);
    return called;
}

/** A provider without a refresh function has a commit function; of the others nothing tells. */
void add_provider(vesk_instances *instances, const std::string &name, int position)
{
    vesk_provider *provider = vesk_providers_get(name.c_str());
    const bool refresh = provider && refreshes(provider, instances);
    add(instances, "schema_provider", name,
        {{"position", std::to_string(position)},
         {"commit", !provider ? "no"
                    : refresh ? "unknown"
                              : "yes"},
         {"refresh", yes(refresh)},
         {"present", yes(provider)}});
}

void add_providers(vesk_instances *instances)
{
    int position = 0;
    for (const std::string &line : printed_lines(vesk_providers_print))
        if (line.compare(0, 5, "     ") == 0 || line.compare(0, 5, " *** ") == 0)
            add_provider(instances, line.substr(5), ++position);
}

/** The command line of a process, its arguments separated by spaces. */
std::string command_of(const std::string &pid)
{
    std::ifstream file{"/proc/" + pid + "/cmdline"};
    std::string command;
    for (std::string argument; std::getline(file, argument, '\0');)
        command += (command.empty() ? "" : " ") + argument;
    return command;
}

void add_services(vesk_instances *instances)
{
    const std::vector<std::string> lines = printed_lines(vesk_service_print);
    for (size_t i = 1; i < lines.size(); ++i) { // behind the headings
        std::istringstream words{lines[i]};
        std::string name;
        std::string state;
        std::string pid;
        words >> name >> state >> pid;
        add(instances, "schema_service", name,
            {{"state", state}, {"pid", pid}, {"command", command_of(pid)}});
    }
}

struct table {
    const char *cls;
    unsigned type;
    std::vector<const char *> properties;
    void (*add_all)(vesk_instances *instances);
};

const std::vector<table> &tables()
{
    static const std::vector<table> all{
        {"schema_class",
         VESK_CLASS_UNIQUE_NAMED,
         {"type", "persistent", "abstract", "superclass"},
         add_classes},
        {"schema_property",
         VESK_CLASS_GROUP_NAMED,
         {"property", "readable", "writable", "required", "persistent", "identifier"},
         add_properties},
        {"schema_provider",
         VESK_CLASS_UNIQUE_NAMED,
         {"position", "commit", "refresh", "present"},
         add_providers},
        {"schema_service", VESK_CLASS_UNIQUE_NAMED, {"state", "pid", "command"}, add_services},
    };
    return all;
}

/** No exception may pass into the daemon. */
void refresh(vesk_refresh_info *info)
{
    vesk_instances *instances = vesk_refresh_info_get_instances(info);
    for (const table &table : tables()) {
        if (!instances || !vesk_refresh_info_contains_class(info, table.cls)) continue;
        remove_all(instances, table.cls);
        try {
            table.add_all(instances);
        } catch (const std::bad_alloc &) {
            vesk_debug_eprintf("No memory for %s.\n", table.cls);
        }
    }
}

void define(const table &table)
{
    vesk_class *cls = vesk_class_new(table.cls);
    vesk_class_set_type(cls, table.type);
    for (const char *name : table.properties) {
        vesk_property *property = vesk_property_new(name);
        vesk_property_set_writable(property, 0);
        vesk_class_add_property(cls, property);
    }
    vesk_classes_add(cls);
}

} // namespace

void vesk_plugin_init()
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    for (const table &table : tables())
        define(table);
    vesk_provider *provider = vesk_provider_new("schema");
    vesk_provider_set_refresh_fn(provider, refresh, nullptr);
    vesk_providers_add(provider);
}
