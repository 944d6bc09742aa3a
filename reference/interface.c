/*
 * Interfaces: an abstract class whose property "type" says which of its subclasses an object is of. A
 * name is unique among all of them. Logs what was changed, the least that a provider can do.
 */
#include "define.h"

static int is_mtu(const char *value)
{
    return is_number_in(value, 68, 9000);
}

static void log_changed(vesk_changes *changes, const char *what, vesk_instances_iterator *changed)
{
    while (vesk_instances_iterator_has_next(changed)) {
        vesk_instance *interface = vesk_instances_iterator_next(changed);
        const int is_new = !vesk_changes_get_instance_before(changes, interface);
        vesk_debug_1printf("%s %s is %s.\n", what, vesk_instance_get_name(interface),
                           is_new ? "new" : "changed");
    }
    vesk_instances_delete_iterator(changed);
}

static void commit(vesk_commit_info *info)
{
    vesk_changes *changes = vesk_commit_info_get_changes(info);
    log_changed(changes, "Ethernet",
                vesk_changes_new_class_instances_iterator(changes, "ethernet"));
    log_changed(changes, "Bridge", vesk_changes_new_class_instances_iterator(changes, "bridge"));
}

static vesk_class *define_subclass(const char *name)
{
    vesk_class *cls = define_class(name, VESK_CLASS_UNIQUE_NAMED);
    vesk_class_set_superclass(cls, "interface");
    return cls;
}

void vesk_plugin_init(void)
{
    if (!vesk_plugin_new(VESK_PLUGIN_VERSION)) return;
    vesk_class *interface = define_class("interface", VESK_CLASS_UNIQUE_NAMED);
    vesk_class_set_abstract(interface, 1);
    vesk_class_set_subclass_identifier(interface, vesk_property_new("type"));
    define_property(interface, "address", is_ipv4);
    define_property(interface, "state", is_switch);
    vesk_classes_add(interface);

    vesk_class *ethernet = define_subclass("ethernet");
    define_property(ethernet, "mtu", is_mtu);
    vesk_classes_add(ethernet);

    vesk_class *bridge = define_subclass("bridge");
    define_property(bridge, "stp", is_switch);
    vesk_classes_add(bridge);

    vesk_provider *provider = vesk_provider_new("interface");
    vesk_provider_set_commit_fn(provider, commit, NULL);
    vesk_providers_add(provider);
}
